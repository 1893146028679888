// Trainings whose progress lines are compared with what a stored model says about each geometry.
#pragma once

#include "modelio/ModelStore.hpp"
#include "training/TrainingRun.hpp"

#include <cmath>
#include <vector>

namespace melta::test {

// Four digits are printed.
inline constexpr double printed = 1.0e-3;

#define EXPECT_CLOSE(actual, expected, tolerance)                                                            \
    EXPECT_LE(std::abs((actual) - (expected)), (tolerance)*std::abs(expected))                               \
        << #actual " = " << (actual) << ", " #expected " = " << (expected)

// Errors of a set, summed in double precision from what a stored model says about each geometry.
struct Reference {
    std::vector<std::vector<float>> energies; // [numGeoms][numAtoms]
    std::vector<std::vector<float>> forces;   // [numGeoms][numAtoms][3]
    double etot = 0.0;                        // mean squares
    double eatom = 0.0;
    double force = 0.0;
    std::vector<double> eatomOfElem; // sums of squares over the elements' atoms, divided by all atoms
    std::vector<double> forceOfElem; // the same, divided by all components
};

class EnergyTrainer : public test::EnergyTraining {
protected:
    // Leaves the energy or the force term out of the loss, as coefficients of 0 in the properties file do.
    void switchTerms(bool hasEnergy, bool hasForce) {
        property.hasEnergyCoef = hasEnergy ? 1 : 0;
        property.coefEnergy = hasEnergy ? 1.0f : 0.0f;
        property.hasForceCoef = hasForce ? 1 : 0;
        property.coefForce = hasForce ? 1.0f : 0.0f;
    }

    Reference evaluate(const GeometrySet& set) const {
        // The energies of a testing set are measured from the means of its training set.
        const GeometrySet* const origin = set.trainingSet != nullptr ? set.trainingSet : &set;
        NNArch arch(NNArch::onlyEnergy, set.numElems, &property, false, false);
        outputOf([&] {
            arch.initLayers(&set);
            restoreNN(arch, network, origin, false);
        });
        Reference result;
        for (const auto& geometry : set.geometries) {
            Geometry* const batch[] = {geometry.get()};
            arch.setGeometries(batch);
            arch.calculateSymmFuncs(true, false, true);
            arch.renormalizeSymmFuncs(false);
            arch.goBackwardOnForce();
            const auto energies = arch.obtainEnergies(0);
            const auto forces = arch.obtainForces(0);
            result.energies.emplace_back(energies.begin(), energies.end());
            result.forces.emplace_back(forces.begin(), forces.end());
            arch.clearGeometries();
        }
        sumUp(set, result);
        return result;
    }

    static void sumUp(const GeometrySet& set, Reference& result) {
        const auto square = [](double value) { return value * value; };
        result.eatomOfElem.assign(static_cast<std::size_t>(set.numElems), 0.0);
        result.forceOfElem.assign(static_cast<std::size_t>(set.numElems), 0.0);
        double numAtoms = 0.0;
        for (std::size_t g = 0; g < set.geometries.size(); ++g) {
            const Geometry& geometry = *set.geometries[g];
            double total = -geometry.energyTotal;
            for (std::size_t a = 0; a < geometry.energies.size(); ++a) {
                const auto e = static_cast<std::size_t>(geometry.elements[a]);
                const auto energy = static_cast<double>(result.energies[g][a]);
                total += energy;
                result.eatomOfElem[e] += square(energy - geometry.energies[a]);
                for (std::size_t c = 3 * a; c < 3 * a + 3; ++c) {
                    result.forceOfElem[e] += square(static_cast<double>(result.forces[g][c]) -
                                                    static_cast<double>(geometry.forces[c]));
                }
            }
            result.etot += square(total / geometry.numAtoms) / set.numGeoms;
            numAtoms += geometry.numAtoms;
        }
        for (std::size_t e = 0; e < result.eatomOfElem.size(); ++e) {
            result.eatomOfElem[e] /= numAtoms;
            result.forceOfElem[e] /= 3.0 * numAtoms;
            result.eatom += result.eatomOfElem[e];
            result.force += result.forceOfElem[e];
        }
    }

    // The settings of the models of this fixture: one network, so that the ensemble's errors are its own.
    void useOneModel() { property.modelsEnergy = 1; }

    // Stores a model of the set, then gives the only epoch of a restart that changes nothing.
    Progress firstEpochOfRestart(const GeometrySet& set, const GeometrySet* testSet = nullptr) {
        const Property settings = property;
        property.restart = 0;
        property.renormLoss = 0;
        train(set);
        property = settings;
        freezeAtStoredModel();
        output = train(set, testSet);
        const std::vector<Progress> list = readProgress(output);
        EXPECT_EQ(list.size(), 1U) << output;
        return list.empty() ? Progress{} : list.front();
    }

    std::string output;
};

} // namespace melta::test
