// A walk on energies that can be worked out by hand.
#pragma once

#include "base/RandomSource.hpp"
#include "sampling/ConfigurationEnergy.hpp"
#include "sampling/MetropolisMoves.hpp"
#include "sampling/MonteCarloWalk.hpp"
#include "structure/Geometry.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace melta::test {

constexpr double kelvin = 8.617333e-5; // eV

// Any function as the energy, and a record of what the walk has said.
class FunctionEnergy final : public ConfigurationEnergy {
public:
    explicit FunctionEnergy(std::function<double()> energy) : function(std::move(energy)) {}

    double start() override { return function(); }
    double evaluateMove(std::span<const int> movedAtoms) override {
        moved.assign(movedAtoms.begin(), movedAtoms.end());
        return function();
    }
    [[nodiscard]] bool isUnknown() override { return unknown; }
    void acceptMove() override { ++numAccepted; }
    void rejectMove() override { ++numRejected; }

    std::function<double()> function;
    bool unknown = true;
    std::vector<int> moved; // of the last move
    int numAccepted = 0;
    int numRejected = 0;
};

// Adds an atom, which knows its place only in a geometry.
inline void addAtom(MetropolisInput& input, const std::string& name, bool isFixed = false) {
    std::size_t element = 0;
    while (element < input.elemNames.size() && input.elemNames[element] != name) {
        ++element;
    }
    if (element == input.elemNames.size()) {
        input.elemNames.push_back(name);
        ++input.numElems;
    }
    input.elemAtoms.push_back(static_cast<std::int32_t>(element));
    input.fixAtoms.push_back(isFixed ? 1 : 0);
    ++input.numAtoms;
}

inline void addVacancy(MetropolisInput& input, float x, float y = 0.0f, float z = 0.0f) {
    input.vacancyCoords.insert(input.vacancyCoords.end(), {x, y, z});
    ++input.numVacancies;
}

inline void addPair(MetropolisInput& input, const std::string& first, const std::string& second,
                    float temperature = -1.0f) {
    input.swapPairs.push_back({first, second});
    input.swapTemps.push_back(temperature);
    ++input.numSwaps;
}

// The atoms of an input in a wide cell, atom i at (i, 0, 0).
inline Geometry makeRow(const MetropolisInput& input) {
    const std::array<float, 9> lattice{50, 0, 0, 0, 50, 0, 0, 0, 50};
    Geometry geometry(lattice, input.numAtoms, false);
    for (int i = 0; i < input.numAtoms; ++i) {
        const auto element = static_cast<int>(input.elemAtoms[static_cast<std::size_t>(i)]);
        geometry.setAtom(i, element, 14, static_cast<float>(i), 0, 0, 0, 0, 0, 0, 0);
    }
    return geometry;
}

inline double xOf(const Geometry& geometry, std::size_t atom) {
    return static_cast<double>(geometry.positions[3 * atom]);
}

// Sum of (observed - expected)^2 / expected; `weights` need not be normalised.
inline double chiSquare(const std::vector<double>& counts, const std::vector<double>& weights) {
    double total = 0.0;
    double norm = 0.0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        total += counts[i];
        norm += weights[i];
    }
    double sum = 0.0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const double expected = total * weights[i] / norm;
        sum += (counts[i] - expected) * (counts[i] - expected) / expected;
    }
    return sum;
}

// Everything that a walk works on.
class WalkFixture : public testing::Test {
protected:
    WalkFixture() {
        input.unknownGeoms = 0;
        input.numGeoms = 100000000;
        input.maxSteps = 100000000;
        input.upperEnergy = 1.0e6f;
        input.lowerEnergy = 1.0e6f;
        random.seed(12345);
    }

    StopCatcher stopCatcher; // a stop that nobody expects fails the test
    MetropolisInput input;
    RandomSource random;
};

} // namespace melta::test
