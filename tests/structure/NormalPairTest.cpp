#include "structure/NormalPair.hpp"

#include "base/RandomSource.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace melta {
namespace {

constexpr int numPairs = 200000;

// Means of the powers 1 to 4 of both numbers, and of their product.
struct Moments {
    std::array<double, 4> first{};
    std::array<double, 4> second{};
    double product = 0.0;
};

Moments momentsOf(RandomSource& random) {
    Moments moments;
    for (int i = 0; i < numPairs; ++i) {
        const auto [first, second] = drawNormalPair(random);
        for (int power = 1; power <= 4; ++power) {
            const auto k = static_cast<std::size_t>(power - 1);
            moments.first[k] += std::pow(first, power) / numPairs;
            moments.second[k] += std::pow(second, power) / numPairs;
        }
        moments.product += first * second / numPairs;
    }
    return moments;
}

} // namespace

TEST(NormalPair, IsSineAndCosineOfTheSecondDrawWithTheRadiusOfTheFirst) {
    RandomSource random;
    RandomSource same;
    random.seed(7);
    same.seed(7);

    for (int i = 0; i < 1000; ++i) {
        const auto [first, second] = drawNormalPair(random);
        const double radius = std::sqrt(-2.0 * std::log((same.draw() + 1) / 32768.0));
        const double angle = 2.0 * std::numbers::pi * (same.draw() + 1) / 32768.0;
        EXPECT_NEAR(first, radius * std::sin(angle), 1e-13);
        EXPECT_NEAR(second, radius * std::cos(angle), 1e-13);
    }
    EXPECT_EQ(random.draw(), same.draw());
}

TEST(NormalPair, HasTheMomentsOfTheStandardNormalDistribution) {
    RandomSource random;
    random.seed(11);

    const Moments moments = momentsOf(random);

    // Five standard deviations of such means: 1, sqrt(2), sqrt(15), sqrt(96) over the root of the count.
    const double unit = 5.0 / std::sqrt(numPairs);
    for (const auto& powers : {moments.first, moments.second}) {
        EXPECT_LE(std::abs(powers[0]), unit);
        EXPECT_LE(std::abs(powers[1] - 1.0), unit * std::sqrt(2.0));
        EXPECT_LE(std::abs(powers[2]), unit * std::sqrt(15.0));
        EXPECT_LE(std::abs(powers[3] - 3.0), unit * std::sqrt(96.0));
    }
    EXPECT_LE(std::abs(moments.product), unit);
}

TEST(NormalPair, IsFiniteForAllDraws) {
    RandomSource random;
    random.seed(3);
    double largest = 0.0;

    // More than the source's numbers, so that each first draw occurs.
    for (int i = 0; i < 1000000; ++i) {
        const auto [first, second] = drawNormalPair(random);
        ASSERT_TRUE(std::isfinite(first) && std::isfinite(second));
        largest = std::max({largest, std::abs(first), std::abs(second)});
    }

    EXPECT_LE(largest, std::sqrt(2.0 * std::log(32768.0)));
    EXPECT_GE(largest, 4.0);
}

} // namespace melta
