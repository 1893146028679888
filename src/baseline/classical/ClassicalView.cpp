#include "baseline/classical/ClassicalView.hpp"

#include "structure/ViewPairs.hpp"

#include <cmath>
#include <utility>

namespace melta {

// Half of the energy of each pair belongs to the atom, which so acts on its neighbour.
class ClassicalView::PairEvaluator final : public ViewBaseline::Evaluator {
public:
    explicit PairEvaluator(const ClassicalView& potential) : view(potential) {}

    void add(const NeighborView& atoms, const BaselineSums& sums) override {
        forEachPair(atoms, view.cutoff, [&](const ViewPair& pair) {
            const Pair value = view.evaluate(pair.element, pair.otherElement, pair.r);
            sums.energies[pair.atom] += 0.5 * value.energy;
            addPairForce(pair, -0.5 * value.slope, sums);
        });
    }

private:
    const ClassicalView& view;
};

ClassicalView::ClassicalView(ClassicalParameters fitted, double rcut)
    : parameters(std::move(fitted)), cutoff(rcut) {
    for (std::size_t p = 0; p < numPowers; ++p) {
        const auto n = static_cast<double>(pairPowers[p]);
        shift[p] = std::pow(rcut, -n);
        tilt[p] = n * shift[p] / rcut;
    }
}

std::unique_ptr<ViewBaseline::Evaluator> ClassicalView::makeEvaluator() const {
    return std::make_unique<PairEvaluator>(*this);
}

// Sum over the powers n of coef (r^-n - shift + tilt (r - rcut)).
ClassicalView::Pair ClassicalView::evaluate(std::size_t element, std::size_t other, double r) const {
    Pair value{0.0, 0.0};
    const auto coefs = parameters.coefsOf(pairIndexOf(element, other));
    const double inverse = 1.0 / r;
    const double square = inverse * inverse;
    const double sixth = square * square * square;
    const std::array<double, numPowers> powers{sixth * sixth, sixth * square * square, sixth * square, sixth};
    for (std::size_t p = 0; p < numPowers; ++p) {
        const auto coef = static_cast<double>(coefs[p]);
        const auto n = static_cast<double>(pairPowers[p]);
        value.energy += coef * (powers[p] - shift[p] + tilt[p] * (r - cutoff));
        value.slope += coef * (-n * powers[p] * inverse + tilt[p]);
    }
    return value;
}

} // namespace melta
