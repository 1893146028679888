#include "sampling/NetworkEnergy.hpp"

#include "network/NNArch.hpp"
#include "structure/BaselinePotential.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace melta {
namespace {

// Lowers the output of all models of an element by the same value.
void lowerOutput(NNEnsemble& ensemble, float value) {
    NNLayer& lastLayer = ensemble.getLastLayer();
    for (int model = 0; model < lastLayer.getNumModels(); ++model) {
        lastLayer.biasOf(model).front() -= value;
    }
}

} // namespace

double separateConstantEnergy(NNArch& arch, const GeometrySet& set, const Geometry& geometry) {
    std::vector<float> constants;
    for (int element = 0; element < set.numElems; ++element) {
        constants.push_back(arch.obtainOutputBias(element));
        lowerOutput(arch.getEnergyEnsembles()[static_cast<std::size_t>(element)], constants.back());
    }
    double sum = 0.0;
    for (const int element : geometry.elements) {
        // The networks take the numbers of the elements for granted.
        static_cast<void>(set.getElementName(element));
        sum += static_cast<double>(constants[static_cast<std::size_t>(element)]);
    }
    return sum;
}

void NetworkEnergy::AtomResults::resize(std::size_t count) {
    energies.resize(count);
    outside.resize(count);
}

NetworkEnergy::NetworkEnergy(NNArch& networks, BaselinePotential* potential, const GeometrySet& set,
                             Geometry& configuration, float rcut)
    : arch(networks), baseline(potential), geometry(configuration),
      constantEnergy(separateConstantEnergy(networks, set, configuration)), tracker(configuration, rcut) {
    current.resize(static_cast<std::size_t>(geometry.numAtoms));
}

double NetworkEnergy::start() {
    changedAtoms.resize(static_cast<std::size_t>(geometry.numAtoms));
    std::iota(changedAtoms.begin(), changedAtoms.end(), 0);
    evaluateChanged();
    return sumEnergies();
}

double NetworkEnergy::evaluateMove(std::span<const int> moved) {
    movedAtoms.assign(moved.begin(), moved.end());
    for (const int atom : moved) {
        geometry.wrapAtom(atom);
    }
    const std::span<const int> changed = tracker.followMove(moved);
    changedAtoms.assign(changed.begin(), changed.end());
    evaluateChanged();
    return sumEnergies();
}

// Takes the new results and keeps the old ones.
void NetworkEnergy::evaluateChanged() {
    constexpr int maxDist = 1;
    fresh.resize(changedAtoms.size());
    kept.resize(changedAtoms.size());
    arch.evaluateAtoms(geometry, changedAtoms, maxDist, fresh.energies, fresh.outside);
    for (std::size_t k = 0; k < changedAtoms.size(); ++k) {
        const auto atom = static_cast<std::size_t>(changedAtoms[k]);
        kept.energies[k] = std::exchange(current.energies[atom], fresh.energies[k]);
        kept.outside[k] = std::exchange(current.outside[atom], fresh.outside[k]);
    }
}

double NetworkEnergy::sumEnergies() {
    double energy = constantEnergy;
    for (const float energyOfAtom : current.energies) {
        energy += static_cast<double>(energyOfAtom);
    }
    if (baseline != nullptr) {
        energy += static_cast<double>(baseline->obtainEnergy(&geometry));
    }
    return energy;
}

bool NetworkEnergy::isUnknown() {
    return std::ranges::any_of(current.outside, [](std::uint8_t isOutside) { return isOutside != 0; });
}

void NetworkEnergy::acceptMove() {}

void NetworkEnergy::rejectMove() {
    tracker.followMove(movedAtoms);
    for (std::size_t k = 0; k < changedAtoms.size(); ++k) {
        const auto atom = static_cast<std::size_t>(changedAtoms[k]);
        current.energies[atom] = kept.energies[k];
        current.outside[atom] = kept.outside[k];
    }
}

} // namespace melta
