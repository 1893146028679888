// Runs the fast functions beside the twin.
#pragma once

#include "symmfunc/Clusters.hpp"
#include "symmfunc/SymmFuncFixture.hpp"
#include "symmfunc/manybody/ManyBodyTwin.hpp"
#include "symmfunc/manybody/SymmFuncManyBody.hpp"

namespace melta::test {

inline SymmFuncManyBody makeManyBody(const ManyBodySettings& set) {
    return {set.numElems, false, set.m2, set.m3, set.rinner, set.router};
}

// An atom with neighbours within 9 Angstrom whose list is in the order of the atoms: the search radius is so
// large that they share one bin of the search.
inline std::unique_ptr<Geometry> makeOrderedStar(const std::vector<TestAtom>& others) {
    auto geometry = makeStar(others, 20.0f);
    const auto neighbors = geometry->getNeighbors(0);
    EXPECT_EQ(neighbors.size(), others.size());
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        EXPECT_EQ(neighbors[n].atom, static_cast<int>(n) + 1);
    }
    return geometry;
}

// Largest errors in units of the twin's scales, which is to say of lengths, Angstrom: positions of images are
// rounded to about as much.
constexpr double manyBodyTolerance = 1.0e-6;

inline void expectTwin(const ManyBodySettings& set, const Geometry& geometry, int iatom) {
    const TwinResult twin = computeTwin(set, makeNeighborhood(geometry, iatom));
    const auto symmFunc = makeManyBody(set);
    ASSERT_EQ(symmFunc.getNumBasis(), twin.numBasis);

    const auto full = calculateSymmFunc(symmFunc, geometry, iatom);
    const auto valuesOnly = calculateSymmFunc(symmFunc, geometry, iatom, false);

    expectWithin(full.values, twin.values, twin.valueScale, manyBodyTolerance, "value");
    expectWithin(valuesOnly.values, twin.values, twin.valueScale, manyBodyTolerance, "value alone");
    expectWithin(full.diff, twin.diff, twin.diffScale, manyBodyTolerance, "derivative");
    expectGradient(symmFunc, geometry, iatom, twin, manyBodyTolerance);
}

} // namespace melta::test
