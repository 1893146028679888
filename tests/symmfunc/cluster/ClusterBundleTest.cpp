// Several columns of a neighbourhood at once.
#include "network/VectorTargets.hpp"
#include "symmfunc/cluster/ClusterBundleKernels.hpp"
#include "symmfunc/cluster/ClusterFixture.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace melta {
namespace {

using test::ClusterTwinSettings;
using test::TwinResult;

constexpr std::size_t numGuards = 20;

// Numbers between -1 and 1.
std::vector<float> makeNumbers(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    std::vector<float> numbers(count);
    std::ranges::generate(numbers, [&] { return uniform(random); });
    return numbers;
}

// Results of `columns` calls of a function, garbage before it and guards behind them.
template <class Call>
std::vector<float> callGuarded(std::size_t length, Call&& call) {
    std::vector<float> results(length + numGuards, std::numeric_limits<float>::quiet_NaN());
    call(std::span(results).first(length));
    for (std::size_t i = 0; i < numGuards; ++i) {
        EXPECT_TRUE(std::isnan(results[length + i])) << "overrun by " << i;
    }
    results.resize(length);
    return results;
}

// The entries of a twin's derivatives that an atom with some neighbours has: visit(position, value, place),
// with positions [3][neighbours].
template <class Visit>
void forEachDerivative(const TwinResult& twin, std::size_t numNeighbors, Visit&& visit) {
    const std::size_t numBasis = twin.values.size();
    for (std::size_t row = 0; row < 3 * numNeighbors; ++row) {
        for (std::size_t b = 0; b < numBasis; ++b) {
            visit(row % 3 * numNeighbors + row / 3, b, (row + 3) * numBasis + b);
        }
    }
}

struct Expected {
    std::vector<double> numbers, scale;
    explicit Expected(std::size_t length) : numbers(length, 0.0), scale(length, 0.0) {}

    void add(std::size_t place, float weight, double number, double size) {
        numbers[place] += static_cast<double>(weight) * number;
        scale[place] += std::fabs(static_cast<double>(weight)) * size;
    }
};

void expectGradients(const SymmFunc& symmFunc, const NeighborArrays& neighbors, const TwinResult& twin,
                     std::size_t columns) {
    const std::size_t numBasis = twin.values.size();
    const std::size_t length = 3 * neighbors.size();
    const auto byValues = makeNumbers(columns * numBasis, 5);
    const auto byPositions = callGuarded(columns * length, [&](std::span<float> results) {
        symmFunc.calculateGradients(neighbors, byValues, results);
    });
    Expected expected(columns * length);
    for (std::size_t column = 0; column < columns; ++column) {
        forEachDerivative(twin, neighbors.size(), [&](std::size_t position, std::size_t b, std::size_t at) {
            expected.add(column * length + position, byValues[column * numBasis + b], twin.diff[at],
                         twin.diffScale[at]);
        });
    }
    test::expectWithin(byPositions, expected.numbers, expected.scale, test::clusterDiffTolerance, "gradient");
}

void expectTangents(const SymmFunc& symmFunc, const NeighborArrays& neighbors, const TwinResult& twin,
                    std::size_t columns) {
    const std::size_t numBasis = twin.values.size();
    const std::size_t length = 3 * neighbors.size();
    const auto directions = makeNumbers(columns * length, 6);
    const auto changes = callGuarded(columns * numBasis, [&](std::span<float> results) {
        symmFunc.calculateTangents(neighbors, directions, results);
    });
    Expected expected(columns * numBasis);
    for (std::size_t column = 0; column < columns; ++column) {
        forEachDerivative(twin, neighbors.size(), [&](std::size_t position, std::size_t b, std::size_t at) {
            expected.add(column * numBasis + b, directions[column * length + position], twin.diff[at],
                         twin.diffScale[at]);
        });
    }
    test::expectWithin(changes, expected.numbers, expected.scale, test::clusterDiffTolerance, "change");
}

// On every instruction set; the twin, which takes its time, is made once.
void expectColumns(const ClusterTwinSettings& set, const Geometry& geometry,
                   std::initializer_list<std::size_t> counts) {
    const auto symmFunc = test::makeCluster(set);
    const auto twin = computeTwin(set, test::makeNeighborhood(geometry, 0));
    NeighborArrays neighbors;
    neighbors.update(geometry, 0);
    test::onEachTarget([&] {
        for (const std::size_t columns : counts) {
            SCOPED_TRACE(std::to_string(columns) + " columns");
            expectGradients(symmFunc, neighbors, twin, columns);
            expectTangents(symmFunc, neighbors, twin, columns);
        }
    });
}

constexpr std::array<float, 9> cell{7.1f, 0.2f, 0.1f, 1.3f, 6.7f, 0.4f, -0.8f, 0.9f, 7.3f};

TEST(ClusterBundleTest, AnyNumberOfColumnsAgreesWithTheTwin) {
    const auto geometry = test::makeRandomCell(cell, 14, 1, 5.0f, 11);
    expectColumns({.sizes = {5, 3, 4, 3, 4.9f}}, *geometry,
                  {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 16, 17, 19, 21, 35});
}

TEST(ClusterBundleTest, AllSizesAgreeWithTheTwin) {
    constexpr std::array<std::array<int, 4>, 8> sizes{{{1, 1, 2, 1},
                                                       {1, 2, 4, 1},
                                                       {2, 1, 4, 2},
                                                       {8, 4, 4, 4},
                                                       {9, 2, 3, 1},
                                                       {10, 2, 4, 9},
                                                       {17, 2, 4, 17},
                                                       {3, 6, 4, 2}}};
    const auto geometry = test::makeRandomCell(cell, 8, 1, 5.0f, 13);
    for (const auto& [numRadius, maxAngular, bodyOrder, numRadius4] : sizes) {
        SCOPED_TRACE(std::to_string(numRadius) + " " + std::to_string(maxAngular));
        expectColumns({.sizes = {numRadius, maxAngular, bodyOrder, numRadius4, 4.0f}}, *geometry, {4, 8, 15});
    }
}

TEST(ClusterBundleTest, ChannelsAgreeWithTheTwin) {
    for (const int numElems : {2, 3, 4}) {
        const auto geometry = test::makeRandomCell(cell, 14, numElems, 4.5f, 12);
        for (const int channels : {1, 2, 3}) {
            SCOPED_TRACE(std::to_string(numElems) + " elements, " + std::to_string(channels) + " channels");
            ClusterTwinSettings set{.numElems = numElems, .sizes = {6, 2, 4, 3, 4.5f}};
            set.weights.clear();
            for (int i = 0; i < numElems * channels; ++i) {
                set.weights.push_back(1.3f * std::cos(static_cast<float>(1 + i * i)));
            }
            expectColumns(set, *geometry, {4, 7, 16});
        }
    }
}

// Vectors of neighbours that end anywhere, and neighbours in the list that are outside the cutoff.
TEST(ClusterBundleTest, AnyNumberOfNeighborsAgreesWithTheTwin) {
    const auto geometry =
        test::makeRandomCell({12.0f, 0.0f, 0.0f, 0.0f, 12.0f, 0.0f, 0.0f, 0.0f, 12.0f}, 150, 2, 6.0f, 4);
    for (int step = 10; step < 60; step += 3) {
        const ClusterTwinSettings set{
            .numElems = 2, .sizes = {3, 2, 4, 1, static_cast<float>(step) * 0.1f}, .weights = {1.0f, 0.5f}};
        SCOPED_TRACE(set.sizes.rcutRadius);
        expectColumns(set, *geometry, {4, 8, 16});
    }
}

TEST(ClusterBundleTest, ColumnsOfAnAtomWithoutNeighborsAreZero) {
    const auto geometry = test::makeGeometry(test::openCell(), {{0, {1.0f, 1.0f, 1.0f}}}, 6.0f);
    const auto symmFunc = test::makeCluster({.sizes = {2, 1, 3}});
    NeighborArrays neighbors;
    neighbors.update(*geometry, 0);
    std::vector<float> changes(5 * 5, 1.0f);

    symmFunc.calculateTangents(neighbors, {}, changes);
    symmFunc.calculateGradients(neighbors, changes, {});

    EXPECT_EQ(changes, std::vector<float>(25, 0.0f));
}

TEST(ClusterBundleTest, ColumnsDoNotDependOnEachOther) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 5);
    const auto symmFunc = test::makeCluster({.numElems = 2, .sizes = {5, 3, 4, 3}, .weights = {1.0f, 0.4f}});
    NeighborArrays neighbors;
    neighbors.update(*geometry, 0);
    const auto numBasis = static_cast<std::size_t>(symmFunc.getNumBasis());
    const std::size_t length = 3 * neighbors.size();
    auto byValues = makeNumbers(4 * numBasis, 8);
    std::vector<float> first(4 * length), second(4 * length);

    symmFunc.calculateGradients(neighbors, byValues, first);
    std::ranges::fill(std::span(byValues).last(3 * numBasis), std::numeric_limits<float>::quiet_NaN());
    symmFunc.calculateGradients(neighbors, byValues, second);

    EXPECT_TRUE(std::ranges::equal(std::span(first).first(length), std::span(second).first(length)));
    EXPECT_TRUE(std::isnan(second[length]));
}

TEST(ClusterBundleTest, RowsAreWholeVectorsAtMost) {
    test::onEachTarget([] {
        const std::size_t longest = findClusterLanes(100);
        for (const std::size_t columns : {1U, 4U, 5U, 8U, 9U, 16U}) {
            const std::size_t lanes = findClusterLanes(columns);
            EXPECT_LE(lanes, longest);
            EXPECT_TRUE(lanes == longest || (lanes >= columns && lanes % 4 == 0)) << columns;
        }
        EXPECT_LE(longest, 16U);
    });
}

} // namespace
} // namespace melta
