#include "symmfunc/NeighborRecords.hpp"

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

// Tanh cutoff values of the records at another radius.
std::vector<float> cutoffAt(const NeighborRecords& records, float rcut) {
    std::vector<float> value(records.size());
    std::vector<float> derivative(records.size());
    computeTanhCutoff(records.r().first(records.size()), rcut, value, derivative);
    return value;
}

TEST(NeighborRecordsTest, placesFollowTheListWithItsImages) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 7);
    const auto neighbors = geometry->obtainNeighbors(1);
    NeighborRecords records;

    records.update(*geometry, 1, true, -1.0f, -1.0f);

    ASSERT_EQ(records.size(), neighbors.size());
    ASSERT_GT(records.size(), 20U);
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        const auto position = geometry->obtainNeighborPosition(neighbors[n]);
        const auto atom = static_cast<std::size_t>(neighbors[n].atom);
        EXPECT_EQ(records.dx()[n], position[0] - geometry->positions[3]);
        EXPECT_EQ(records.dy()[n], position[1] - geometry->positions[4]);
        EXPECT_EQ(records.dz()[n], position[2] - geometry->positions[5]);
        const float r = std::hypot(records.dx()[n], records.dy()[n], records.dz()[n]);
        EXPECT_LE(std::fabs(records.r()[n] - r), 1.0e-6f);
        EXPECT_EQ(records.elements()[n], geometry->elements[atom]);
        EXPECT_EQ(records.atomNumbers()[n], geometry->atomNumbers[atom]);
    }
}

TEST(NeighborRecordsTest, eachCutoffHasItsOwnValues) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 7);
    NeighborRecords records;

    records.update(*geometry, 0, true, 6.0f, 4.5f);

    EXPECT_EQ(firstOf(records.fcRadius(), records.size()), cutoffAt(records, 6.0f));
    EXPECT_EQ(firstOf(records.fcAngle(), records.size()), cutoffAt(records, 4.5f));
}

TEST(NeighborRecordsTest, nearlyEqualCutoffsCountAsTheRadialOne) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 7);
    NeighborRecords records;

    records.update(*geometry, 0, true, 5.0f, 5.00009f);

    EXPECT_EQ(firstOf(records.fcAngle(), records.size()), cutoffAt(records, 5.0f));
    EXPECT_NE(firstOf(records.fcAngle(), records.size()), cutoffAt(records, 5.00009f));
    EXPECT_TRUE(std::ranges::equal(records.dfcAngle(), records.dfcRadius()));
}

TEST(NeighborRecordsTest, cutoffsFurtherApartCountAsTwo) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 7);
    NeighborRecords records;

    records.update(*geometry, 0, true, 5.0f, 5.0002f);

    EXPECT_EQ(firstOf(records.fcAngle(), records.size()), cutoffAt(records, 5.0002f));
}

TEST(NeighborRecordsTest, cosineCutoffIsUsedWithoutTanh) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 7);
    NeighborRecords records;
    records.update(*geometry, 0, false, 5.0f, -1.0f);
    std::vector<float> value(records.size());
    std::vector<float> derivative(records.size());

    computeCosineCutoff(records.r().first(records.size()), 5.0f, value, derivative);

    EXPECT_EQ(firstOf(records.fcRadius(), records.size()), value);
    EXPECT_EQ(firstOf(records.dfcRadius(), records.size()), derivative);
}

TEST(NeighborRecordsTest, memoryServesSmallerAndLargerNeighborhoodsInTurn) {
    const auto small = test::makeStar({{0, {1.5f, 0.0f, 0.0f}}}, 6.0f);
    const auto large = test::makeRandomCell(test::skewedCell(), 4, 2, 9.0f, 3);
    NeighborRecords records;

    records.update(*small, 0, true, 6.0f, 6.0f);
    EXPECT_EQ(records.size(), 1U);
    records.update(*large, 0, true, 9.0f, 9.0f);
    EXPECT_EQ(records.size(), large->obtainNeighbors(0).size());
    records.update(*small, 0, true, 6.0f, 6.0f);

    EXPECT_EQ(records.size(), 1U);
    EXPECT_LE(std::fabs(records.r()[0] - 1.5f), 1.0e-6f);
}

} // namespace
} // namespace melta
