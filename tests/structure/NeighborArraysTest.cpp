#include "structure/NeighborArrays.hpp"

#include "structure/Geometry.hpp"
#include "symmfunc/Clusters.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace melta {
namespace {

TEST(NeighborArraysTest, PlacesFollowTheListWithItsImages) {
    const auto geometry = test::makeRandomCell(test::skewedCell(), 3, 2, 6.0f, 7);
    const auto list = geometry->getNeighbors(1);
    NeighborArrays neighbors;

    neighbors.update(*geometry, 1);

    ASSERT_EQ(neighbors.size(), list.size());
    ASSERT_GT(neighbors.size(), 20U);
    for (std::size_t n = 0; n < list.size(); ++n) {
        const auto position = geometry->computeNeighborPosition(list[n]);
        const auto atom = static_cast<std::size_t>(list[n].atom);
        EXPECT_EQ(neighbors.dx()[n], position[0] - geometry->positions[3]);
        EXPECT_EQ(neighbors.dy()[n], position[1] - geometry->positions[4]);
        EXPECT_EQ(neighbors.dz()[n], position[2] - geometry->positions[5]);
        const float r = std::hypot(neighbors.dx()[n], neighbors.dy()[n], neighbors.dz()[n]);
        EXPECT_LE(std::fabs(neighbors.r()[n] - r), 1.0e-6f);
        EXPECT_EQ(neighbors.elements()[n], geometry->elements[atom]);
        EXPECT_EQ(neighbors.atomNumbers()[n], geometry->atomNumbers[atom]);
        EXPECT_EQ(neighbors.atoms()[n], list[n].atom);
        EXPECT_EQ(neighbors.entries()[n], static_cast<int>(n));
    }
}

TEST(NeighborArraysTest, MemoryServesSmallerAndLargerNeighborhoodsInTurn) {
    const auto small = test::makeStar({{0, {1.5f, 0.0f, 0.0f}}}, 6.0f);
    const auto large = test::makeRandomCell(test::skewedCell(), 4, 2, 9.0f, 3);
    NeighborArrays neighbors;

    neighbors.update(*small, 0);
    EXPECT_EQ(neighbors.size(), 1U);
    neighbors.update(*large, 0);
    EXPECT_EQ(neighbors.size(), large->getNeighbors(0).size());
    neighbors.update(*small, 0);

    EXPECT_EQ(neighbors.size(), 1U);
    EXPECT_LE(std::fabs(neighbors.r()[0] - 1.5f), 1.0e-6f);
}

// Atoms 0 to 5 on a line; 2 is not ours, 5 lies at the cutoff, and the list has flags in its high bits.
TEST(NeighborArraysTest, TakesWhatIsInsideTheCutoffFromTheListOfAHost) {
    const std::vector<double> positions{0.0, 1.0, 2.0, 1.5, 1.0, 2.0, -1.0, 1.0,  2.0,
                                        0.0, 4.9, 2.0, 0.0, 1.0, 0.5, 0.0,  -3.0, 2.0};
    const std::vector<std::int32_t> elements{0, 1, -1, 0, 1, 0};
    const std::vector<std::int32_t> atomNumbers{14, 8};
    const std::vector<std::int32_t> list{5, 4 | (1 << 30), 2, 3, 1};
    const HostAtoms host{
        .positions = positions, .elements = elements, .atomNumbers = atomNumbers, .indexMask = (1 << 29) - 1};
    NeighborArrays neighbors;

    neighbors.update(host, 0, list, 4.0f);

    const auto vectorOf = [](std::span<const std::int32_t> array) {
        return std::vector<int>(array.begin(), array.end());
    };
    EXPECT_EQ(vectorOf(neighbors.atoms()), (std::vector<int>{4, 3, 1}));
    EXPECT_EQ(vectorOf(neighbors.entries()), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(vectorOf(neighbors.elements()), (std::vector<int>{1, 0, 1}));
    EXPECT_EQ(vectorOf(neighbors.atomNumbers()), (std::vector<int>{8, 14, 8}));
    ASSERT_EQ(neighbors.size(), 3U);
    EXPECT_EQ(neighbors.dz()[0], -1.5f);
    EXPECT_EQ(neighbors.dy()[1], static_cast<float>(4.9 - 1.0));
    EXPECT_EQ(neighbors.dx()[2], 1.5f);
    EXPECT_EQ(neighbors.r()[2], 1.5f);
    for (std::size_t n = neighbors.size(); n < neighbors.r().size(); ++n) {
        EXPECT_EQ(neighbors.dx()[n], 1.0f);
        EXPECT_GT(neighbors.r()[n], 0.0f);
    }
}

} // namespace
} // namespace melta
