#include "melta/PeriodicView.hpp"

#include "melta/Error.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace melta::test {
namespace {

const std::vector<double> cell{3.0, 0.0, 0.0, 1.0, 4.0, 0.0, -0.5, 0.7, 5.0};

double distanceOf(const NeighborView& view, int a, int b) {
    double sum = 0.0;
    for (int c = 0; c < 3; ++c) {
        const double d = view.positions[3 * a + c] - view.positions[3 * b + c];
        sum += d * d;
    }
    return std::sqrt(sum);
}

// Distances of all images of all atoms within the reach, by brute force.
std::vector<double> findDistances(const std::vector<double>& positions, std::size_t atom, double reach) {
    std::vector<double> distances;
    for (std::size_t j = 0; j < positions.size() / 3; ++j) {
        for (int n = 0; n < 11 * 11 * 11; ++n) {
            const std::array<int, 3> shift{n % 11 - 5, n / 11 % 11 - 5, n / 121 - 5};
            double sum = 0.0;
            for (std::size_t c = 0; c < 3; ++c) {
                double d = positions[3 * j + c] - positions[3 * atom + c];
                for (std::size_t k = 0; k < 3; ++k) {
                    d += shift[k] * cell[3 * k + c];
                }
                sum += d * d;
            }
            const double r = std::sqrt(sum);
            if (r > 1.0e-9 && r < reach) {
                distances.push_back(r);
            }
        }
    }
    std::ranges::sort(distances);
    return distances;
}

TEST(PeriodicViewTest, ListsHoldAllNeighborsOfASmallCell) {
    const std::vector<double> positions{0.1, 0.2, 0.3, 1.7, 2.1, 3.3};
    constexpr double reach = 6.0;

    const PeriodicView periodic(cell, positions, std::vector<int>{0, 1}, reach);

    const NeighborView& view = periodic.view();
    ASSERT_EQ(view.numLocal, 2);
    ASSERT_EQ(view.numLists, 2);
    for (int i = 0; i < 2; ++i) {
        std::vector<double> distances;
        for (int n = 0; n < view.lengths[i]; ++n) {
            const int j = view.neighbors[i][n];
            ASSERT_LT(j, view.numAtoms);
            EXPECT_EQ(view.elements[j], periodic.owners()[static_cast<std::size_t>(j)]);
            distances.push_back(distanceOf(view, i, j));
        }
        std::ranges::sort(distances);
        const std::vector<double> expected = findDistances(positions, static_cast<std::size_t>(i), reach);
        ASSERT_EQ(distances.size(), expected.size());
        for (std::size_t n = 0; n < expected.size(); ++n) {
            EXPECT_NEAR(distances[n], expected[n], 1.0e-12);
        }
    }
}

TEST(PeriodicViewTest, AtomsOutsideTheCellAreTakenIn) {
    const std::vector<double> inside{0.1, 0.2, 0.3, 1.7, 2.1, 3.3};
    std::vector<double> outside = inside;
    for (std::size_t c = 0; c < 3; ++c) {
        outside[c] += 40.0 * cell[c] - 7.0 * cell[3 + c];
    }

    const PeriodicView a(cell, inside, std::vector<int>{0, 1}, 4.0);
    const PeriodicView b(cell, outside, std::vector<int>{0, 1}, 4.0);

    ASSERT_EQ(a.view().numAtoms, b.view().numAtoms);
    for (int i = 0; i < 6; ++i) {
        EXPECT_NEAR(a.view().positions[i], b.view().positions[i], 1.0e-10);
    }
}

TEST(PeriodicViewTest, RowsOfImagesAreAddedUp) {
    const PeriodicView periodic(cell, std::vector<double>{0.1, 0.2, 0.3, 1.7, 2.1, 3.3},
                                std::vector<int>{0, 1}, 4.0);
    const auto numAtoms = static_cast<std::size_t>(periodic.view().numAtoms);
    std::vector<double> rows(3 * numAtoms, 1.0);
    std::vector<double> sums(6, -1.0);

    periodic.fold(rows, sums);

    const auto count = std::ranges::count(periodic.owners(), 1);
    EXPECT_EQ(sums[3], static_cast<double>(count));
    EXPECT_EQ(sums[0] + sums[3], static_cast<double>(numAtoms));
    EXPECT_THROW(periodic.fold(rows, std::span(sums).first(3)), Error);
}

TEST(PeriodicViewTest, ViewsStayValidWhenMoved) {
    PeriodicView first(cell, std::vector<double>{0.1, 0.2, 0.3}, std::vector<int>{0}, 4.0);
    const double* const positions = first.view().positions;

    const PeriodicView second(std::move(first));

    EXPECT_EQ(second.view().positions, positions);
    EXPECT_GE(second.view().lengths[0], 1);
    EXPECT_LT(second.view().neighbors[0][0], second.view().numAtoms);
}

TEST(PeriodicViewTest, WhatIsNotUsableIsRefused) {
    const std::vector<double> positions{0.0, 0.0, 0.0};
    const std::vector<int> elements{0};
    const auto make = [&](const std::vector<double>& lattice, const std::vector<double>& places,
                          double reach) { const PeriodicView view(lattice, places, elements, reach); };
    EXPECT_NO_THROW(make(cell, positions, 4.0));
    EXPECT_THROW(make({1.0, 0.0, 0.0}, positions, 4.0), Error);
    EXPECT_THROW(make(cell, {0.0, 0.0}, 4.0), Error);
    EXPECT_THROW(make(cell, positions, 0.0), Error);
    EXPECT_THROW(make(cell, positions, 1.0e5), Error);
    EXPECT_THROW(make(std::vector<double>(9, 0.0), positions, 4.0), Error);
    EXPECT_THROW(make(cell, {0.0, std::numeric_limits<double>::quiet_NaN(), 0.0}, 4.0), Error);
    EXPECT_THROW(PeriodicView(cell, {}, {}, 4.0), Error);
}

} // namespace
} // namespace melta::test
