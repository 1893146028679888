#include "symmfunc/behler/SymmFuncBehler.hpp"

#include "network/VectorTargets.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/behler/BehlerFixture.hpp"
#include "symmfunc/behler/BehlerKernels.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <string>

namespace melta {
namespace {

using test::addParameters;
using test::BehlerSettings;
using test::calculateSymmFunc;
using test::expectTwin;
using test::makeBehler;
using test::makeStar;
using test::stopMessageOf;

constexpr std::array<float, 9> looseCell{7.1f, 0.2f, 0.1f, 1.3f, 6.7f, 0.4f, -0.8f, 0.9f, 7.3f};

std::string describe(const BehlerSettings& set) {
    return std::to_string(set.numElems) + " elements, tanh " + std::to_string(set.tanhCutoff) +
           ", weighted " + std::to_string(set.elemWeight) + ", G4 " + std::to_string(set.behlerG4) +
           ", sizes " + std::to_string(set.radiusEta.size()) + " " + std::to_string(set.angleEta.size()) +
           ", cutoffs " + std::to_string(set.rcutRadius) + " " + std::to_string(set.rcutAngle);
}

// G3 and G4, resolved and weighted, with both cutoff functions.
template <class Action>
void onEachVariant(BehlerSettings set, Action&& action) {
    for (const int variant : {0, 1, 2, 3, 4, 5, 6, 7}) {
        set.behlerG4 = variant % 2 != 0;
        set.elemWeight = variant / 2 % 2 != 0;
        set.tanhCutoff = variant / 4 != 0;
        SCOPED_TRACE(describe(set));
        action(set);
    }
}

// One angular parameter set without Gaussian, so that values are cutoffs and powers alone.
BehlerSettings makeFlatSet(float zeta, bool behlerG4) {
    BehlerSettings set;
    set.behlerG4 = behlerG4;
    set.elemWeight = false;
    set.angleEta = {0.0f};
    set.angleZeta = {zeta};
    set.angleShift = {0.0f};
    return set;
}

double tanhCutoff(double r, double rc = 6.0) {
    return std::pow(std::tanh(1.0 - r / rc), 3.0);
}

void expectNear(float actual, double expected, double tolerance = 1.0e-6) {
    EXPECT_LE(std::fabs(static_cast<double>(actual) - expected), tolerance * std::fabs(expected))
        << actual << " instead of " << expected;
}

TEST(SymmFuncBehlerTest, AgreesWithTheTwinOnEveryInstructionSet) {
    constexpr std::array<std::array<int, 2>, 8> sizes{
        {{1, 0}, {2, 1}, {7, 4}, {16, 8}, {17, 9}, {33, 16}, {5, 21}, {50, 40}}};
    test::onEachTarget([&] {
        for (const int numElems : {1, 2, 3}) {
            const auto geometry = test::makeRandomCell(looseCell, 14, numElems, 5.0f, 11);
            BehlerSettings start{.numElems = numElems, .rcutRadius = 5.0f, .rcutAngle = 4.2f};
            onEachVariant(start, [&](BehlerSettings set) {
                for (const auto& [numRadius, numAngle] : sizes) {
                    addParameters(set, numRadius, numAngle);
                    SCOPED_TRACE(describe(set));
                    expectTwin(set, *geometry, 0);
                }
            });
        }
    });
}

TEST(SymmFuncBehlerTest, AgreesInASkewedCellFullOfImages) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 7.0f, 9);
    BehlerSettings start{.numElems = 2, .rcutRadius = 7.0f, .rcutAngle = 7.0f};
    addParameters(start, 9, 11);
    ASSERT_GT(geometry->getNeighbors(0).size(), 40U);

    onEachVariant(start, [&](const BehlerSettings& set) {
        expectTwin(set, *geometry, 0);
        expectTwin(set, *geometry, 1);
    });
}

TEST(SymmFuncBehlerTest, AngularCutoffMayBeTheLargerOne) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    BehlerSettings start{.numElems = 2, .rcutRadius = 3.5f, .rcutAngle = 5.5f};
    addParameters(start, 9, 11);

    onEachVariant(start, [&](const BehlerSettings& set) { expectTwin(set, *geometry, 0); });
}

// From one neighbour to more than are worked off at once.
TEST(SymmFuncBehlerTest, AgreesForAnyNumberOfNeighbors) {
    const auto many =
        test::makeRandomCell({12.0f, 0.0f, 0.0f, 0.0f, 12.0f, 0.0f, 0.0f, 0.0f, 12.0f}, 260, 2, 6.5f, 4);
    ASSERT_GT(many->getNeighbors(3).size(), 150U);
    for (int step = 4; step <= 65; ++step) {
        BehlerSettings set{.numElems = 2, .elemWeight = step % 2 != 0, .behlerG4 = step % 3 == 0};
        set.rcutRadius = static_cast<float>(step) * 0.1f;
        set.rcutAngle = static_cast<float>(step) * 0.1f;
        addParameters(set, 6, 5);
        SCOPED_TRACE(describe(set));

        expectTwin(set, *many, 3);
    }
}

// The twin's own derivatives, by which the fast ones are judged, against differences of its values.
TEST(SymmFuncBehlerTest, TwinDerivativesAreTheGradientOfItsValues) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 4.5f, 21);
    BehlerSettings base{.numElems = 2, .rcutRadius = 4.4f, .rcutAngle = 4.1f};
    addParameters(base, 7, 9);
    onEachVariant(base, [&](const BehlerSettings& set) {
        test::expectTwinGradient(
            test::makeNeighborhood(*geometry, 0), [&](const auto& hood) { return computeTwin(set, hood); },
            1.0e-5, 1.0e-7, 1.0e-9);
    });
}

TEST(SymmFuncBehlerTest, ForcedInstructionSetIsTheOneThatRuns) {
    test::onEachTarget([] {
        const auto targets = hwy::SupportedAndGeneratedTargets();

        ASSERT_EQ(targets.size(), 1U);
        EXPECT_STREQ(findBehlerTarget(), hwy::TargetName(targets[0]));
    });
}

TEST(SymmFuncBehlerTest, AtomWithoutNeighborsGivesZeros) {
    const auto geometry = test::makeGeometry(test::openCell(), {{0, {1.0f, 1.0f, 1.0f}}}, 6.0f);
    BehlerSettings set;
    addParameters(set, 3, 2);

    const auto result = calculateSymmFunc(*makeBehler(set), *geometry, 0);

    EXPECT_EQ(result.values, std::vector<float>(7, 0.0f));
    EXPECT_EQ(result.diff, std::vector<float>(21, 0.0f));
}

TEST(SymmFuncBehlerTest, SingleNeighborGivesNoAngularTerms) {
    const auto geometry = makeStar({{0, {1.5f, 0.5f, 0.0f}}}, 6.0f);
    BehlerSettings set;
    addParameters(set, 2, 3);

    const auto result = calculateSymmFunc(*makeBehler(set), *geometry, 0);

    EXPECT_GT(result.values[0], 0.0f);
    EXPECT_TRUE(std::ranges::all_of(result.values.begin() + 2, result.values.end(),
                                    [](float v) { return v == 0.0f; }));
    for (std::size_t row = 0; row < 6; ++row) {
        for (std::size_t b = 2; b < 8; ++b) {
            EXPECT_EQ(result.diff[8 * row + b], 0.0f) << row << " " << b;
        }
    }
}

TEST(SymmFuncBehlerTest, NeighborAtTheCutoffContributesNothing) {
    const auto geometry = makeStar({{0, {0.0f, 3.0f, 0.0f}}, {0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    const auto without = makeStar({{0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    BehlerSettings start{.rcutRadius = 3.0f, .rcutAngle = 3.0f};
    addParameters(start, 3, 1);
    const auto neighbors = geometry->getNeighbors(0);
    ASSERT_EQ(neighbors.size(), 2U);
    onEachVariant(start, [&](const BehlerSettings& set) {
        const auto symmFunc = makeBehler(set);

        const auto result = calculateSymmFunc(*symmFunc, *geometry, 0);

        EXPECT_EQ(result.values, calculateSymmFunc(*symmFunc, *without, 0).values);
        const std::size_t entry = neighbors[0].atom == 1 ? 0 : 1;
        for (std::size_t i = 0; i < 15; ++i) {
            EXPECT_EQ(result.diff[(3 * entry + 3) * 5 + i], 0.0f);
        }
    });
}

TEST(SymmFuncBehlerTest, NearlyEqualCutoffsCountAsOne) {
    const auto geometry = makeStar({{0, {0.0f, 2.0f, 0.0f}}, {0, {1.0f, 0.0f, 1.0f}}}, 6.0f);
    BehlerSettings set{.behlerG4 = true, .rcutRadius = 5.0f, .rcutAngle = 5.00009f};
    addParameters(set, 1, 3);
    BehlerSettings equal = set;
    equal.rcutAngle = 5.0f;

    const auto result = calculateSymmFunc(*makeBehler(set), *geometry, 0);

    EXPECT_EQ(result.values, calculateSymmFunc(*makeBehler(equal), *geometry, 0).values);
    set.rcutAngle = 5.001f;
    EXPECT_NE(result.values, calculateSymmFunc(*makeBehler(set), *geometry, 0).values);
}

TEST(SymmFuncBehlerTest, RadialFunctionIsTheCutGaussian) {
    const auto geometry = makeStar({{0, {2.0f, 0.0f, 0.0f}}, {0, {0.0f, 3.0f, 0.0f}}}, 6.0f);
    BehlerSettings set{.elemWeight = false, .radiusEta = {0.0f, 0.5f}, .radiusShift = {0.0f, 2.5f}};

    const auto values = calculateSymmFunc(*makeBehler(set), *geometry, 0).values;

    ASSERT_EQ(values.size(), 2U);
    expectNear(values[0], tanhCutoff(2.0) + tanhCutoff(3.0));
    expectNear(values[1], (tanhCutoff(2.0) + tanhCutoff(3.0)) * std::exp(-0.125));
}

TEST(SymmFuncBehlerTest, AngularValuesAreThoseOfTheFormulas) {
    const auto geometry = makeStar({{0, {2.0f, 0.0f, 0.0f}}, {0, {1.5f, 2.5980762f, 0.0f}}}, 6.0f);
    const double third = std::sqrt(7.0); // of sides 2 and 3 at 60 degrees
    for (const bool behlerG4 : {false, true}) {
        BehlerSettings set = makeFlatSet(3.0f, behlerG4);
        set.angleEta = {0.1f};
        set.angleShift = {1.0f};
        double common = tanhCutoff(2.0) * tanhCutoff(3.0) * std::exp(-0.1 * (1.0 + 4.0)) * 0.25;
        if (!behlerG4) {
            common *= tanhCutoff(third) * std::exp(-0.1 * (third - 1.0) * (third - 1.0));
        }

        const auto values = calculateSymmFunc(*makeBehler(set), *geometry, 0).values;

        ASSERT_EQ(values.size(), 3U);
        expectNear(values[1], common * 3.375, 3.0e-6); // 1.5^3
        expectNear(values[2], common * 0.125, 3.0e-6); // 0.5^3
    }
}

TEST(SymmFuncBehlerTest, OppositeNeighborsCountForOneSignOnly) {
    constexpr std::array<std::array<float, 3>, 3> directions{
        {{1.0f, 0.0f, 0.0f}, {0.0f, 0.0f, -1.5f}, {0.5f, 0.5f, 0.5f}}};
    test::onEachTarget([&] {
        for (const auto& [x, y, z] : directions) {
            for (const float zeta : {1.0f, 2.5f, 64.0f}) {
                const auto geometry = makeStar({{0, {x, y, z}}, {0, {-x, -y, -z}}}, 6.0f);
                const BehlerSettings set = makeFlatSet(zeta, true);
                const double r =
                    std::hypot(static_cast<double>(x), static_cast<double>(y), static_cast<double>(z));

                const auto result = calculateSymmFunc(*makeBehler(set), *geometry, 0);

                EXPECT_EQ(result.values[1], 0.0f);
                expectNear(result.values[2], 2.0 * tanhCutoff(r) * tanhCutoff(r));
                for (std::size_t row = 0; row < 9; ++row) {
                    EXPECT_EQ(result.diff[3 * row + 1], 0.0f) << row;
                    EXPECT_TRUE(std::isfinite(result.diff[3 * row + 2])) << row;
                }
            }
        }
    });
}

TEST(SymmFuncBehlerTest, NeighborsInOneDirectionCountForTheOtherSignOnly) {
    const auto geometry = makeStar({{0, {1.0f, 0.0f, 0.0f}}, {0, {2.0f, 0.0f, 0.0f}}}, 6.0f);

    const auto result = calculateSymmFunc(*makeBehler(makeFlatSet(4.0f, false)), *geometry, 0);

    expectNear(result.values[1], 2.0 * tanhCutoff(1.0) * tanhCutoff(1.0) * tanhCutoff(2.0));
    EXPECT_EQ(result.values[2], 0.0f);
}

// A branch that is left out must not leave anything, whatever the exponent; such exponents come from no file
// of functions, but the arithmetic should not depend on it.
TEST(SymmFuncBehlerTest, BranchIsLeftOutForAnyExponent) {
    const auto geometry = makeStar({{0, {1.0f, 0.0f, 0.0f}}, {0, {-1.0f, 0.0f, 0.0f}}}, 6.0f);
    for (const float zeta : {0.0f, -1.0f, 1.0e-6f, 1.0e6f}) {
        const auto result = calculateSymmFunc(*makeBehler(makeFlatSet(zeta, true)), *geometry, 0);

        EXPECT_EQ(result.values[1], 0.0f) << zeta;
        expectNear(result.values[2], 2.0 * tanhCutoff(1.0) * tanhCutoff(1.0));
    }
}

// Angles near 0 and 180 degrees, on both sides of the limit below which a branch is left out: c = 1e-6 at
// 1.4e-3 rad.
TEST(SymmFuncBehlerTest, NearlyCollinearNeighborsAgreeWithTheTwin) {
    test::onEachTarget([] {
        for (const float tilt : {1.0e-5f, 3.0e-4f, 1.3e-3f, 1.5e-3f, 3.0e-3f, 0.1f, 0.7f}) {
            for (const float sign : {1.0f, -1.0f}) {
                const auto geometry = test::makeGeometry(
                    test::openCell(),
                    {{0, {0.0f, 0.0f, 0.0f}}, {0, {2.0f, 0.0f, 0.0f}}, {0, {sign, sign * tilt, 0.0f}}}, 6.0f);
                SCOPED_TRACE(tilt * sign);
                for (const bool behlerG4 : {false, true}) {
                    BehlerSettings set{.behlerG4 = behlerG4};
                    addParameters(set, 1, 9);

                    expectTwin(set, *geometry, 0);
                }
            }
        }
    });
}

// A high exponent would magnify the rounding of c, which is nearly 2 here.
TEST(SymmFuncBehlerTest, HighExponentsKeepTheirAccuracy) {
    for (const float tilt : {0.02f, 0.03f, 0.05f, 0.07f}) {
        const auto geometry = test::makeGeometry(
            test::openCell(), {{0, {0.0f, 0.0f, 0.0f}}, {0, {2.0f, 0.0f, 0.0f}}, {0, {2.0f, tilt, 0.0f}}},
            6.0f);
        const BehlerSettings set = makeFlatSet(4096.0f, true);
        const double angle = std::atan2(static_cast<double>(tilt), 2.0);
        const double r = std::hypot(static_cast<double>(tilt), 2.0);

        const auto values = calculateSymmFunc(*makeBehler(set), *geometry, 0).values;

        const double power = 2.0 * std::pow(std::cos(0.5 * angle), 2.0 * 4096.0);
        expectNear(values[1], power * tanhCutoff(2.0) * tanhCutoff(r), 3.0e-6);
    }
}

TEST(SymmFuncBehlerTest, ThirdSideAtTheCutoffMattersToG3Only) {
    // A right angle with sides 3 and 4: the third side is 5.
    const auto geometry = test::makeGeometry(
        test::openCell(), {{0, {0.0f, 0.0f, 0.0f}}, {0, {3.0f, 0.0f, 0.0f}}, {0, {0.0f, 4.0f, 0.0f}}}, 6.0f);
    for (const float rcut : {5.0f, 4.5f}) {
        BehlerSettings set = makeFlatSet(2.0f, false);
        set.rcutAngle = rcut;

        const auto g3 = calculateSymmFunc(*makeBehler(set), *geometry, 0);
        set.behlerG4 = true;
        const auto g4 = calculateSymmFunc(*makeBehler(set), *geometry, 0);

        for (const std::size_t b : {1U, 2U}) {
            EXPECT_EQ(g3.values[b], 0.0f);
            const double rc = static_cast<double>(rcut);
            expectNear(g4.values[b], 0.5 * tanhCutoff(3.0, rc) * tanhCutoff(4.0, rc));
            for (std::size_t row = 0; row < 9; ++row) {
                EXPECT_EQ(g3.diff[3 * row + b], 0.0f);
            }
        }
    }
}

TEST(SymmFuncBehlerTest, ThirdSideJustInsideTheCutoffIsSmallAndFinite) {
    const float y = std::nextafter(4.0f, 0.0f);
    const auto geometry = test::makeGeometry(
        test::openCell(), {{0, {0.0f, 0.0f, 0.0f}}, {0, {3.0f, 0.0f, 0.0f}}, {0, {0.0f, y, 0.0f}}}, 6.0f);
    for (const bool withTanh : {false, true}) {
        BehlerSettings set = makeFlatSet(2.0f, false);
        set.tanhCutoff = withTanh;
        set.rcutAngle = 5.0f;

        const auto result = calculateSymmFunc(*makeBehler(set), *geometry, 0);

        EXPECT_LE(std::fabs(result.values[1]), 1.0e-9f);
        EXPECT_TRUE(std::ranges::all_of(result.diff, [](float v) { return std::isfinite(v); }));
    }
}

TEST(SymmFuncBehlerTest, TwoNeighborsAtOnePlaceGiveFiniteDerivatives) {
    const auto geometry = test::makeGeometry(
        test::openCell(), {{0, {0.0f, 0.0f, 0.0f}}, {0, {1.0f, 2.0f, 0.5f}}, {0, {1.0f, 2.0f, 0.5f}}}, 6.0f);
    BehlerSettings set;
    addParameters(set, 1, 9);

    const auto result = calculateSymmFunc(*makeBehler(set), *geometry, 0);

    EXPECT_TRUE(std::ranges::all_of(result.diff, [](float v) { return std::isfinite(v); }));
}

// The higher element is the outer one, whichever comes first in the list; the pair counts once.
TEST(SymmFuncBehlerTest, PairOfDifferentElementsCountsOnceInItsOwnBlock) {
    const test::TestAtom low{0, {2.0f, 0.0f, 0.0f}};
    const test::TestAtom high{1, {0.0f, 3.0f, 0.0f}};
    BehlerSettings set = makeFlatSet(1.0f, true);
    set.numElems = 2;
    const double expected = tanhCutoff(2.0) * tanhCutoff(3.0);
    for (const auto& atoms : {std::vector{low, high}, std::vector{high, low}}) {
        const auto values = calculateSymmFunc(*makeBehler(set), *makeStar(atoms, 6.0f), 0).values;

        ASSERT_EQ(values.size(), 2U + 6U);
        for (const std::size_t b : {2U, 3U, 6U, 7U}) {
            EXPECT_EQ(values[b], 0.0f) << b;
        }
        expectNear(values[4], expected);
        expectNear(values[5], expected);
    }
}

TEST(SymmFuncBehlerTest, PairOfOneElementCountsOnce) {
    BehlerSettings set = makeFlatSet(1.0f, true);
    set.numElems = 2;
    const auto geometry = makeStar({{1, {2.0f, 0.0f, 0.0f}}, {1, {0.0f, 3.0f, 0.0f}}}, 6.0f);

    const auto values = calculateSymmFunc(*makeBehler(set), *geometry, 0).values;

    for (const std::size_t b : {2U, 3U, 4U, 5U}) {
        EXPECT_EQ(values[b], 0.0f) << b;
    }
    expectNear(values[6], tanhCutoff(2.0) * tanhCutoff(3.0));
    expectNear(values[7], tanhCutoff(2.0) * tanhCutoff(3.0));
}

TEST(SymmFuncBehlerTest, WeightsAreAtomicNumbersAndTheirGeometricMean) {
    BehlerSettings set = makeFlatSet(1.0f, true);
    set.numElems = 2;
    set.elemWeight = true;
    set.radiusEta = {0.0f};
    // Atomic numbers 6 and 14.
    const auto geometry = makeStar({{0, {2.0f, 0.0f, 0.0f}}, {1, {0.0f, 3.0f, 0.0f}}}, 6.0f);

    const auto values = calculateSymmFunc(*makeBehler(set), *geometry, 0).values;

    ASSERT_EQ(values.size(), 3U);
    expectNear(values[0], 6.0 * tanhCutoff(2.0) + 14.0 * tanhCutoff(3.0));
    expectNear(values[1], std::sqrt(84.0) * tanhCutoff(2.0) * tanhCutoff(3.0));
}

// Gaussians so narrow that single precision cannot hold their factors any more.
TEST(SymmFuncBehlerTest, VanishingGaussiansGiveZero) {
    const auto geometry = makeStar({{0, {4.0f, 0.0f, 0.0f}}, {0, {0.0f, 4.5f, 0.0f}}}, 6.0f);
    for (const bool behlerG4 : {false, true}) {
        BehlerSettings set = makeFlatSet(1.0f, behlerG4);
        set.radiusEta = {50.0f};
        set.angleEta = {50.0f};

        const auto result = calculateSymmFunc(*makeBehler(set), *geometry, 0);

        EXPECT_EQ(result.values, std::vector<float>(3, 0.0f));
        EXPECT_EQ(result.diff, std::vector<float>(27, 0.0f));
    }
}

TEST(SymmFuncBehlerTest, LengthCountsElementsPairsAndSigns) {
    BehlerSettings set{.numElems = 4, .elemWeight = false};
    addParameters(set, 5, 3);

    EXPECT_EQ(makeBehler(set)->getNumBasis(), 4 * 5 + 10 * 2 * 3);
    set.elemWeight = true;
    EXPECT_EQ(makeBehler(set)->getNumBasis(), 5 + 2 * 3);
    set.numElems = 1;
    EXPECT_EQ(makeBehler(set)->getNumBasis(), 5 + 2 * 3);
}

TEST(SymmFuncBehlerTest, AngularCutoffIsNotNeededWithoutAngularFunctions) {
    const auto geometry = test::makeRandomCell(looseCell, 8, 2, 5.0f, 3);
    BehlerSettings set{.numElems = 2, .elemWeight = false, .rcutRadius = 5.0f, .rcutAngle = 0.0f};
    addParameters(set, 5, 0);

    EXPECT_EQ(makeBehler(set)->getNumBasis(), 10);
    expectTwin(set, *geometry, 0);
}

TEST(SymmFuncBehlerTest, RepeatedCallsGiveEqualBits) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    BehlerSettings start{.numElems = 2};
    addParameters(start, 9, 11);
    onEachVariant(start, [&](const BehlerSettings& set) {
        const auto symmFunc = makeBehler(set);

        const auto first = calculateSymmFunc(*symmFunc, *geometry, 0);
        calculateSymmFunc(*symmFunc, *geometry, 1);
        const auto second = calculateSymmFunc(*symmFunc, *geometry, 0);

        EXPECT_EQ(first.values, second.values);
        EXPECT_EQ(first.diff, second.diff);
    });
}

TEST(SymmFuncBehlerTest, ThreadsGiveTheResultsOfOne) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    BehlerSettings set{.numElems = 2, .elemWeight = false};
    addParameters(set, 9, 11);
    const auto symmFunc = makeBehler(set);
    std::vector<std::vector<float>> rows(
        60, std::vector<float>(static_cast<std::size_t>(symmFunc->getNumBasis())));

#pragma omp parallel for num_threads(4) schedule(static, 1)
    for (int i = 0; i < 60; ++i) {
        symmFunc->calculate(*geometry, i % 3, rows[static_cast<std::size_t>(i)], {});
    }

    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(rows[static_cast<std::size_t>(i)],
                  calculateSymmFunc(*symmFunc, *geometry, i % 3, false).values);
    }
}

TEST(SymmFuncBehlerTest, ConstructorRefusesInOrder) {
    const auto make = [](int elems, int radius, int angle, float rcutRadius, float rcutAngle) {
        return stopMessageOf(
            [&] { const SymmFuncBehler made(elems, true, true, radius, angle, rcutRadius, rcutAngle); });
    };

    EXPECT_EQ(make(0, 0, -1, 0.0f, 0.0f), "number of elements is not positive.");
    EXPECT_EQ(make(1, 0, -1, 0.0f, 0.0f), "size of radius basis is not positive.");
    EXPECT_EQ(make(1, 1, -1, 0.0f, 0.0f), "size of angle basis is negative.");
    EXPECT_EQ(make(1, 1, 1, 0.0f, 0.0f), "cutoff for radius is not positive.");
    EXPECT_EQ(make(1, 1, 1, 1.0f, 0.0f), "cutoff for angle is not positive.");
    EXPECT_EQ(make(1, 1, 0, 1.0f, 0.0f), "(no stop)");
    EXPECT_EQ(make(1, 1, 1, std::numeric_limits<float>::quiet_NaN(), 1.0f),
              "cutoff for radius is not positive.");
    EXPECT_EQ(make(1, 147483647, 1000000000, 1.0f, 1.0f), "(no stop)");
    EXPECT_EQ(make(1, 147483648, 1000000000, 1.0f, 1.0f), "too many symmetry functions.");
}

TEST(SymmFuncBehlerTest, CalculateChecksItsArguments) {
    const auto geometry = makeStar({{0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    BehlerSettings set;
    addParameters(set, 3, 2);
    const auto symmFunc = makeBehler(set);
    std::vector<float> values(7);
    std::vector<float> diff(6 * 7);
    const auto call = [&](int iatom, std::size_t valueSize, std::size_t diffSize) {
        return stopMessageOf([&] {
            symmFunc->calculate(*geometry, iatom, std::span(values).first(valueSize),
                                std::span(diff).first(diffSize));
        });
    };

    EXPECT_EQ(call(-1, 0, 0), "index of atom is out of range.");
    EXPECT_EQ(call(2, 0, 0), "index of atom is out of range.");
    EXPECT_EQ(call(0, 6, 0), "symmData is too short.");
    EXPECT_EQ(call(0, 7, 41), "symmDiff is too short.");
    EXPECT_EQ(call(0, 7, 42), "(no stop)");
}

TEST(SymmFuncBehlerTest, CalculateNeedsParameters) {
    const auto geometry = makeStar({{0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    const SymmFuncBehler symmFunc(1, true, true, 1, 0, 6.0f, 6.0f);
    std::vector<float> values(1);

    EXPECT_EQ(stopMessageOf([&] { symmFunc.calculate(*geometry, 0, values, {}); }), "radiusEta is null.");
}

} // namespace
} // namespace melta
