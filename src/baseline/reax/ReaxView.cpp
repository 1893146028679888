#include "baseline/reax/ReaxView.hpp"

#include "structure/ElementSymbols.hpp"
#include "structure/Units.hpp"

#include <utility>

namespace melta {

class ReaxView::ClusterEvaluator final : public ViewBaseline::Evaluator {
public:
    explicit ClusterEvaluator(const ReaxView& potential) : view(potential), cluster(potential.param) {}

    void add(const NeighborView& atoms, const BaselineSums& sums) override {
        const auto numAtoms = static_cast<std::size_t>(atoms.numAtoms);
        types.assign(numAtoms, -1);
        weights.assign(numAtoms, 0.0);
        for (std::size_t i = 0; i < numAtoms; ++i) {
            if (atoms.elements[i] >= 0) {
                types[i] = view.typeOf[static_cast<std::size_t>(atoms.elements[i])];
            }
            weights[i] = i < static_cast<std::size_t>(atoms.numLocal) ? 1.0 : 0.0;
        }
        cluster.evaluate({atoms.positions, 3 * numAtoms}, types, weights);
        for (std::size_t i = 0; i < cluster.atoms().size(); ++i) {
            const auto atom = static_cast<std::size_t>(cluster.atoms()[i]);
            sums.energies[atom] += weights[atom] * view.factor * cluster.energies()[i];
            addScaled(cluster.forces().subspan(3 * i, 3), sums.forces, 3 * atom);
            addScaled(cluster.virials().subspan(6 * i, 6), sums.virials, 6 * atom);
        }
    }

private:
    void addScaled(std::span<const double> values, std::span<double> sums, std::size_t first) const {
        for (std::size_t c = 0; c < values.size() && !sums.empty(); ++c) {
            sums[first + c] += view.factor * values[c];
        }
    }

    const ReaxView& view;
    ReaxCluster cluster;
    std::vector<int> types;
    std::vector<double> weights;
};

ReaxView::ReaxView(FilePointer file, double rcut, double mixingRate, const std::vector<std::string>& elements)
    : param(rcut, std::move(file)), factor(mixingRate * static_cast<double>(units::kilocaloriePerMole)) {
    for (const std::string& label : elements) {
        const int atomNumber = findAtomicNumber(label);
        typeOf.push_back(atomNumber > 0 ? param.typeOf(atomNumber) : -1);
    }
}

std::unique_ptr<ViewBaseline::Evaluator> ReaxView::makeEvaluator() const {
    return std::make_unique<ClusterEvaluator>(*this);
}

} // namespace melta
