#include "network/GradientDifference.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

TEST(GradientDifference, RefersToTheMeanOfBoth) {
    for (const float sign : {1.0f, -1.0f}) {
        const GradientDifference difference(sign * 0.75f, sign * 0.25f);

        EXPECT_EQ(difference.error, 0.5f);
        EXPECT_EQ(difference.percent, 100.0f);
    }
}

TEST(GradientDifference, AgainstZeroItIsTwiceTheMean) {
    EXPECT_EQ(GradientDifference(0.0f, 3.0e-5f).percent, 200.0f);
    EXPECT_EQ(GradientDifference(-3.0e-5f, 0.0f).percent, 200.0f);
}

TEST(GradientDifference, EqualOnesDifferByNothing) {
    EXPECT_EQ(GradientDifference(0.0f, 0.0f).error, 0.0f);
    EXPECT_EQ(GradientDifference(0.0f, 0.0f).percent, 0.0f);
    EXPECT_EQ(GradientDifference(-2.0f, -2.0f).percent, 0.0f);
}

// A small constant stands in for a mean of 0.
TEST(GradientDifference, OppositeOnesStayFinite) {
    const GradientDifference difference(1.0f, -1.0f);

    EXPECT_EQ(difference.error, 2.0f);
    EXPECT_EQ(difference.percent, 200.0f / 1.0e-16f);
}

TEST(GradientDifference, KeepsWhatIsNotANumber) {
    const GradientDifference difference(std::nanf(""), 1.0f);

    EXPECT_TRUE(std::isnan(difference.error));
    EXPECT_TRUE(std::isnan(difference.percent));
}

} // namespace
} // namespace melta
