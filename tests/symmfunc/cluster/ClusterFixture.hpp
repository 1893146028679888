// Runs the fast functions beside the twin.
#pragma once

#include "symmfunc/Clusters.hpp"
#include "symmfunc/SymmFuncFixture.hpp"
#include "symmfunc/cluster/ClusterTwin.hpp"
#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include <gtest/gtest.h>

namespace melta::test {

inline SymmFuncCluster makeCluster(const ClusterTwinSettings& set) {
    return {set.numElems, set.tanhCutoff, set.sizes, set.weights};
}

// Largest errors in units of the twin's scales.
constexpr double clusterValueTolerance = 2.0e-6;
constexpr double clusterDiffTolerance = 1.0e-6;

// Compares the change of the values when all neighbours move with the derivatives of a twin.
inline void expectTangent(const SymmFuncCluster& symmFunc, const Geometry& geometry, int iatom,
                          const TwinResult& twin) {
    NeighborArrays neighbors;
    neighbors.update(geometry, iatom);
    const std::size_t numBasis = twin.values.size();
    std::vector<float> directions(3 * neighbors.size());
    std::mt19937 random(7);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    std::ranges::generate(directions, [&] { return uniform(random); });
    std::vector<float> changes(numBasis, std::numeric_limits<float>::quiet_NaN());

    symmFunc.calculateTangent(neighbors, directions, changes);

    std::vector<double> expected(numBasis, 0.0);
    std::vector<double> scale(numBasis, 0.0);
    for (std::size_t row = 0; row < directions.size(); ++row) {
        const auto step = static_cast<double>(directions[row % 3 * neighbors.size() + row / 3]);
        for (std::size_t b = 0; b < numBasis; ++b) {
            expected[b] += step * twin.diff[(row + 3) * numBasis + b];
            scale[b] += std::fabs(step) * twin.diffScale[(row + 3) * numBasis + b];
        }
    }
    expectWithin(changes, expected, scale, clusterDiffTolerance, "change");
}

inline void expectTwin(const ClusterTwinSettings& set, const Geometry& geometry, int iatom,
                       const TwinResult& twin) {
    const auto symmFunc = makeCluster(set);
    ASSERT_EQ(symmFunc.getNumBasis(), twin.numBasis);

    const auto full = calculateSymmFunc(symmFunc, geometry, iatom);
    const auto valuesOnly = calculateSymmFunc(symmFunc, geometry, iatom, false);

    expectWithin(full.values, twin.values, twin.valueScale, clusterValueTolerance, "value");
    expectWithin(valuesOnly.values, twin.values, twin.valueScale, clusterValueTolerance, "value alone");
    expectWithin(full.diff, twin.diff, twin.diffScale, clusterDiffTolerance, "derivative");
    expectGradient(symmFunc, geometry, iatom, twin, clusterDiffTolerance);
    expectTangent(symmFunc, geometry, iatom, twin);
}

inline void expectTwin(const ClusterTwinSettings& set, const Geometry& geometry, int iatom) {
    expectTwin(set, geometry, iatom, computeTwin(set, makeNeighborhood(geometry, iatom)));
}

} // namespace melta::test
