// Runs symmetry functions and compares their results.
#pragma once

#include "structure/Geometry.hpp"
#include "structure/NeighborArrays.hpp"
#include "symmfunc/SymmFunc.hpp"
#include "symmfunc/TwinTools.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <span>
#include <vector>

namespace melta::test {

struct SymmFuncResult {
    std::vector<float> values; // [numBasis]
    std::vector<float> diff;   // [3 (numNeighbors + 1)][numBasis], or empty
};

// The arrays begin as garbage, because calculate has to write all of them, and end in a guard that it must
// leave alone.
inline SymmFuncResult calculateSymmFunc(const SymmFunc& symmFunc, const Geometry& geometry, int iatom,
                                        bool withDiff = true) {
    constexpr std::size_t numGuards = 20;
    constexpr float garbage = std::numeric_limits<float>::quiet_NaN();
    const auto numBasis = static_cast<std::size_t>(symmFunc.getNumBasis());
    const std::size_t diffSize = withDiff ? 3 * (geometry.getNeighbors(iatom).size() + 1) * numBasis : 0;
    SymmFuncResult result;
    result.values.assign(numBasis + numGuards, garbage);
    result.diff.assign(diffSize + numGuards, garbage);

    symmFunc.calculate(geometry, iatom, result.values,
                       withDiff ? std::span<float>(result.diff) : std::span<float>());

    for (std::size_t i = 0; i < numGuards; ++i) {
        EXPECT_TRUE(std::isnan(result.values[numBasis + i])) << "values overrun by " << i;
        EXPECT_TRUE(std::isnan(result.diff[diffSize + i])) << "derivatives overrun by " << i;
    }
    result.values.resize(numBasis);
    result.diff.resize(diffSize);
    return result;
}

// Each element within `tolerance` times its scale; exact where the scale is zero.
inline void expectWithin(const std::vector<float>& actual, const std::vector<double>& expected,
                         const std::vector<double>& scale, double tolerance, const char* what) {
    ASSERT_EQ(actual.size(), expected.size());
    double worst = -1.0;
    std::size_t place = 0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const double error = std::fabs(static_cast<double>(actual[i]) - expected[i]);
        const double excess = error - tolerance * scale[i];
        if (!(excess <= 0.0) && !(excess <= worst)) {
            worst = excess;
            place = i;
        }
    }
    EXPECT_LE(worst, 0.0) << what << " " << place << ": " << actual[place] << " instead of "
                          << expected[place] << ", scale " << scale[place];
}

// Compares the way back, for several functions of the values, with the derivatives of a twin.
inline void expectGradient(const SymmFunc& symmFunc, const Geometry& geometry, int iatom,
                           const TwinResult& twin, double tolerance) {
    constexpr std::size_t numGuards = 20;
    NeighborArrays neighbors;
    neighbors.update(geometry, iatom);
    const std::size_t numBasis = twin.values.size();
    const std::size_t length = 3 * neighbors.size();
    std::mt19937 random(5);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    for (int function = 0; function < 2; ++function) {
        std::vector<float> byValues(numBasis);
        std::ranges::generate(byValues, [&] { return uniform(random); });
        std::vector<float> byPositions(length + numGuards, std::numeric_limits<float>::quiet_NaN());

        symmFunc.calculateGradient(neighbors, byValues, std::span(byPositions).first(length));

        std::vector<double> expected(length, 0.0);
        std::vector<double> scale(length, 0.0);
        for (std::size_t i = 0; i < length * numBasis; ++i) {
            const std::size_t row = i / numBasis;
            const std::size_t place = row % 3 * neighbors.size() + row / 3;
            const auto weight = static_cast<double>(byValues[i % numBasis]);
            expected[place] += weight * twin.diff[3 * numBasis + i];
            scale[place] += std::fabs(weight) * twin.diffScale[3 * numBasis + i];
        }
        for (std::size_t i = 0; i < numGuards; ++i) {
            EXPECT_TRUE(std::isnan(byPositions[length + i])) << "gradient overrun by " << i;
        }
        byPositions.resize(length);
        expectWithin(byPositions, expected, scale, tolerance, "gradient");
    }
}

// Compares a twin's own derivatives, by which the fast ones are judged, with central differences of its
// values. `compute` makes the twin's result for a neighbourhood; an error may be `relative` of its scale plus
// `absolute`.
template <class Compute>
void expectTwinGradient(Neighborhood hood, const Compute& compute, double step, double relative,
                        double absolute) {
    const TwinResult twin = compute(hood);
    const auto numBasis = static_cast<std::size_t>(twin.numBasis);
    for (std::size_t row = 0; row < twin.diff.size() / numBasis; ++row) {
        double& x = row < 3 ? hood.center[row] : hood.positions[row / 3 - 1][row % 3];
        const double start = x;
        x = start + step;
        const std::vector<double> above = compute(hood).values;
        x = start - step;
        const std::vector<double> below = compute(hood).values;
        x = start;
        for (std::size_t b = 0; b < numBasis; ++b) {
            const double slope = (above[b] - below[b]) / (2.0 * step);
            const std::size_t place = row * numBasis + b;
            ASSERT_LE(std::fabs(slope - twin.diff[place]), relative * twin.diffScale[place] + absolute)
                << row << " " << b << ": " << slope << " " << twin.diff[place];
        }
    }
}

} // namespace melta::test
