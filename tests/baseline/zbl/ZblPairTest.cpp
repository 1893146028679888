#include "baseline/zbl/ZblPair.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

namespace melta {
namespace {

// The published formula, term by term.
double bareEnergy(double z1, double z2, double r) {
    const double a = 0.46850 / (std::pow(z1, 0.23) + std::pow(z2, 0.23));
    const double x = r / a;
    const double phi = 0.18175 * std::exp(-3.19980 * x) + 0.50986 * std::exp(-0.94229 * x) +
                       0.28022 * std::exp(-0.40290 * x) + 0.02817 * std::exp(-0.20162 * x);
    return z1 * z2 * 14.399644 / r * phi;
}

void expectNear(double value, double expected, double tolerance) {
    EXPECT_LE(std::fabs(value - expected), tolerance * (1.0 + std::fabs(expected)))
        << value << " instead of " << expected;
}

TEST(ZblPairTest, IsThePublishedRepulsionUpToTheInnerRadius) {
    for (const auto& [z1, z2] : {std::pair(14, 14), std::pair(1, 8), std::pair(92, 1), std::pair(1, 1)}) {
        const ZblPair pair = makeZblPair(z1, z2, 1.5, 2.0);
        for (const double r : {0.1, 0.35, 0.5, 1.0, 1.5}) {
            expectNear(evaluateZbl(pair, r).energy, bareEnergy(z1, z2, r), 1.0e-7);
        }
    }
    // Worked out apart from this program.
    expectNear(evaluateZbl(makeZblPair(14, 14, 1.5, 2.0), 1.0).energy, 50.9743585, 1.0e-7);
    expectNear(evaluateZbl(makeZblPair(1, 1, 1.5, 2.0), 0.5).energy, 5.91316112, 1.0e-7);
}

TEST(ZblPairTest, FallsToZeroAtTheOuterRadius) {
    const ZblPair pair = makeZblPair(14, 8, 1.2, 1.8);

    const double half = evaluateZbl(pair, 1.5).energy;

    expectNear(half, 0.5 * bareEnergy(14, 8, 1.5), 1.0e-7);
    for (const double r : {1.8, 1.9, 100.0}) {
        EXPECT_EQ(evaluateZbl(pair, r).energy, 0.0);
        EXPECT_EQ(evaluateZbl(pair, r).slope, 0.0);
    }
}

TEST(ZblPairTest, RepelsAtAllDistances) {
    const ZblPair pair = makeZblPair(14, 8, 1.2, 1.8);

    for (int i = 1; i < 180; ++i) {
        EXPECT_LT(evaluateZbl(pair, 0.01 * i).slope, 0.0) << i;
    }
}

TEST(ZblPairTest, SlopeIsTheDerivative) {
    constexpr double step = 1.0e-5;
    for (const double inner : {0.0, 1.2}) {
        const ZblPair pair = makeZblPair(14, 8, inner, 1.8);
        for (const double r : {0.3, 0.9, 1.3, 1.55, 1.75}) {
            const double difference =
                (evaluateZbl(pair, r + step).energy - evaluateZbl(pair, r - step).energy) / (2.0 * step);

            expectNear(evaluateZbl(pair, r).slope, difference, 1.0e-7);
        }
    }
}

TEST(ZblPairTest, HasTwoContinuousDerivativesWhereTheSwitchBeginsAndEnds) {
    const ZblPair pair = makeZblPair(14, 8, 1.2, 1.8);
    constexpr double step = 1.0e-5;
    const auto curvature = [&](double r) {
        return (evaluateZbl(pair, r + step).slope - evaluateZbl(pair, r - step).slope) / (2.0 * step);
    };
    for (const double radius : {1.2, 1.8}) {
        const ZblValue below = evaluateZbl(pair, radius - step);
        const ZblValue above = evaluateZbl(pair, radius + step);

        // Over twice the step each changes by its derivative, of up to about 1000 in these units.
        EXPECT_LE(std::fabs(above.energy - below.energy), 2.0e-2);
        EXPECT_LE(std::fabs(above.slope - below.slope), 2.0e-2);
        EXPECT_LE(std::fabs(curvature(radius + 2.0 * step) - curvature(radius - 2.0 * step)), 0.3);
    }
    // A switch with only one continuous derivative would jump by tens.
    EXPECT_GE(std::fabs(curvature(1.3) - curvature(1.2)), 10.0);
}

} // namespace
} // namespace melta
