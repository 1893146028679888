#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"

#include "network/VectorTargets.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/chebyshev/ChebyshevFixture.hpp"
#include "symmfunc/chebyshev/ChebyshevKernels.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

namespace melta {
namespace {

using test::calculateSymmFunc;
using test::ChebyshevSettings;
using test::expectTwin;
using test::makeChebyshev;
using test::makeStar;
using test::stopMessageOf;

std::string describe(const ChebyshevSettings& set) {
    return std::to_string(set.numElems) + " elements, tanh " + std::to_string(set.tanhCutoff) +
           ", weighted " + std::to_string(set.elemWeight) + ", sizes " + std::to_string(set.numRadius) + " " +
           std::to_string(set.numAngle) + ", cutoffs " + std::to_string(set.rcutRadius) + " " +
           std::to_string(set.rcutAngle);
}

void expectTwinForAllSizes(ChebyshevSettings set, const Geometry& geometry) {
    constexpr std::array<std::array<int, 2>, 9> sizes{
        {{1, 0}, {2, 1}, {7, 5}, {16, 30}, {17, 33}, {50, 30}, {50, 16}, {33, 70}, {5, 32}}};
    for (const auto& [numRadius, numAngle] : sizes) {
        set.numRadius = numRadius;
        set.numAngle = numAngle;
        SCOPED_TRACE(describe(set));
        expectTwin(set, geometry, 0);
    }
}

TEST(SymmFuncChebyshevTest, AgreesWithTheTwinOnEveryInstructionSet) {
    const std::array<float, 9> lattice{7.1f, 0.2f, 0.1f, 1.3f, 6.7f, 0.4f, -0.8f, 0.9f, 7.3f};
    test::onEachTarget([&] {
        for (const int numElems : {1, 2, 3}) {
            const auto geometry = test::makeRandomCell(lattice, 14, numElems, 5.0f, 11);
            for (const bool elemWeight : {false, true}) {
                for (const bool tanhCutoff : {false, true}) {
                    ChebyshevSettings set{
                        .numElems = numElems, .tanhCutoff = tanhCutoff, .elemWeight = elemWeight};
                    set.rcutRadius = 5.0f;
                    set.rcutAngle = 4.2f;
                    expectTwinForAllSizes(set, *geometry);
                }
            }
        }
    });
}

TEST(SymmFuncChebyshevTest, AngularCutoffMayBeTheLargerOne) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    for (const bool elemWeight : {false, true}) {
        ChebyshevSettings set{.numElems = 2, .elemWeight = elemWeight, .numRadius = 9, .numAngle = 11};
        set.rcutRadius = 3.5f;
        set.rcutAngle = 5.5f;

        expectTwin(set, *geometry, 0);
    }
}

TEST(SymmFuncChebyshevTest, AgreesInASkewedCellFullOfImages) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 7.0f, 9);
    for (const bool elemWeight : {false, true}) {
        ChebyshevSettings set{.numElems = 2, .elemWeight = elemWeight, .numRadius = 20, .numAngle = 18};
        set.rcutRadius = 7.0f;
        set.rcutAngle = 7.0f;
        ASSERT_GT(geometry->getNeighbors(0).size(), 40U);

        expectTwin(set, *geometry, 0);
        expectTwin(set, *geometry, 1);
    }
}

TEST(SymmFuncChebyshevTest, AgreesForAnyNumberOfNeighbors) {
    const auto many =
        test::makeRandomCell({12.0f, 0.0f, 0.0f, 0.0f, 12.0f, 0.0f, 0.0f, 0.0f, 12.0f}, 150, 2, 6.0f, 4);
    for (int step = 4; step < 60; ++step) {
        ChebyshevSettings set{.numElems = 2, .elemWeight = step % 2 == 0, .numRadius = 6, .numAngle = 20};
        set.rcutRadius = static_cast<float>(step) * 0.1f;
        set.rcutAngle = static_cast<float>(step) * 0.1f;
        SCOPED_TRACE(describe(set));

        expectTwin(set, *many, 3);
    }
}

// The twin's own derivatives, by which the fast ones are judged, against differences of its values.
TEST(SymmFuncChebyshevTest, TwinDerivativesAreTheGradientOfItsValues) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 4.5f, 21);
    for (const bool elemWeight : {false, true}) {
        for (const bool tanhCutoff : {false, true}) {
            ChebyshevSettings set{.numElems = 2, .tanhCutoff = tanhCutoff, .elemWeight = elemWeight};
            set.numRadius = 6;
            set.numAngle = 7;
            set.rcutRadius = 4.4f;
            set.rcutAngle = 4.1f;
            test::expectTwinGradient(
                test::makeNeighborhood(*geometry, 0),
                [&](const auto& hood) { return computeTwin(set, hood); }, 1.0e-6, 1.0e-7, 1.0e-6);
        }
    }
}

TEST(SymmFuncChebyshevTest, ForcedInstructionSetIsTheOneThatRuns) {
    test::onEachTarget([] {
        const auto targets = hwy::SupportedAndGeneratedTargets();

        ASSERT_EQ(targets.size(), 1U);
        EXPECT_STREQ(findChebyshevTarget(), hwy::TargetName(targets[0]));
    });
}

TEST(SymmFuncChebyshevTest, AtomWithoutNeighborsGivesZeros) {
    const auto geometry = test::makeGeometry(test::openCell(), {{0, {1.0f, 1.0f, 1.0f}}}, 6.0f);
    const auto symmFunc = makeChebyshev({.numRadius = 4, .numAngle = 3});

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(result.values, std::vector<float>(7, 0.0f));
    EXPECT_EQ(result.diff, std::vector<float>(21, 0.0f));
}

TEST(SymmFuncChebyshevTest, SingleNeighborGivesNoAngularTerms) {
    const auto geometry = makeStar({{0, {1.5f, 0.5f, 0.0f}}}, 6.0f);
    const auto symmFunc = makeChebyshev({.numRadius = 2, .numAngle = 3});

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_GT(result.values[0], 0.0f);
    EXPECT_TRUE(std::ranges::all_of(result.values.begin() + 2, result.values.end(),
                                    [](float v) { return v == 0.0f; }));
    for (std::size_t row = 0; row < 6; ++row) {
        for (std::size_t b = 2; b < 5; ++b) {
            EXPECT_EQ(result.diff[5 * row + b], 0.0f) << row << " " << b;
        }
    }
}

TEST(SymmFuncChebyshevTest, NeighborAtTheCutoffContributesNothing) {
    const auto geometry = makeStar({{0, {0.0f, 3.0f, 0.0f}}, {0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    const auto without = makeStar({{0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    ChebyshevSettings set{.numRadius = 3, .numAngle = 2};
    set.rcutRadius = 3.0f;
    set.rcutAngle = 3.0f;
    const auto symmFunc = makeChebyshev(set);
    const auto neighbors = geometry->getNeighbors(0);
    ASSERT_EQ(neighbors.size(), 2U);

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(result.values, calculateSymmFunc(symmFunc, *without, 0).values);
    const std::size_t entry = neighbors[0].atom == 1 ? 0 : 1;
    for (std::size_t i = 0; i < 15; ++i) {
        EXPECT_EQ(result.diff[(3 * entry + 3) * 5 + i], 0.0f);
    }
}

TEST(SymmFuncChebyshevTest, NearlyEqualCutoffsCountAsOne) {
    const auto geometry = makeStar({{0, {0.0f, 2.0f, 0.0f}}, {0, {1.0f, 0.0f, 1.0f}}}, 6.0f);
    ChebyshevSettings set{.numRadius = 1, .numAngle = 4, .rcutRadius = 5.0f, .rcutAngle = 5.00009f};
    const ChebyshevSettings equal{.numRadius = 1, .numAngle = 4, .rcutRadius = 5.0f, .rcutAngle = 5.0f};

    const auto result = calculateSymmFunc(makeChebyshev(set), *geometry, 0);

    EXPECT_EQ(result.values, calculateSymmFunc(makeChebyshev(equal), *geometry, 0).values);
    set.rcutAngle = 5.001f;
    EXPECT_NE(result.values, calculateSymmFunc(makeChebyshev(set), *geometry, 0).values);
}

TEST(SymmFuncChebyshevTest, OrderZeroIsThePlainCutoffSum) {
    const auto geometry =
        makeStar({{0, {2.0f, 0.0f, 0.0f}}, {0, {0.0f, 3.0f, 0.0f}}, {0, {0.0f, 0.0f, 4.0f}}}, 6.0f);
    const auto symmFunc = makeChebyshev({.elemWeight = false, .numRadius = 2, .numAngle = 2});
    const auto cutoff = [](double r) { return std::pow(std::tanh(1.0 - r / 6.0), 3.0); };
    const double a = cutoff(2.0);
    const double b = cutoff(3.0);
    const double c = cutoff(4.0);

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_LE(std::fabs(static_cast<double>(result.values[0]) - (a + b + c)), 1.0e-6);
    EXPECT_LE(std::fabs(static_cast<double>(result.values[2]) - (a * b + a * c + b * c)), 1.0e-6);
    // All angles are right ones, for which the polynomial of order 1 vanishes.
    EXPECT_LE(std::fabs(static_cast<double>(result.values[3])), 1.0e-6);
}

TEST(SymmFuncChebyshevTest, NeighborJustInsideTheCutoffHasFiniteDerivatives) {
    const float r = std::nextafter(3.0f, 0.0f);
    const auto geometry =
        test::makeGeometry(test::openCell(), {{0, {0.0f, 0.0f, 0.0f}}, {0, {r, 0.0f, 0.0f}}}, 6.0f);
    for (const bool tanhCutoff : {false, true}) {
        ChebyshevSettings set{.tanhCutoff = tanhCutoff, .numRadius = 50, .rcutRadius = 3.0f};

        const auto result = calculateSymmFunc(makeChebyshev(set), *geometry, 0);

        EXPECT_TRUE(std::ranges::all_of(result.diff, [](float v) { return std::isfinite(v); }));
        expectTwin(set, *geometry, 0);
    }
}

TEST(SymmFuncChebyshevTest, CollinearNeighborsHaveFiniteDerivatives) {
    constexpr std::array<std::array<float, 3>, 4> directions{
        {{1.0f, 0.0f, 0.0f}, {0.0f, 0.0f, -1.0f}, {0.5f, 0.5f, 0.5f}, {0.3f, -0.7f, 0.11f}}};
    test::onEachTarget([&] {
        for (const auto& [x, y, z] : directions) {
            for (const float factor : {2.0f, -1.0f, -2.7f, 3.1f}) {
                const auto geometry =
                    makeStar({{0, {x, y, z}}, {0, {factor * x, factor * y, factor * z}}}, 6.0f);
                const ChebyshevSettings set{.numRadius = 1, .numAngle = 30};

                const auto result = calculateSymmFunc(makeChebyshev(set), *geometry, 0);

                EXPECT_TRUE(std::ranges::all_of(result.diff, [](float v) { return std::isfinite(v); }));
                const auto twin = computeTwin(set, test::makeNeighborhood(*geometry, 0));
                // Positions are rounded to a few 1e-6 Angstrom in the middle of the cell, and the order
                // magnifies it.
                test::expectWithin(result.values, twin.values, twin.valueScale, 1.0e-3, "value");
                test::expectWithin(result.diff, twin.diff, twin.diffScale, 5.0e-6, "derivative");
            }
        }
    });
}

// Angles that differ from 0 or 180 degrees by about the floor of the sine, where root, arccosine and floor
// meet.
TEST(SymmFuncChebyshevTest, NearlyCollinearNeighborsAgreeWithTheTwin) {
    test::onEachTarget([] {
        for (const float tilt : {1.0e-5f, 3.0e-4f, 0.9e-3f, 1.1e-3f, 3.0e-3f, 0.1f, 0.7f, 0.8f}) {
            for (const float sign : {1.0f, -1.0f}) {
                const auto geometry = test::makeGeometry(
                    test::openCell(),
                    {{0, {0.0f, 0.0f, 0.0f}}, {0, {2.0f, 0.0f, 0.0f}}, {0, {sign, tilt, 0.0f}}}, 6.0f);
                SCOPED_TRACE(tilt * sign);

                expectTwin({.numRadius = 1, .numAngle = 30}, *geometry, 0);
            }
        }
    });
}

TEST(SymmFuncChebyshevTest, WeightedLengthDoesNotDependOnTheElements) {
    EXPECT_EQ(makeChebyshev({.numElems = 1, .numRadius = 5, .numAngle = 4}).getNumBasis(), 9);
    EXPECT_EQ(makeChebyshev({.numElems = 7, .numRadius = 5, .numAngle = 4}).getNumBasis(), 9);
}

TEST(SymmFuncChebyshevTest, ResolvedLengthCountsElementsAndPairs) {
    const ChebyshevSettings set{.numElems = 4, .elemWeight = false, .numRadius = 5, .numAngle = 3};

    EXPECT_EQ(makeChebyshev(set).getNumBasis(), 4 * 5 + 10 * 3);
}

TEST(SymmFuncChebyshevTest, AngularCutoffIsNotNeededWithoutAngularFunctions) {
    const auto geometry = makeStar({{0, {1.0f, 0.0f, 0.0f}}, {0, {0.0f, 1.0f, 0.0f}}}, 6.0f);
    const ChebyshevSettings set{.numRadius = 5, .numAngle = 0, .rcutRadius = 6.0f, .rcutAngle = 0.0f};

    expectTwin(set, *geometry, 0);
}

TEST(SymmFuncChebyshevTest, RepeatedCallsGiveEqualBits) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    const auto symmFunc = makeChebyshev({.numElems = 2, .elemWeight = false, .numRadius = 9, .numAngle = 20});

    const auto first = calculateSymmFunc(symmFunc, *geometry, 0);
    calculateSymmFunc(symmFunc, *geometry, 1);
    const auto second = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(first.values, second.values);
    EXPECT_EQ(first.diff, second.diff);
}

TEST(SymmFuncChebyshevTest, ThreadsGiveTheResultsOfOne) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    const auto symmFunc = makeChebyshev({.numElems = 2, .elemWeight = false, .numRadius = 9, .numAngle = 20});
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

TEST(SymmFuncChebyshevTest, ConstructorRefusesInOrder) {
    const auto make = [](int elems, int radius, int angle, float rcutRadius, float rcutAngle) {
        return stopMessageOf(
            [&] { const SymmFuncChebyshev made(elems, true, true, radius, angle, rcutRadius, rcutAngle); });
    };

    EXPECT_EQ(make(0, 0, -1, 0.0f, 0.0f), "number of elements is not positive.");
    EXPECT_EQ(make(1, 0, -1, 0.0f, 0.0f), "size of radius basis is not positive.");
    EXPECT_EQ(make(1, 1, -1, 0.0f, 0.0f), "size of angle basis is negative.");
    EXPECT_EQ(make(1, 1, 1, 0.0f, 0.0f), "cutoff for radius is not positive.");
    EXPECT_EQ(make(1, 1, 1, 1.0f, 0.0f), "cutoff for angle is not positive.");
    EXPECT_EQ(make(1, 1, 0, 1.0f, 0.0f), "(no stop)");
    EXPECT_EQ(make(1, 1, 1, std::numeric_limits<float>::quiet_NaN(), 1.0f),
              "cutoff for radius is not positive.");
    EXPECT_EQ(make(1, 2000000000, 2000000000, 1.0f, 1.0f), "too many symmetry functions.");
}

TEST(SymmFuncChebyshevTest, CalculateChecksItsArguments) {
    const auto geometry = makeStar({{0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    const auto symmFunc = makeChebyshev({.numRadius = 4, .numAngle = 3});
    std::vector<float> values(7);
    std::vector<float> diff(6 * 7);
    const auto call = [&](int iatom, std::size_t valueSize, std::size_t diffSize) {
        return stopMessageOf([&] {
            symmFunc.calculate(*geometry, iatom, std::span(values).first(valueSize),
                               std::span(diff).first(diffSize));
        });
    };

    EXPECT_EQ(call(-1, 0, 0), "index of atom is out of range.");
    EXPECT_EQ(call(2, 0, 0), "index of atom is out of range.");
    EXPECT_EQ(call(0, 6, 0), "symmData is too short.");
    EXPECT_EQ(call(0, 7, 41), "symmDiff is too short.");
    EXPECT_EQ(call(0, 7, 42), "(no stop)");
}

} // namespace
} // namespace melta
