#include "ReaxComparison.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>

namespace melta::test {
namespace {

// Relative to the scales of ReaxDeviation. Atomic energies and the total are sums in double; the forces
// gather some hundred terms in single precision.
constexpr double energyTolerance = 1.0e-13;
constexpr double forceTolerance = 4.0e-7;
constexpr double singleTolerance = 2.0e-7;

std::string writtenIn(const TemporaryDirectory& directory, const std::string& text) {
    const std::string fileName = directory.file("ffield.reax");
    writeTextFile(fileName, text);
    return fileName;
}

double largestMagnitude(const std::vector<double>& values) {
    double largest = 0.0;
    for (const double value : values) {
        largest = std::max(largest, std::abs(value));
    }
    return largest;
}

// Unlike std::max it keeps a NaN.
void raise(double& largest, double difference) {
    if (!(std::abs(difference) <= largest)) {
        largest = std::abs(difference);
    }
}

void expectSinglePrecisionResults(ReaxPot& pot, const Geometry& geometry, const std::vector<double>& energies,
                                  const std::vector<double>& forces, double energyScale) {
    const std::size_t numAtoms = energies.size();
    std::vector<float> energyArray(numAtoms, -7.0f);
    std::vector<float> forceArray(3 * numAtoms, -7.0f);
    double total = 0.0;

    const auto given = static_cast<double>(pot.obtainEnergiesAndForces(&geometry, energyArray, forceArray));
    const auto energyAlone = static_cast<double>(pot.obtainEnergy(&geometry));

    for (std::size_t i = 0; i < numAtoms; ++i) {
        total += energies[i];
        const double inUnit = energies[i] * reaxUnit;
        EXPECT_LE(std::abs(static_cast<double>(energyArray[i]) - inUnit), singleTolerance * std::abs(inUnit))
            << "atom " << i;
    }
    for (std::size_t k = 0; k < forces.size(); ++k) {
        const double inUnit = forces[k] * reaxUnit;
        EXPECT_LE(std::abs(static_cast<double>(forceArray[k]) - inUnit), singleTolerance * std::abs(inUnit))
            << "component " << k;
    }
    const double tolerance = singleTolerance * (std::abs(total) + 1.0e-3 * energyScale) * reaxUnit;
    EXPECT_LE(std::abs(given - total * reaxUnit), tolerance);
    EXPECT_LE(std::abs(energyAlone - total * reaxUnit), tolerance);
}

} // namespace

ReaxComparison::ReaxComparison(double rcut, const std::string& text)
    : fileName(writtenIn(directory, text)), pot(rcut, 1.0, fileName), twin(rcut, fileName) {}

std::vector<double> potEnergies(ReaxPot& pot, const ReaxConfiguration& configuration) {
    const std::unique_ptr<Geometry> geometry = configuration.makeGeometry();
    pot.removeFromGeometry(geometry.get());
    std::vector<double> energies;
    for (const double energy : geometry->energies) {
        energies.push_back(-energy / reaxUnit);
    }
    return energies;
}

std::vector<double> potForces(ReaxPot& pot, const ReaxConfiguration& configuration) {
    const std::unique_ptr<Geometry> geometry = configuration.makeGeometry();
    pot.removeFromGeometry(geometry.get());
    std::vector<double> forces;
    for (const float force : geometry->forces) {
        forces.push_back(-static_cast<double>(force) / reaxUnit);
    }
    return forces;
}

ReaxDeviation deviationOf(ReaxPot& pot, const ReaxTwin& twin, const ReaxConfiguration& configuration) {
    const std::unique_ptr<Geometry> geometry = configuration.makeGeometry();
    const ReaxTwinAtoms atoms = ReaxTwinAtoms::of(*geometry);
    pot.removeFromGeometry(geometry.get());
    const ReaxTwinOutcome<double> outcome = twin.evaluate(atoms);
    const ReaxTwinGradient gradient = twin.gradient(atoms, LonePairSlope::told);
    ReaxDeviation deviation;
    for (std::size_t i = 0; i < outcome.bond.size(); ++i) {
        raise(deviation.energy, -geometry->energies[i] / reaxUnit - outcome.energyOf(i));
        deviation.energyScale =
            std::max(deviation.energyScale, std::abs(outcome.bond[i]) + std::abs(outcome.lonePair[i]) +
                                                std::abs(outcome.overCoordination[i]) +
                                                std::abs(outcome.underCoordination[i]) +
                                                std::abs(outcome.vanDerWaals[i]));
    }
    raise(deviation.total, -geometry->energyTotal / reaxUnit - outcome.total());
    for (std::size_t k = 0; k < gradient.bonded.size(); ++k) {
        const double force = -static_cast<double>(geometry->forces[k]) / reaxUnit;
        raise(deviation.force, force + gradient.bonded[k] + gradient.vanDerWaals[k]);
    }
    deviation.forceScale =
        std::max(largestMagnitude(gradient.bonded), largestMagnitude(gradient.vanDerWaals));
    return deviation;
}

void expectAgreement(ReaxPot& pot, const ReaxTwin& twin, const ReaxConfiguration& configuration) {
    const ReaxDeviation deviation = deviationOf(pot, twin, configuration);
    const auto numAtoms = static_cast<double>(configuration.atomicNumbers.size());

    EXPECT_LE(deviation.energy, energyTolerance * deviation.energyScale);
    EXPECT_LE(deviation.total, energyTolerance * deviation.energyScale * numAtoms);
    EXPECT_LE(deviation.force, forceTolerance * deviation.forceScale);
    const std::unique_ptr<Geometry> geometry = configuration.makeGeometry();
    expectSinglePrecisionResults(pot, *geometry, potEnergies(pot, configuration),
                                 potForces(pot, configuration), deviation.energyScale);
}

} // namespace melta::test
