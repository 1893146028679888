#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include "network/VectorTargets.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/cluster/ClusterFixture.hpp"
#include "symmfunc/cluster/ClusterKernels.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

namespace melta {
namespace {

using test::calculateSymmFunc;
using test::ClusterTwinSettings;
using test::expectTwin;
using test::makeCluster;
using test::makeStar;
using test::stopMessageOf;

std::string describe(const ClusterTwinSettings& set) {
    const auto& sizes = set.sizes;
    return std::to_string(set.numElems) + " elements, " + std::to_string(set.weights.size()) +
           " weights, sizes " + std::to_string(sizes.numRadius) + " " + std::to_string(sizes.maxAngular) +
           " " + std::to_string(sizes.bodyOrder) + " " + std::to_string(sizes.numRadius4) + ", cutoff " +
           std::to_string(sizes.rcutRadius);
}

// On every instruction set; the twin, which takes its time, is made once.
void expectTwinOnEachTarget(const ClusterTwinSettings& set, const Geometry& geometry) {
    SCOPED_TRACE(describe(set));
    const auto twin = computeTwin(set, test::makeNeighborhood(geometry, 0));
    test::onEachTarget([&] { expectTwin(set, geometry, 0, twin); });
}

constexpr std::array<float, 9> cell{7.1f, 0.2f, 0.1f, 1.3f, 6.7f, 0.4f, -0.8f, 0.9f, 7.3f};

TEST(SymmFuncClusterTest, AgreesWithTheTwinOnEveryInstructionSet) {
    constexpr std::array<std::array<int, 4>, 9> sizes{{{1, 1, 2, 1},
                                                       {5, 0, 2, 1},
                                                       {1, 2, 4, 1},
                                                       {2, 1, 4, 2},
                                                       {8, 4, 4, 4},
                                                       {9, 2, 3, 1},
                                                       {7, 3, 4, 5},
                                                       {10, 2, 4, 9},
                                                       {17, 2, 4, 17}}};
    const auto geometry = test::makeRandomCell(cell, 14, 1, 5.0f, 11);
    for (const auto& [numRadius, maxAngular, bodyOrder, numRadius4] : sizes) {
        for (const bool tanhCutoff : {false, true}) {
            expectTwinOnEachTarget(
                {.tanhCutoff = tanhCutoff, .sizes = {numRadius, maxAngular, bodyOrder, numRadius4, 4.9f}},
                *geometry);
        }
    }
}

TEST(SymmFuncClusterTest, ChannelsAgreeWithTheTwinOnEveryInstructionSet) {
    for (const int numElems : {1, 2, 3, 4}) {
        const auto geometry = test::makeRandomCell(cell, 14, numElems, 4.5f, 12);
        for (const int channels : {1, 2, 3}) {
            ClusterTwinSettings set{.numElems = numElems, .sizes = {6, 2, 4, 3, 4.5f}};
            set.weights.clear();
            for (int i = 0; i < numElems * channels; ++i) {
                set.weights.push_back(1.3f * std::cos(static_cast<float>(1 + i * i)));
            }
            expectTwinOnEachTarget(set, *geometry);
        }
    }
}

TEST(SymmFuncClusterTest, LargestDegreeAgreesWithTheTwin) {
    const auto geometry = test::makeRandomCell(cell, 8, 1, 4.0f, 13);

    expectTwinOnEachTarget({.sizes = {3, 6, 4, 2, 4.0f}}, *geometry);
    expectTwinOnEachTarget({.sizes = {2, 5, 4, 2, 4.0f}}, *geometry);
}

TEST(SymmFuncClusterTest, AgreesInASkewedCellFullOfImages) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 7.0f, 9);
    const ClusterTwinSettings set{
        .numElems = 2, .sizes = {4, 3, 4, 2, 7.0f}, .weights = {1.0f, 1.0f, 1.0f, -1.0f}};
    ASSERT_GT(geometry->getNeighbors(0).size(), 40U);

    expectTwin(set, *geometry, 0);
    expectTwin(set, *geometry, 1);
}

TEST(SymmFuncClusterTest, AgreesForAnyNumberOfNeighbors) {
    const auto many =
        test::makeRandomCell({12.0f, 0.0f, 0.0f, 0.0f, 12.0f, 0.0f, 0.0f, 0.0f, 12.0f}, 150, 2, 6.0f, 4);
    for (int step = 4; step < 50; ++step) {
        const ClusterTwinSettings set{.numElems = 2,
                                      .tanhCutoff = step % 2 == 0,
                                      .sizes = {3, 2, 4, 1, static_cast<float>(step) * 0.1f},
                                      .weights = {1.0f, 0.5f}};
        SCOPED_TRACE(describe(set));

        expectTwin(set, *many, 3);
    }
}

// The twin's own derivatives, by which the fast ones are judged, against differences of its values.
TEST(SymmFuncClusterTest, TwinDerivativesAreTheGradientOfItsValues) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 2, 2, 3.6f, 21);
    for (const bool tanhCutoff : {false, true}) {
        const ClusterTwinSettings set{.numElems = 2,
                                      .tanhCutoff = tanhCutoff,
                                      .sizes = {4, 3, 4, 2, 3.5f},
                                      .weights = {1.0f, 0.8f, 1.0f, -1.1f}};
        test::expectTwinGradient(
            test::makeNeighborhood(*geometry, 0), [&](const auto& hood) { return computeTwin(set, hood); },
            1.0e-6, 1.0e-7, 1.0e-6);
    }
}

TEST(SymmFuncClusterTest, ForcedInstructionSetIsTheOneThatRuns) {
    test::onEachTarget([] {
        const auto targets = hwy::SupportedAndGeneratedTargets();

        ASSERT_EQ(targets.size(), 1U);
        EXPECT_STREQ(findClusterTarget(), hwy::TargetName(targets[0]));
    });
}

TEST(SymmFuncClusterTest, NumberOfFunctionsGrowsWithTheChannels) {
    const auto count = [](int elems, int channels, const ClusterSettings& sizes) {
        return SymmFuncCluster(elems, true, sizes, SymmFuncCluster::makeChannelWeights(elems, channels))
            .getNumBasis();
    };

    EXPECT_EQ(count(1, 1, {8, 4, 2, 4}), 8);
    EXPECT_EQ(count(1, 1, {8, 4, 3, 4}), 8 + 4 * 15);
    EXPECT_EQ(count(1, 1, {8, 4, 4, 4}), 104);
    EXPECT_EQ(count(2, 2, {8, 4, 4, 4}), 240);
    EXPECT_EQ(count(5, 2, {8, 4, 4, 4}), 240);
    EXPECT_EQ(count(5, 3, {8, 4, 4, 4}), 3 * 104 + 3 * 32);
}

TEST(SymmFuncClusterTest, AtomWithoutNeighborsGivesZeros) {
    const auto geometry = test::makeGeometry(test::openCell(), {{0, {1.0f, 1.0f, 1.0f}}}, 6.0f);
    const auto symmFunc = makeCluster({.sizes = {2, 1, 3}});

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(result.values, std::vector<float>(5, 0.0f));
    EXPECT_EQ(result.diff, std::vector<float>(15, 0.0f));
}

// Wherever it stands, because the harmonics of a degree have squares that add up to 1.
TEST(SymmFuncClusterTest, SingleNeighborGivesProductsOfRadialFunctions) {
    constexpr std::array<std::array<float, 3>, 4> places{
        {{2.0f, 0.0f, 0.0f}, {0.0f, -2.0f, 0.0f}, {0.0f, 0.0f, 2.0f}, {1.2f, -1.6f, 0.0f}}};
    for (const auto& place : places) {
        const auto geometry = makeStar({{0, place}}, 6.0f);
        const auto symmFunc = makeCluster({.sizes = {2, 3, 3}});
        const double g0 = std::pow(std::tanh(1.0 - 2.0 / 6.0), 3.0);
        const double g1 = (2.0 * 2.0 / 6.0 - 1.0) * g0;

        const auto values = calculateSymmFunc(symmFunc, *geometry, 0).values;

        const std::array expected{g0,      g1,      g0 * g0, g1 * g1, g0 * g1, g0 * g0,
                                  g1 * g1, g0 * g1, g0 * g0, g1 * g1, g0 * g1};
        ASSERT_EQ(values.size(), expected.size());
        for (std::size_t b = 0; b < values.size(); ++b) {
            EXPECT_LE(std::fabs(static_cast<double>(values[b]) - expected[b]), 1.0e-6) << b;
        }
        expectTwin({.sizes = {8, 4, 4, 4}}, *geometry, 0);
    }
}

TEST(SymmFuncClusterTest, NeighborAtTheCutoffContributesNothing) {
    const auto geometry = makeStar({{0, {0.0f, 3.0f, 0.0f}}, {0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    const auto without = makeStar({{0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    const auto symmFunc = makeCluster({.sizes = {3, 2, 4, 2, 3.0f}});
    const auto neighbors = geometry->getNeighbors(0);
    ASSERT_EQ(neighbors.size(), 2U);

    const auto result = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(result.values, calculateSymmFunc(symmFunc, *without, 0).values);
    const std::size_t entry = neighbors[0].atom == 1 ? 0 : 1;
    const std::size_t numBasis = result.values.size();
    for (std::size_t i = 0; i < 3 * numBasis; ++i) {
        EXPECT_EQ(result.diff[(3 * entry + 3) * numBasis + i], 0.0f);
    }
}

TEST(SymmFuncClusterTest, NeighborJustInsideTheCutoffHasFiniteDerivatives) {
    const float r = std::nextafter(3.0f, 0.0f);
    const auto geometry =
        test::makeGeometry(test::openCell(), {{0, {0.0f, 0.0f, 0.0f}}, {0, {r, 0.0f, 0.0f}}}, 6.0f);
    for (const bool tanhCutoff : {false, true}) {
        const ClusterTwinSettings set{.tanhCutoff = tanhCutoff, .sizes = {20, 2, 4, 2, 3.0f}};

        const auto result = calculateSymmFunc(makeCluster(set), *geometry, 0);

        EXPECT_TRUE(std::ranges::all_of(result.diff, [](float v) { return std::isfinite(v); }));
    }
}

TEST(SymmFuncClusterTest, NeighborsOnTheAxesHaveTheDerivativesOfTheTwin) {
    expectTwinOnEachTarget({.sizes = {6, 4, 4, 3, 5.0f}}, *makeStar({{0, {0.0f, 0.0f, 2.0f}},
                                                                     {0, {0.0f, 0.0f, -1.5f}},
                                                                     {0, {1.7f, 0.0f, 0.0f}},
                                                                     {0, {-2.5f, 0.0f, 0.0f}},
                                                                     {0, {0.0f, 3.1f, 0.0f}}},
                                                                    6.0f));
}

TEST(SymmFuncClusterTest, StartingWeightsOfTwoElementsAreSumAndDifference) {
    const auto weights = SymmFuncCluster::makeChannelWeights(2, 2);

    constexpr std::array expected{1.0f, 1.0f, 1.0f, -1.0f};
    ASSERT_EQ(weights.size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_LE(std::fabs(weights[i] - expected[i]), 1.0e-6f) << i;
    }
}

TEST(SymmFuncClusterTest, StartingWeightsAreOrthogonalWithALargestOfOne) {
    for (const int elems : {1, 2, 3, 4, 7}) {
        const auto weights = SymmFuncCluster::makeChannelWeights(elems, elems);
        const auto size = static_cast<std::size_t>(elems);
        ASSERT_EQ(weights.size(), size * size);
        for (std::size_t a = 0; a < size; ++a) {
            float largest = 0.0f;
            std::vector<float> products(a, 0.0f);
            for (std::size_t e = 0; e < size; ++e) {
                const float weight = weights[e * size + a];
                largest = std::max(largest, std::fabs(weight));
                for (std::size_t b = 0; b < a; ++b) {
                    products[b] += weight * weights[e * size + b];
                }
            }
            EXPECT_LE(std::fabs(largest - 1.0f), 1.0e-6f) << a;
            for (std::size_t b = 0; b < a; ++b) {
                EXPECT_LE(std::fabs(products[b]), 1.0e-6f) << a << " " << b;
            }
        }
    }
}

TEST(SymmFuncClusterTest, RepeatedCallsGiveEqualBits) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    const auto symmFunc = makeCluster({.numElems = 2, .sizes = {5, 3, 4, 3}, .weights = {1.0f, 0.4f}});
    const auto larger = makeCluster({.numElems = 2, .sizes = {9, 4, 4, 3}, .weights = {1.0f, 0.4f}});

    const auto first = calculateSymmFunc(symmFunc, *geometry, 0);
    calculateSymmFunc(larger, *geometry, 1);
    const auto second = calculateSymmFunc(symmFunc, *geometry, 0);

    EXPECT_EQ(first.values, second.values);
    EXPECT_EQ(first.diff, second.diff);
}

TEST(SymmFuncClusterTest, ThreadsGiveTheResultsOfOne) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    const auto symmFunc = makeCluster({.numElems = 2, .sizes = {5, 3, 4, 3}, .weights = {1.0f, 0.4f}});
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

TEST(SymmFuncClusterTest, ConstructorRefusesInOrder) {
    const auto make = [](int elems, const ClusterSettings& sizes, const std::vector<float>& weights) {
        return stopMessageOf([&] { const SymmFuncCluster made(elems, true, sizes, weights); });
    };
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();

    EXPECT_EQ(make(0, {0, 0, 1, 0, 0.0f}, {}), "number of elements is not positive.");
    EXPECT_EQ(make(2, {0, 0, 1, 0, 0.0f}, {}), "size of radius basis is not positive.");
    EXPECT_EQ(make(2, {3, 0, 1, 0, 0.0f}, {}), "body order is none of 2, 3 and 4.");
    EXPECT_EQ(make(2, {3, 0, 5, 0, 0.0f}, {}), "body order is none of 2, 3 and 4.");
    EXPECT_EQ(make(2, {3, 0, 4, 0, 0.0f}, {}), "angular degree is out of range.");
    EXPECT_EQ(make(2, {3, 7, 3, 0, 0.0f}, {}), "angular degree is out of range.");
    EXPECT_EQ(make(2, {3, 6, 4, 0, 0.0f}, {}), "size of four-body radius basis is out of range.");
    EXPECT_EQ(make(2, {3, 6, 4, 4, 0.0f}, {}), "size of four-body radius basis is out of range.");
    EXPECT_EQ(make(2, {3, 2, 4, 3, 0.0f}, {}), "cutoff for radius is not positive.");
    EXPECT_EQ(make(2, {3, 2, 4, 3, nan}, {}), "cutoff for radius is not positive.");
    EXPECT_EQ(make(2, {3, 2, 4, 3, 1.0f}, {}), "weights of channels do not fit the elements.");
    EXPECT_EQ(make(2, {3, 2, 4, 3, 1.0f}, {1.0f, nan, 2.0f}), "weights of channels do not fit the elements.");
    EXPECT_EQ(make(2, {3, 2, 4, 3, 1.0f}, {1.0f, nan}), "weights of channels are not finite.");
    EXPECT_EQ(make(2, {2000000000, 2, 4, 3, 1.0f}, {1.0f, 1.0f}), "too many symmetry functions.");
    EXPECT_EQ(make(2, {3, 0, 2, 0, 1.0f}, {1.0f, 1.0f}), "(no stop)");
    EXPECT_EQ(make(2, {3, 6, 3, 0, 1.0f}, {1.0f, 1.0f}), "(no stop)");
    EXPECT_EQ(make(2, {3, 2, 4, 3, 1.0f}, {1.0f, 1.0f}), "(no stop)");
}

TEST(SymmFuncClusterTest, CalculateChecksItsArguments) {
    const auto geometry = makeStar({{0, {1.0f, 0.0f, 0.0f}}}, 6.0f);
    const auto symmFunc = makeCluster({.sizes = {7, 0, 2}});
    std::vector<float> values(7);
    std::vector<float> diff(6 * 7);
    const auto call = [&](int iatom, std::size_t valueSize, std::size_t diffSize) {
        return stopMessageOf([&] {
            symmFunc.calculate(*geometry, iatom, std::span(values).first(valueSize),
                               std::span(diff).first(diffSize));
        });
    };

    EXPECT_EQ(call(2, 0, 0), "index of atom is out of range.");
    EXPECT_EQ(call(0, 6, 0), "symmData is too short.");
    EXPECT_EQ(call(0, 7, 41), "symmDiff is too short.");
    EXPECT_EQ(call(0, 7, 42), "(no stop)");
}

} // namespace
} // namespace melta
