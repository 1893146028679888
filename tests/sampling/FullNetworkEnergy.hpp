#pragma once

#include "network/NNArch.hpp"
#include "sampling/ConfigurationEnergy.hpp"
#include "structure/BaselinePotential.hpp"
#include "structure/GeometrySet.hpp"

#include <span>

namespace melta::test {

// NetworkEnergy in its plainest form: after each move everything is made anew, for all atoms, as a training
// does it.
class FullNetworkEnergy final : public ConfigurationEnergy {
public:
    FullNetworkEnergy(NNArch& networks, BaselinePotential* potential, Geometry& configuration, float range)
        : arch(networks), baseline(potential), geometry(configuration), rcut(range) {}

    double start() override {
        geometry.updateAtoms(rcut);
        const double energy = evaluate();
        arch.clearGeometries();
        return energy;
    }

    double evaluateMove(std::span<const int> /*movedAtoms*/) override {
        geometry.updateAtoms(rcut);
        return evaluate();
    }

    [[nodiscard]] bool isUnknown() override { return arch.isOutsideSymmDistribution(1); }
    void acceptMove() override { arch.clearGeometries(); }
    void rejectMove() override { arch.clearGeometries(); }

private:
    double evaluate() {
        Geometry* const batch[] = {&geometry};
        arch.setGeometries(batch);
        arch.calculateSymmFuncs(false, false, true);
        arch.renormalizeSymmFuncs(false);
        arch.goForwardOnEnergy();
        double energy = 0.0;
        for (const float energyOfAtom : arch.obtainEnergies(0)) {
            energy += static_cast<double>(energyOfAtom);
        }
        if (baseline != nullptr) {
            energy += static_cast<double>(baseline->obtainEnergy(&geometry));
        }
        return energy;
    }

    NNArch& arch;
    BaselinePotential* baseline;
    Geometry& geometry;
    float rcut;
};

} // namespace melta::test
