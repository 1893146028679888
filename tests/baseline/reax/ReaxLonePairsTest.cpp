#include "baseline/reax/ReaxLonePairs.hpp"

#include "baseline/reax/ReaxParam.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

constexpr double a = ReaxParam::lpLower;
constexpr double b = ReaxParam::lpUpper;

double differentiate(double x) {
    constexpr double step = 1.0e-6;
    return (countLonePairs(x + step).value - countLonePairs(x - step).value) / (2.0 * step);
}

// T'(w) of the taper 1 - 35 u^4 + 84 u^5 - 70 u^6 + 20 u^7 with u = w / (b - a).
double taperSlope(double w) {
    const double u = w / (b - a);
    return (-140.0 * std::pow(u, 3) + 420.0 * std::pow(u, 4) - 420.0 * std::pow(u, 5) +
            140.0 * std::pow(u, 6)) /
           (b - a);
}

TEST(ReaxLonePairsTest, FlatZoneEndsAtTheTapers) {
    for (const double x : {-a, -1.0, 0.0, 1.0, std::nextafter(a, 0.0)}) {
        EXPECT_EQ(countLonePairs(x).value, 0.0) << x;
        EXPECT_EQ(countLonePairs(x).slope, 0.0) << x;
    }
    EXPECT_GT(countLonePairs(-a - 1.0e-3).value, 0.0);
    EXPECT_LT(countLonePairs(-a - 1.0e-3).slope, 0.0);
    EXPECT_NE(countLonePairs(a + 1.0e-3).value, 0.0);
    EXPECT_NE(countLonePairs(a + 1.0e-3).slope, 0.0);
    // The taper is exactly 0 where the upper zone begins.
    EXPECT_EQ(countLonePairs(a).value, 0.0);
}

TEST(ReaxLonePairsTest, CountFollowsTheTruncationInTheMiddleOfEachStep) {
    // Middle of a step: odd numbers, where sine vanishes.
    EXPECT_NEAR(countLonePairs(-3.0).value, 1.0, 1.0e-12);
    EXPECT_NEAR(countLonePairs(-5.0).value, 2.0, 1.0e-12);
    EXPECT_NEAR(countLonePairs(-7.0).value, 3.0, 1.0e-12);
    EXPECT_NEAR(countLonePairs(3.0).value, -1.0, 1.0e-12);
    EXPECT_NEAR(countLonePairs(5.0).value, -2.0, 1.0e-12);
    // Between two steps: the even numbers.
    EXPECT_NEAR(countLonePairs(-4.0).value, 1.5, 1.0e-12);
    EXPECT_NEAR(countLonePairs(-6.0).value, 2.5, 1.0e-12);
    EXPECT_NEAR(countLonePairs(4.0).value, -1.5, 1.0e-12);
}

TEST(ReaxLonePairsTest, FormulaByHand) {
    // c = 0.8, x = -3.5: cos(pi x) = 0, sin(-pi x) = -1, so that y = 1.75 - 0.5 - atan(0.8) / pi.
    EXPECT_NEAR(countLonePairs(-3.5).value, 1.25 - std::atan(0.8) / std::acos(-1.0), 1.0e-12);
    EXPECT_NEAR(countLonePairs(-3.5).slope, (0.64 - 1.0) / (2.0 * 0.64 + 2.0), 1.0e-12);
}

TEST(ReaxLonePairsTest, CountIsContinuousAtAllBorders) {
    for (const double border : {-b, -a, a, b}) {
        const double below = countLonePairs(border - 1.0e-9).value;
        const double above = countLonePairs(border + 1.0e-9).value;
        EXPECT_NEAR(below, above, 1.0e-7) << border;
    }
}

TEST(ReaxLonePairsTest, SlopeIsTheDerivativeOutsideTheUpperTaperZone) {
    for (const double x :
         {-7.3, -5.99, -4.01, -2.8, -2.31, -2.29, -2.0, -1.7, -1.51, -0.5, 1.49, 2.31, 3.1, 4.02}) {
        EXPECT_NEAR(countLonePairs(x).slope, differentiate(x), 1.0e-8) << x;
    }
}

TEST(ReaxLonePairsTest, SlopeInTheUpperTaperZoneExceedsTheDerivativeByThatOfTheTaper) {
    for (const double x : {1.55, 1.7, 1.9, 2.0, 2.1, 2.2}) {
        const double excess = countLonePairs(x).slope - differentiate(x);

        EXPECT_GT(std::fabs(excess), 1.0e-4) << x;
        EXPECT_NEAR(excess, taperSlope(b - x), 1.0e-8) << x;
    }
}

} // namespace
} // namespace melta
