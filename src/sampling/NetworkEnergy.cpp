#include "sampling/NetworkEnergy.hpp"

#include "structure/BaselinePotential.hpp"
#include "structure/Geometry.hpp"

#include <algorithm>
#include <numeric>

namespace melta {

NetworkEnergy::NetworkEnergy(const ModelData& model, BaselinePotential* potential, Geometry& configuration,
                             float rcut)
    : baseline(potential), geometry(configuration), source(geometry, model.elements.numElems),
      tracker(geometry, rcut), evaluator(model) {}

double NetworkEnergy::start() {
    evaluate(source.atoms());
    return sumEnergies();
}

double NetworkEnergy::evaluateMove(std::span<const int> moved) {
    movedAtoms.assign(moved.begin(), moved.end());
    for (const int atom : moved) {
        geometry.wrapAtom(atom);
    }
    const std::span<const int> changed = tracker.followMove(moved);
    changedAtoms.assign(changed.begin(), changed.end());
    kept.clear();
    for (const int atom : changedAtoms) {
        const auto a = static_cast<std::size_t>(atom);
        kept.push_back({current.energies[a], current.novelty[a]});
    }
    evaluate(changedAtoms);
    return sumEnergies();
}

void NetworkEnergy::evaluate(std::span<const int> atoms) {
    evaluator.evaluate(source, atoms, Wish::energy | Wish::novelty, current);
}

double NetworkEnergy::sumEnergies() {
    const double energy = std::accumulate(current.energies.begin(), current.energies.end(), 0.0);
    return baseline == nullptr ? energy : energy + static_cast<double>(baseline->obtainEnergy(&geometry));
}

bool NetworkEnergy::isUnknown() {
    return std::ranges::any_of(current.novelty, [](std::uint8_t isNovel) { return isNovel != 0; });
}

void NetworkEnergy::acceptMove() {}

void NetworkEnergy::rejectMove() {
    tracker.followMove(movedAtoms);
    for (std::size_t k = 0; k < changedAtoms.size(); ++k) {
        const auto atom = static_cast<std::size_t>(changedAtoms[k]);
        current.energies[atom] = kept[k].energy;
        current.novelty[atom] = kept[k].novelty;
    }
}

} // namespace melta
