#include "symmfunc/manybody/ManyBodyKernels.hpp"

#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace melta {
namespace {

ManyBodyPoints locate(std::vector<float> r, const ManyBodyAxis& axis) {
    const std::size_t numDistances = r.size();
    r.resize(numDistances + manyBodyPadding, 1.0f);
    ManyBodyPoints points;
    points.reserve(numDistances);
    locateManyBodyPoints(r, numDistances, axis, points);
    return points;
}

TEST(ManyBodyKernelsTest, ForcedInstructionSetIsTheOneThatRuns) {
    test::onEachTarget([] {
        const auto targets = hwy::SupportedAndGeneratedTargets();

        ASSERT_EQ(targets.size(), 1U);
        EXPECT_STREQ(findManyBodyTarget(), hwy::TargetName(targets[0]));
    });
}

TEST(ManyBodyKernelsTest, PointsAgreeWithDoublePrecision) {
    const ManyBodyAxis axis{.numPoints = 23, .start = 0.7f, .step = 0.23f};
    const auto start = static_cast<double>(axis.start);
    const auto step = static_cast<double>(axis.step);
    std::vector<float> r;
    for (int i = 0; i < 1000; ++i) {
        r.push_back(0.71f + 0.00519f * static_cast<float>(i));
    }
    test::onEachTarget([&] {
        const auto points = locate(r, axis);

        for (std::size_t n = 0; n < r.size(); ++n) {
            for (int k = 0; k < points.count[n]; ++k) {
                const auto distance = static_cast<double>(r[n]);
                const double angle = std::numbers::pi * ((distance - start) / step - points.first[n] - k);
                const double value = 0.5 * std::cos(angle) + 0.5;
                const double slope = -0.5 * std::numbers::pi / step * std::sin(angle) / distance;
                const std::size_t place = 4 * n + static_cast<std::size_t>(k);
                EXPECT_LE(std::fabs(static_cast<double>(points.weights[place]) - value), 5.0e-6) << r[n];
                EXPECT_LE(std::fabs(static_cast<double>(points.weights[place + 2]) - slope), 5.0e-5) << r[n];
            }
        }
    });
}

TEST(ManyBodyKernelsTest, QuotientIsCutTowardsZero) {
    const ManyBodyAxis axis{.numPoints = 4, .start = 2.0f, .step = 0.5f};
    const std::vector<float> r{0.75f, 1.0f, 1.25f, 1.5f, 1.75f, 2.0f, 2.25f, 2.5f, 3.0f, 3.25f, 3.5f, 3.75f};
    const std::vector<int> count{0, 0, 1, 1, 2, 2, 2, 2, 2, 2, 1, 1};
    const std::vector<int> first{0, 0, 0, 0, 0, 0, 0, 1, 2, 2, 3, 3};
    test::onEachTarget([&] {
        const auto points = locate(r, axis);

        for (std::size_t n = 0; n < r.size(); ++n) {
            EXPECT_EQ(points.count[n], count[n]) << r[n];
            EXPECT_EQ(points.first[n], first[n]) << r[n];
        }
    });
}

TEST(ManyBodyKernelsTest, GridPointItselfTakesAllTheWeight) {
    const ManyBodyAxis axis{.numPoints = 4, .start = 2.0f, .step = 0.5f};
    test::onEachTarget([&] {
        const auto points = locate({2.5f}, axis);

        EXPECT_EQ(points.weights[0], 1.0f);
        EXPECT_EQ(points.weights[1], 0.0f);
        EXPECT_EQ(points.weights[2], 0.0f);
        EXPECT_EQ(points.weights[3], 0.0f);
    });
}

// A distance just below the end of the grid may fall on its end when the quotient is rounded, and nonsense
// may fall anywhere.
TEST(ManyBodyKernelsTest, PointsStayOnTheGrid) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> r{
        0.1f,  1.0f,  2.9999998f, 3.0f, 3.1f,      1.0e9f,   1.0e30f,
        -1.0f, -1e9f, -1e30f,     0.0f, -infinity, infinity, std::numeric_limits<float>::quiet_NaN()};
    constexpr float smallest = std::numeric_limits<float>::denorm_min();
    const std::vector<ManyBodyAxis> axes{
        {1, 0.0f, 3.0f},      {10, 0.0f, 0.3f}, {3, 0.0f, 1.0f},      {7, 2.9999998f, 3.4e-8f},
        {10, 1.0f, smallest}, {10, 1.0f, 0.0f}, {10, 1.0f, infinity}, {2147483647, 0.0f, 1.0e-9f}};
    test::onEachTarget([&] {
        for (const auto& axis : axes) {
            const auto points = locate(r, axis);

            for (std::size_t n = 0; n < r.size(); ++n) {
                SCOPED_TRACE(testing::Message() << r[n] << " on steps of " << axis.step);
                ASSERT_GE(points.count[n], 0);
                ASSERT_LE(points.count[n], 2);
                EXPECT_GE(points.first[n], 0);
                EXPECT_LE(points.first[n], axis.numPoints - std::max(points.count[n], 1));
            }
        }
    });
}

} // namespace
} // namespace melta
