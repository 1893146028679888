#include "structure/VacuumBox.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace melta {
namespace {

using Cell = std::array<double, 9>;

constexpr Cell skewed{4.0, 0.0, 0.5, 1.0, 5.0, 0.0, 0.25, 1.5, 6.0};

double product(const Cell& cell, std::size_t one, std::size_t other) {
    double sum = 0.0;
    for (std::size_t c = 0; c < 3; ++c) {
        sum += cell[3 * one + c] * cell[3 * other + c];
    }
    return sum;
}

TEST(VacuumBoxTest, ClustersGetABoxAlongTheAxes) {
    const std::vector<double> positions{1.0, -2.0, 3.0, 4.0, 0.5, 3.0};

    const Cell box = addVacuum({}, {false, false, false}, positions, 10.0);

    EXPECT_EQ(box, (Cell{14.0, 0.0, 0.0, 0.0, 13.5, 0.0, 0.0, 0.0, 11.0}));
}

TEST(VacuumBoxTest, CrystalsKeepTheirCell) {
    EXPECT_EQ(addVacuum(skewed, {true, true, true}, std::vector<double>{0, 0, 0}, 10.0), skewed);
}

TEST(VacuumBoxTest, FreeVectorsStandAtRightAnglesAndAreLongEnough) {
    const std::vector<double> positions{0.0, 0.0, 0.0, 3.0, -7.0, 11.0};
    for (int mask = 0; mask < 7; ++mask) {
        const std::array<bool, 3> isPeriodic{(mask & 1) != 0, (mask & 2) != 0, (mask & 4) != 0};

        const Cell box = addVacuum(skewed, isPeriodic, positions, 8.0);

        for (std::size_t k = 0; k < 3; ++k) {
            const double length = std::sqrt(product(box, k, k));
            for (std::size_t other = 0; other < 3; ++other) {
                if (isPeriodic[k]) {
                    EXPECT_EQ(box[3 * k + other], skewed[3 * k + other]) << mask;
                } else if (other != k) {
                    EXPECT_NEAR(product(box, k, other), 0.0, 1e-10) << mask;
                }
            }
            const double extent = (3.0 * box[3 * k] - 7.0 * box[3 * k + 1] + 11.0 * box[3 * k + 2]) / length;
            if (!isPeriodic[k]) {
                EXPECT_NEAR(length, std::abs(extent) + 9.0, 1e-10) << mask;
            }
        }
    }
}

TEST(VacuumBoxTest, VolumesHaveNoSign) {
    EXPECT_DOUBLE_EQ(volumeOf({0, 2, 0, 3, 1, 0, 5, 6, 4}), 24.0);
}

TEST(VacuumBoxTest, KnowsVectorsThatSpanNothing) {
    const Cell flat{1, 0, 0, 0, 1, 0, 1, 1, 0};

    EXPECT_TRUE(spanPeriodic(skewed, {true, true, true}));
    EXPECT_FALSE(spanPeriodic(flat, {true, true, true}));
    EXPECT_TRUE(spanPeriodic(flat, {true, true, false}));
    EXPECT_TRUE(spanPeriodic({}, {false, false, false}));
    EXPECT_FALSE(spanPeriodic({}, {false, false, true}));
}

} // namespace
} // namespace melta
