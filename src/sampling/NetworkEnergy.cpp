#include "sampling/NetworkEnergy.hpp"

#include "network/NNArch.hpp"
#include "structure/BaselinePotential.hpp"
#include "structure/GeometrySet.hpp"

#include <vector>

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

NetworkEnergy::NetworkEnergy(NNArch& networks, BaselinePotential* potential, const GeometrySet& set,
                             Geometry& configuration, float range)
    : arch(networks), baseline(potential), geometry(configuration), rcut(range) {
    separateConstant(set);
}

void NetworkEnergy::separateConstant(const GeometrySet& set) {
    std::vector<float> constants;
    for (int element = 0; element < set.numElems; ++element) {
        constants.push_back(arch.obtainOutputBias(element));
        lowerOutput(arch.getEnergyEnsembles()[static_cast<std::size_t>(element)], constants.back());
    }
    for (const int element : geometry.elements) {
        // The networks take the numbers of the elements for granted.
        static_cast<void>(set.getElementName(element));
        constantEnergy += static_cast<double>(constants[static_cast<std::size_t>(element)]);
    }
}

double NetworkEnergy::start() {
    const double energy = evaluate();
    arch.clearGeometries();
    return energy;
}

double NetworkEnergy::evaluateMove(std::span<const int> /*movedAtoms*/) {
    geometry.updateAtoms(rcut);
    return evaluate();
}

double NetworkEnergy::evaluate() {
    Geometry* const batch[] = {&geometry};
    arch.setGeometries(batch);
    arch.calculateSymmFuncs(false, false, false);
    arch.renormalizeSymmFuncs(false);
    arch.goForwardOnEnergy();
    double energy = constantEnergy;
    for (const float energyOfAtom : arch.obtainEnergies(0)) {
        energy += static_cast<double>(energyOfAtom);
    }
    if (baseline != nullptr) {
        energy += static_cast<double>(baseline->obtainEnergy(&geometry));
    }
    return energy;
}

bool NetworkEnergy::isUnknown() {
    constexpr int maxDist = 1;
    return arch.isOutsideSymmDistribution(maxDist);
}

void NetworkEnergy::acceptMove() {
    arch.clearGeometries();
}

// The neighbour lists of the refused configuration stay until the next move, which makes them anew.
void NetworkEnergy::rejectMove() {
    arch.clearGeometries();
}

} // namespace melta
