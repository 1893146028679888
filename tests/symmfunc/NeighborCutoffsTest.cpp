#include "symmfunc/NeighborCutoffs.hpp"

#include "symmfunc/Clusters.hpp"
#include "symmfunc/CutoffKernels.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace melta {
namespace {

std::vector<float> firstOf(std::span<const float> array, std::size_t count) {
    return {array.begin(), array.begin() + static_cast<std::ptrdiff_t>(count)};
}

NeighborArrays gatherNeighbors() {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 7);
    NeighborArrays neighbors;
    neighbors.update(*geometry, 0);
    return neighbors;
}

// Tanh cutoff values at another radius.
std::vector<float> cutoffAt(const NeighborArrays& neighbors, float rcut) {
    std::vector<float> value(neighbors.size());
    std::vector<float> derivative(neighbors.size());
    computeTanhCutoff(neighbors.r().first(neighbors.size()), rcut, value, derivative);
    return value;
}

TEST(NeighborCutoffsTest, EachCutoffHasItsOwnValues) {
    const NeighborArrays neighbors = gatherNeighbors();
    NeighborCutoffs cutoffs;

    cutoffs.update(neighbors, true, 6.0f, 4.5f);

    EXPECT_EQ(firstOf(cutoffs.fcRadius(), neighbors.size()), cutoffAt(neighbors, 6.0f));
    EXPECT_EQ(firstOf(cutoffs.fcAngle(), neighbors.size()), cutoffAt(neighbors, 4.5f));
}

TEST(NeighborCutoffsTest, NearlyEqualCutoffsCountAsTheRadialOne) {
    const NeighborArrays neighbors = gatherNeighbors();
    NeighborCutoffs cutoffs;

    cutoffs.update(neighbors, true, 5.0f, 5.00009f);

    EXPECT_EQ(firstOf(cutoffs.fcAngle(), neighbors.size()), cutoffAt(neighbors, 5.0f));
    EXPECT_NE(firstOf(cutoffs.fcAngle(), neighbors.size()), cutoffAt(neighbors, 5.00009f));
    EXPECT_TRUE(std::ranges::equal(cutoffs.dfcAngle(), cutoffs.dfcRadius()));
}

TEST(NeighborCutoffsTest, CutoffsFurtherApartCountAsTwo) {
    const NeighborArrays neighbors = gatherNeighbors();
    NeighborCutoffs cutoffs;

    cutoffs.update(neighbors, true, 5.0f, 5.0002f);

    EXPECT_EQ(firstOf(cutoffs.fcAngle(), neighbors.size()), cutoffAt(neighbors, 5.0002f));
}

TEST(NeighborCutoffsTest, CosineCutoffIsUsedWithoutTanh) {
    const NeighborArrays neighbors = gatherNeighbors();
    NeighborCutoffs cutoffs;
    cutoffs.update(neighbors, false, 5.0f, -1.0f);
    std::vector<float> value(neighbors.size());
    std::vector<float> derivative(neighbors.size());

    computeCosineCutoff(neighbors.r().first(neighbors.size()), 5.0f, value, derivative);

    EXPECT_EQ(firstOf(cutoffs.fcRadius(), neighbors.size()), value);
    EXPECT_EQ(firstOf(cutoffs.dfcRadius(), neighbors.size()), derivative);
}

} // namespace
} // namespace melta
