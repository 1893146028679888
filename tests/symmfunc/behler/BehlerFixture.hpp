// Runs the fast functions beside the twin.
#pragma once

#include "symmfunc/Clusters.hpp"
#include "symmfunc/SymmFuncFixture.hpp"
#include "symmfunc/behler/BehlerTwin.hpp"
#include "symmfunc/behler/SymmFuncBehler.hpp"

#include <gtest/gtest.h>

#include <array>
#include <memory>

namespace melta::test {

// The functions borrow their parameters from `set`.
inline std::unique_ptr<SymmFuncBehler> makeBehler(const BehlerSettings& set) {
    auto symmFunc = std::make_unique<SymmFuncBehler>(
        set.numElems, set.tanhCutoff, set.elemWeight, static_cast<int>(set.radiusEta.size()),
        static_cast<int>(set.angleEta.size()), set.rcutRadius, set.rcutAngle);
    symmFunc->radiusEta = set.radiusEta;
    symmFunc->radiusShift = set.radiusShift;
    symmFunc->behlerG4 = set.behlerG4;
    symmFunc->angleEta = set.angleEta;
    symmFunc->angleZeta = set.angleZeta;
    symmFunc->angleShift = set.angleShift;
    return symmFunc;
}

// Parameters as they are in use, and some at the ends of the range: exponents from 1 to 64, whole and not,
// narrow and flat Gaussians, with and without shifts.
inline void addParameters(BehlerSettings& set, int numRadius, int numAngle) {
    constexpr std::array etas{0.0f, 0.02f, 0.5f, 0.0165f, 4.0f, 0.1f, 1.3f};
    constexpr std::array zetas{1.0f, 2.0f, 4.0f, 16.0f, 64.0f, 1.5f, 0.7f, 7.3f, 3.0f};
    constexpr std::array shifts{0.0f, 1.0f, 0.0f, 2.5f, 3.7f};
    set.radiusEta.clear();
    set.radiusShift.clear();
    for (int i = 0; i < numRadius; ++i) {
        const auto place = static_cast<std::size_t>(i);
        set.radiusEta.push_back(etas[place % etas.size()]);
        set.radiusShift.push_back(shifts[place % shifts.size()]);
    }
    set.angleEta.clear();
    set.angleZeta.clear();
    set.angleShift.clear();
    for (int i = 0; i < numAngle; ++i) {
        const auto place = static_cast<std::size_t>(i);
        set.angleEta.push_back(etas[(place + 1) % etas.size()]);
        set.angleZeta.push_back(zetas[place % zetas.size()]);
        set.angleShift.push_back(shifts[(place + 2) % shifts.size()]);
    }
}

// Largest errors in units of the twin's scales. They are mostly the rounding of positions and distances.
constexpr double behlerTolerance = 2.0e-6;

inline void expectTwin(const BehlerSettings& set, const Geometry& geometry, int iatom) {
    const TwinResult twin = computeTwin(set, makeNeighborhood(geometry, iatom));
    const auto symmFunc = makeBehler(set);
    ASSERT_EQ(symmFunc->getNumBasis(), twin.numBasis);

    const auto full = calculateSymmFunc(*symmFunc, geometry, iatom);
    const auto valuesOnly = calculateSymmFunc(*symmFunc, geometry, iatom, false);

    expectWithin(full.values, twin.values, twin.valueScale, behlerTolerance, "value");
    expectWithin(valuesOnly.values, twin.values, twin.valueScale, behlerTolerance, "value alone");
    expectWithin(full.diff, twin.diff, twin.diffScale, behlerTolerance, "derivative");
    expectGradient(*symmFunc, geometry, iatom, twin, behlerTolerance);
}

} // namespace melta::test
