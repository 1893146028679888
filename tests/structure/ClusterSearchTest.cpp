#include "structure/ClusterSearch.hpp"

#include "structure/NeighborSearch.hpp"
#include "structure/NeighborStore.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace melta::test {
namespace {

constexpr double rcut = 2.5;

// Atoms at random in a box of 9 x 6 x 1 Angstrom around `corner`.
std::vector<double> makeCluster(std::size_t numAtoms, double corner) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> fraction(0.0, 1.0);
    constexpr std::array<double, 3> edges{9.0, 6.0, 1.0};
    std::vector<double> positions;
    for (std::size_t i = 0; i < 3 * numAtoms; ++i) {
        positions.push_back(corner + edges[i % 3] * fraction(random));
    }
    return positions;
}

// The neighbours of an atom by the plainest way, ascending.
std::vector<int> findPlainly(std::span<const double> positions, std::size_t atom) {
    std::vector<int> found;
    for (std::size_t j = 0; 3 * j < positions.size(); ++j) {
        double square = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double d = positions[3 * j + c] - positions[3 * atom + c];
            square += d * d;
        }
        if (square >= 0.01 && square < rcut * rcut) {
            found.push_back(static_cast<int>(j));
        }
    }
    return found;
}

void expectLists(const NeighborStore& lists, std::span<const double> positions) {
    for (std::size_t i = 0; 3 * i < positions.size(); ++i) {
        std::vector<int> atoms;
        for (const Neighbor& neighbor : lists[i]) {
            EXPECT_EQ(neighbor, (Neighbor{neighbor.atom, 0, 0, 0}));
            atoms.push_back(neighbor.atom);
        }
        std::ranges::sort(atoms);
        EXPECT_EQ(atoms, findPlainly(positions, i)) << i;
    }
}

class ClusterSearchTest : public testing::Test {
protected:
    ClusterSearch search;
    NeighborStore lists;
};

TEST_F(ClusterSearchTest, FindsAllThatAreNearAndNoImages) {
    for (const double corner : {0.0, -30.0, 100.0}) {
        const std::vector<double> positions = makeCluster(120, corner);

        search.find(positions, rcut, lists);

        expectLists(lists, positions);
    }
}

TEST_F(ClusterSearchTest, ClustersOfOtherSizesLeaveNothingBehind) {
    for (const std::size_t numAtoms : {120U, 1U, 0U, 2U, 60U}) {
        const std::vector<double> positions = makeCluster(numAtoms, 1.0);

        search.find(positions, rcut, lists);

        EXPECT_EQ(lists.empty(), numAtoms == 0);
        expectLists(lists, positions);
    }
}

TEST_F(ClusterSearchTest, AtomsInOnePlaceAreNoNeighbors) {
    search.find(std::vector<double>{1.0, 2.0, 3.0, 1.0, 2.0, 3.0}, rcut, lists);

    EXPECT_TRUE(lists[0].empty());
    EXPECT_TRUE(lists[1].empty());
}

TEST_F(ClusterSearchTest, ClusterTooWideForMemoryIsRefused) {
    const StopCatcher catcher;
    const std::vector<double> positions{0.0, 0.0, 0.0, 3.0e4, 3.0e4, 3.0e4};

    EXPECT_EQ(stopMessageOf([&] { search.find(positions, rcut, lists); }),
              "too many bins for detecting neighbors.");
}

// 6,000 atoms in a cube of 1 Angstrom have 36 million neighbours, less those at less than 0.1 Angstrom.
TEST_F(ClusterSearchTest, TooManyNeighborsAreRefused) {
    const StopCatcher catcher;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> place(0.0, 1.0);
    std::vector<double> positions(std::size_t{3} * 6000);
    std::ranges::generate(positions, [&] { return place(random); });

    EXPECT_EQ(stopMessageOf([&] { search.find(positions, rcut, lists); }), "too many neighbors.");
}

} // namespace
} // namespace melta::test
