#include "symmfunc/manybody/SymmFuncManyBody.hpp"

#include "config/Property.hpp"
#include "network/VectorTargets.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/SymmFuncFactory.hpp"
#include "symmfunc/manybody/ManyBodyFixture.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numbers>
#include <string>

namespace melta {
namespace {

using test::calculateSymmFunc;
using test::expectTwin;
using test::makeManyBody;
using test::makeOrderedStar;
using test::ManyBodySettings;
using test::stopMessageOf;

std::string describe(const ManyBodySettings& set) {
    return std::to_string(set.numElems) + " elements, sizes " + std::to_string(set.m2) + " " +
           std::to_string(set.m3) + ", radii " + std::to_string(set.rinner) + " " +
           std::to_string(set.router);
}

void expectTwinForAllSizes(ManyBodySettings set, const Geometry& geometry) {
    constexpr std::array<std::array<int, 2>, 6> sizes{{{1, 0}, {1, 1}, {2, 2}, {7, 5}, {100, 10}, {33, 3}}};
    for (const auto& [m2, m3] : sizes) {
        set.m2 = m2;
        set.m3 = m3;
        SCOPED_TRACE(describe(set));
        expectTwin(set, geometry, 0);
    }
}

TEST(SymmFuncManyBodyTest, AgreesWithTheTwinOnEveryInstructionSet) {
    const std::array<float, 9> lattice{7.1f, 0.2f, 0.1f, 1.3f, 6.7f, 0.4f, -0.8f, 0.9f, 7.3f};
    test::onEachTarget([&] {
        for (const int numElems : {1, 2, 3}) {
            const auto geometry = test::makeRandomCell(lattice, 14, numElems, 5.0f, 11);
            for (const float rinner : {0.0f, 2.7f}) {
                expectTwinForAllSizes({.numElems = numElems, .rinner = rinner, .router = 4.6f}, *geometry);
            }
        }
    });
}

TEST(SymmFuncManyBodyTest, AgreesInASkewedCellFullOfImages) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 7.0f, 9);
    const ManyBodySettings set{.numElems = 2, .m2 = 20, .m3 = 8, .rinner = 0.5f, .router = 7.0f};
    ASSERT_GT(geometry->getNeighbors(0).size(), 40U);

    expectTwin(set, *geometry, 0);
    expectTwin(set, *geometry, 1);
}

TEST(SymmFuncManyBodyTest, AgreesForAnyNumberOfNeighbors) {
    const auto many =
        test::makeRandomCell({12.0f, 0.0f, 0.0f, 0.0f, 12.0f, 0.0f, 0.0f, 0.0f, 12.0f}, 150, 2, 6.0f, 4);
    for (int step = 4; step < 60; ++step) {
        ManyBodySettings set{.numElems = 2, .m2 = 9, .m3 = 6, .router = static_cast<float>(step) * 0.1f};
        SCOPED_TRACE(describe(set));

        expectTwin(set, *many, 3);
    }
}

TEST(SymmFuncManyBodyTest, AgreesOnAFineGrid) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 1, 5.0f, 9);

    expectTwin({.m2 = 200, .m3 = 31, .rinner = 1.0f, .router = 5.0f}, *geometry, 0);
}

TEST(SymmFuncManyBodyTest, ElementsOfTheTableMayBeAbsent) {
    const auto geometry = makeOrderedStar({{3, {1.0f, 0.0f, 0.5f}}, {1, {0.0f, 2.0f, 1.0f}}});

    expectTwin({.numElems = 5, .m2 = 6, .m3 = 4}, *geometry, 0);
}

// The twin's own derivatives, by which the fast ones are judged, against differences of its values.
TEST(SymmFuncManyBodyTest, TwinDerivativesAreTheGradientOfItsValues) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 4.5f, 21);
    const ManyBodySettings set{.numElems = 2, .m2 = 6, .m3 = 5, .rinner = 0.4f, .router = 4.4f};
    test::expectTwinGradient(
        test::makeNeighborhood(*geometry, 0), [&](const auto& hood) { return computeTwin(set, hood); },
        1.0e-6, 1.0e-8, 1.0e-8);
}

TEST(SymmFuncManyBodyTest, AtomWithoutNeighborsGivesZeros) {
    const auto geometry = test::makeGeometry(test::openCell(), {{0, {1.0f, 1.0f, 1.0f}}}, 6.0f);
    const auto symmFunc = makeManyBody({.m2 = 4, .m3 = 2});

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(result.values, std::vector<float>(10, 0.0f));
    EXPECT_EQ(result.diff, std::vector<float>(30, 0.0f));
}

TEST(SymmFuncManyBodyTest, SingleNeighborGivesNoThreeBodyTerms) {
    const auto geometry = makeOrderedStar({{0, {1.5f, 0.5f, 0.0f}}});
    const auto symmFunc = makeManyBody({.m2 = 3, .m3 = 2});

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_GT(result.values[0], 0.0f);
    for (std::size_t b = 3; b < 9; ++b) {
        EXPECT_EQ(result.values[b], 0.0f) << b;
        for (std::size_t row = 0; row < 6; ++row) {
            EXPECT_EQ(result.diff[9 * row + b], 0.0f) << row << " " << b;
        }
    }
}

TEST(SymmFuncManyBodyTest, ThreeBodySizeMayBeZero) {
    const auto geometry = makeOrderedStar({{0, {1.0f, 0.0f, 0.0f}}, {1, {0.0f, 1.0f, 0.0f}}});
    const ManyBodySettings set{.numElems = 2, .m2 = 7, .m3 = 0};

    EXPECT_EQ(makeManyBody(set).getNumBasis(), 14);
    expectTwin(set, *geometry, 0);
}

TEST(SymmFuncManyBodyTest, LengthCountsElementsPairsAndGridPoints) {
    const ManyBodySettings set{.numElems = 3, .m2 = 5, .m3 = 4};

    EXPECT_EQ(makeManyBody(set).getNumBasis(), 3 * 5 + 12 * 13 / 2 * 4);
}

// Grid points at 2, 2.5, 3 and 3.5 Angstrom.
std::vector<float> twoBodyValuesAt(float r) {
    const auto geometry = makeOrderedStar({{0, {r, 0.0f, 0.0f}}});
    return calculateSymmFunc(makeManyBody({.m2 = 4, .rinner = 2.0f, .router = 4.0f}), *geometry, 0).values;
}

void expectValues(const std::vector<float>& actual, const std::vector<float>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t b = 0; b < actual.size(); ++b) {
        EXPECT_LE(std::fabs(actual[b] - expected[b]), 2.0e-6f) << b;
    }
}

TEST(SymmFuncManyBodyTest, DistanceIsSharedByTheTwoGridPointsAroundIt) {
    expectValues(twoBodyValuesAt(2.5f + 0.125f), {0.0f, 0.85355339f, 0.14644661f, 0.0f});
    expectValues(twoBodyValuesAt(3.0f), {0.0f, 0.0f, 1.0f, 0.0f});
}

TEST(SymmFuncManyBodyTest, LastIntervalUsesTheLastGridPointOnly) {
    expectValues(twoBodyValuesAt(3.5f), {0.0f, 0.0f, 0.0f, 1.0f});
    expectValues(twoBodyValuesAt(3.875f), {0.0f, 0.0f, 0.0f, 0.14644661f});
}

TEST(SymmFuncManyBodyTest, LessThanOneStepBelowTheGridUsesTwoGridPoints) {
    expectValues(twoBodyValuesAt(1.75f), {0.5f, 0.5f, 0.0f, 0.0f});
    expectValues(twoBodyValuesAt(1.875f), {0.85355339f, 0.14644661f, 0.0f, 0.0f});
}

TEST(SymmFuncManyBodyTest, LessThanTwoStepsBelowTheGridUsesTheFirstGridPointAlone) {
    expectValues(twoBodyValuesAt(1.375f), {0.14644661f, 0.0f, 0.0f, 0.0f});
}

TEST(SymmFuncManyBodyTest, DistancesFartherBelowTheGridUseNone) {
    expectValues(twoBodyValuesAt(0.875f), {0.0f, 0.0f, 0.0f, 0.0f});
}

TEST(SymmFuncManyBodyTest, DerivativesBelowTheGridAgreeWithTheTwin) {
    const auto geometry = makeOrderedStar({{0, {1.75f, 0.1f, 0.0f}},
                                           {0, {0.0f, 1.375f, 0.1f}},
                                           {1, {0.0f, 0.0f, 0.875f}},
                                           {1, {0.0f, 1.9f, 2.1f}},
                                           {0, {2.2f, 0.3f, 0.4f}}});

    for (const int m3 : {1, 2, 4}) {
        SCOPED_TRACE(m3);
        expectTwin({.numElems = 2, .m2 = 4, .m3 = m3, .rinner = 2.0f, .router = 4.0f}, *geometry, 0);
    }
}

TEST(SymmFuncManyBodyTest, NeighborAtTheOuterRadiusContributesNothing) {
    const std::vector<test::TestAtom> inside{{0, {1.0f, 0.0f, 0.0f}}, {0, {0.0f, 0.0f, 1.5f}}};
    const auto without = makeOrderedStar(inside);
    const auto geometry = makeOrderedStar({inside[0], inside[1], {0, {0.0f, 3.0f, 0.0f}}});
    const auto symmFunc = makeManyBody({.m2 = 3, .m3 = 2, .router = 3.0f});

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    const auto expected = calculateSymmFunc(symmFunc, *without, 0);
    EXPECT_EQ(result.values, expected.values);
    EXPECT_TRUE(std::equal(expected.diff.begin(), expected.diff.end(), result.diff.begin()));
    EXPECT_TRUE(
        std::all_of(result.diff.begin() + 9 * 9, result.diff.end(), [](float v) { return v == 0.0f; }));
}

// Two neighbours in a line with the atom: the third side is the sum of the distances.
TEST(SymmFuncManyBodyTest, ThirdSideMustBeShorterThanTheOuterRadius) {
    const auto sumOfTriangles = [](float r) {
        const auto geometry = makeOrderedStar({{0, {-1.5f, 0.0f, 0.0f}}, {1, {r, 0.0f, 0.0f}}});
        const auto values =
            calculateSymmFunc(makeManyBody({.numElems = 2, .m3 = 1, .router = 4.0f}), *geometry, 0).values;
        return values[2] + values[3] + values[4];
    };

    EXPECT_GT(sumOfTriangles(2.25f), 0.0f);
    EXPECT_EQ(sumOfTriangles(2.5f), 0.0f);
    EXPECT_EQ(sumOfTriangles(2.75f), 0.0f);
}

// With rinner 0, router 4 and four grid points: distances 1.5, half on point 1 and half on point 2, and a
// third side of 1.5 sqrt(2) = 2.1213.
TEST(SymmFuncManyBodyTest, EqualDistancesOfOneElementStayInTheTriangle) {
    const auto geometry = makeOrderedStar({{0, {1.5f, 0.0f, 0.0f}}, {0, {0.0f, 1.5f, 0.0f}}});
    const double side = 1.5 * std::sqrt(2.0);
    const auto lower = static_cast<float>(0.125 * std::cos(std::numbers::pi * (side - 2.0)) + 0.125);
    const auto upper = static_cast<float>(0.125 * std::cos(std::numbers::pi * (side - 3.0)) + 0.125);
    // Of (a, b) = (1, 1), (1, 2), (2, 1) and (2, 2), the second has b above a.
    std::vector<float> expected(1 + 40, 0.0f);
    for (const std::size_t place : {2U, 4U, 5U}) {
        expected[1 + 10 * 2 + place] = lower;
        expected[1 + 10 * 3 + place] = upper;
    }

    auto values = calculateSymmFunc(makeManyBody({.m3 = 4, .router = 4.0f}), *geometry, 0).values;

    values[0] = 0.0f;
    expectValues(values, expected);
}

float sumOfThreeBody(const std::vector<test::TestAtom>& others, const ManyBodySettings& set) {
    const auto values = calculateSymmFunc(makeManyBody(set), *makeOrderedStar(others), 0).values;
    float sum = 0.0f;
    for (std::size_t b = static_cast<std::size_t>(set.m2 * set.numElems); b < values.size(); ++b) {
        sum += values[b];
    }
    return sum;
}

// One pair of an element, at 1.5 and 3.5 Angstrom on a grid of steps of 1. If the farther one comes later, it
// lends the row and all eight terms are in the triangle: their weights add up to 1. If the nearer one does,
// all columns lie behind the row and the pair is lost.
TEST(SymmFuncManyBodyTest, PairOfOneElementDependsOnTheOrderOfTheList) {
    const test::TestAtom near{0, {1.5f, 0.0f, 0.0f}};
    const test::TestAtom far{0, {0.0f, 3.5f, 0.0f}};
    const ManyBodySettings set{.m3 = 6, .router = 6.0f};

    EXPECT_LE(std::fabs(sumOfThreeBody({near, far}, set) - 1.0f), 2.0e-6f);
    EXPECT_EQ(sumOfThreeBody({far, near}, set), 0.0f);
}

TEST(SymmFuncManyBodyTest, PairOfTwoElementsDoesNotDependOnTheOrderOfTheList) {
    const test::TestAtom near{0, {1.5f, 0.0f, 0.0f}};
    const test::TestAtom far{1, {0.0f, 3.5f, 0.0f}};
    const ManyBodySettings set{.numElems = 2, .m3 = 6, .router = 6.0f};

    EXPECT_LE(std::fabs(sumOfThreeBody({near, far}, set) - 1.0f), 2.0e-6f);
    EXPECT_LE(std::fabs(sumOfThreeBody({far, near}, set) - 1.0f), 2.0e-6f);
}

TEST(SymmFuncManyBodyTest, TanhAndWeightsOfTheSettingsHaveNoEffect) {
    const auto geometry = makeOrderedStar({{0, {1.5f, 0.5f, 0.0f}}, {1, {0.0f, 1.5f, 1.0f}}});
    Property property;
    property.symmFuncKind = ManyBodyKind::code;
    property.m2 = 6;
    property.m3 = 4;
    property.rinner = 0.5f;
    property.router = 5.0f;
    const auto expected = calculateSymmFunc(
        makeManyBody({.numElems = 2, .m2 = 6, .m3 = 4, .rinner = 0.5f, .router = 5.0f}), *geometry, 0);
    for (const int flag : {0, 1}) {
        property.tanhCutoff = flag;
        property.elemWeight = flag;

        const auto symmFunc = SymmFuncFactory().createSymmFunc(2, property);

        ASSERT_NE(dynamic_cast<SymmFuncManyBody*>(symmFunc.get()), nullptr);
        const auto result = calculateSymmFunc(*symmFunc, *geometry, 0);
        EXPECT_EQ(result.values, expected.values);
        EXPECT_EQ(result.diff, expected.diff);
    }
}

// Steps so small or so large that quotients leave what integers hold.
TEST(SymmFuncManyBodyTest, ExtremeGridsNeverLeaveTheArrays) {
    const auto geometry = makeOrderedStar({{0, {1.0f, 0.0f, 0.0f}},
                                           {0, {2.9999998f, 0.0f, 0.0f}},
                                           {0, {0.0f, 2.9999998f, 0.0f}},
                                           {0, {0.0f, 3.0f, 0.0f}},
                                           {0, {0.1f, 2.9f, 0.0f}}});
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::vector<std::array<float, 2>> radii{{0.0f, std::nextafter(3.0f, 4.0f)},
                                                  {2.9999998f, 3.0f},
                                                  {0.0f, 3.0f},
                                                  {0.0f, 1.0e30f},
                                                  {0.0f, infinity},
                                                  {1.0e-45f, 3.0f},
                                                  {0.0f, 1.0e-45f}};
    for (const auto& [rinner, router] : radii) {
        SCOPED_TRACE(router);
        const auto symmFunc = makeManyBody({.m2 = 100, .m3 = 7, .rinner = rinner, .router = router});

        calculateSymmFunc(symmFunc, *geometry, 0);
        calculateSymmFunc(symmFunc, *geometry, 0, false);
    }
}

TEST(SymmFuncManyBodyTest, RepeatedCallsGiveEqualBits) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    const auto symmFunc = makeManyBody({.numElems = 2, .m2 = 9, .m3 = 5});

    const auto first = calculateSymmFunc(symmFunc, *geometry, 0);
    calculateSymmFunc(symmFunc, *geometry, 1);
    const auto second = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(first.values, second.values);
    EXPECT_EQ(first.diff, second.diff);
}

TEST(SymmFuncManyBodyTest, ThreadsGiveTheResultsOfOne) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    const auto symmFunc = makeManyBody({.numElems = 2, .m2 = 9, .m3 = 5});
    std::vector<std::vector<float>> rows(
        60, std::vector<float>(static_cast<std::size_t>(symmFunc.getNumBasis())));

#pragma omp parallel for num_threads(4) schedule(static, 1)
    for (int i = 0; i < 60; ++i) {
        symmFunc.calculate(*geometry, i % 3, rows[static_cast<std::size_t>(i)], {});
    }

    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(rows[static_cast<std::size_t>(i)],
                  calculateSymmFunc(symmFunc, *geometry, i % 3, false).values);
    }
}

TEST(SymmFuncManyBodyTest, ConstructorRefusesInOrder) {
    const auto make = [](int elems, bool weight, int m2, int m3, float rinner, float router) {
        return stopMessageOf([&] { const SymmFuncManyBody made(elems, weight, m2, m3, rinner, router); });
    };
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();

    EXPECT_EQ(make(0, true, 0, -1, -1.0f, -1.0f), "number of elements is not positive.");
    EXPECT_EQ(make(1, true, 0, -1, -1.0f, -1.0f), "many-body does not support elemWeight.");
    EXPECT_EQ(make(1, false, 0, -1, -1.0f, -1.0f), "size of 2-body is not positive.");
    EXPECT_EQ(make(1, false, 1, -1, -1.0f, -1.0f), "size of 3-body is negative.");
    EXPECT_EQ(make(1, false, 1, 0, -1.0f, -1.0f), "inner radius is negative.");
    EXPECT_EQ(make(1, false, 1, 0, 0.0f, 0.0f), "outer radius is too small.");
    EXPECT_EQ(make(1, false, 1, 0, 1.0f, nan), "outer radius is too small.");
    EXPECT_EQ(make(1, false, 1, 0, nan, 1.0f), "outer radius is too small.");
    EXPECT_EQ(make(1, false, 1, 0, 0.0f, 1.0f), "(no stop)");
}

TEST(SymmFuncManyBodyTest, ConstructorRefusesMoreFunctionsThanAnIntCounts) {
    const auto make = [](int elems, int m2, int m3) {
        return stopMessageOf([&] { const SymmFuncManyBody made(elems, false, m2, m3, 0.0f, 6.0f); });
    };

    EXPECT_EQ(make(1, 2147483647, 0), "(no stop)");
    EXPECT_EQ(make(1, 2147483647, 1), "too many symmetry functions.");
    EXPECT_EQ(make(2, 1073741824, 0), "too many symmetry functions.");
    EXPECT_EQ(make(1, 1, 1625), "(no stop)");
    EXPECT_EQ(make(1, 1, 1626), "too many symmetry functions.");
    EXPECT_EQ(make(65534, 1, 1), "(no stop)");
    EXPECT_EQ(make(65535, 1, 1), "too many symmetry functions.");
    EXPECT_EQ(make(2147483647, 2147483647, 2147483647), "too many symmetry functions.");
}

TEST(SymmFuncManyBodyTest, CalculateChecksItsArguments) {
    const auto geometry = makeOrderedStar({{0, {1.0f, 0.0f, 0.0f}}});
    const auto symmFunc = makeManyBody({.m2 = 4, .m3 = 1});
    std::vector<float> values(5);
    std::vector<float> diff(6 * 5);
    const auto call = [&](int iatom, std::size_t valueSize, std::size_t diffSize) {
        return stopMessageOf([&] {
            symmFunc.calculate(*geometry, iatom, std::span(values).first(valueSize),
                               std::span(diff).first(diffSize));
        });
    };

    EXPECT_EQ(call(-1, 0, 0), "index of atom is out of range.");
    EXPECT_EQ(call(2, 0, 0), "index of atom is out of range.");
    EXPECT_EQ(call(0, 4, 0), "symmData is too short.");
    EXPECT_EQ(call(0, 5, 29), "symmDiff is too short.");
    EXPECT_EQ(call(0, 5, 30), "(no stop)");
}

} // namespace
} // namespace melta
