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
}

inline void expectTwin(const ClusterTwinSettings& set, const Geometry& geometry, int iatom) {
    expectTwin(set, geometry, iatom, computeTwin(set, makeNeighborhood(geometry, iatom)));
}

} // namespace melta::test
