// Runs the fast functions beside the twin.
#pragma once

#include "symmfunc/Clusters.hpp"
#include "symmfunc/SymmFuncFixture.hpp"
#include "symmfunc/chebyshev/ChebyshevTwin.hpp"
#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"

#include <gtest/gtest.h>

namespace melta::test {

inline SymmFuncChebyshev makeChebyshev(const ChebyshevSettings& set) {
    return {set.numElems, set.tanhCutoff, set.elemWeight, set.numRadius,
            set.numAngle, set.rcutRadius, set.rcutAngle};
}

// Largest errors in units of the twin's scales. They are mostly the rounding of positions and distances,
// which the high orders magnify.
constexpr double valueTolerance = 2.0e-5;
constexpr double diffTolerance = 5.0e-6;

inline void expectTwin(const ChebyshevSettings& set, const Geometry& geometry, int iatom) {
    const TwinResult twin = computeTwin(set, makeNeighborhood(geometry, iatom));
    const auto symmFunc = makeChebyshev(set);
    ASSERT_EQ(symmFunc.getNumBasis(), twin.numBasis);

    const auto full = calculateSymmFunc(symmFunc, geometry, iatom);
    const auto valuesOnly = calculateSymmFunc(symmFunc, geometry, iatom, false);

    expectWithin(full.values, twin.values, twin.valueScale, valueTolerance, "value");
    expectWithin(valuesOnly.values, twin.values, twin.valueScale, valueTolerance, "value alone");
    expectWithin(full.diff, twin.diff, twin.diffScale, diffTolerance, "derivative");
    expectGradient(symmFunc, geometry, iatom, twin, diffTolerance);
}

} // namespace melta::test
