#include "baseline/classical/ClassicalPenalty.hpp"

#include "baseline/classical/ClassicalTwin.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

constexpr float rc = 5.0f;
constexpr float lower = -50.0f;

void expectNear(float value, double expected, double relative) {
    EXPECT_LE(std::fabs(static_cast<double>(value) - expected), relative * std::fabs(expected))
        << value << " " << expected;
}

ClassicalParameters attractive() {
    ClassicalParameters parameters(2);
    parameters.coefA = {0.01f, 1000.0f, 0.0f};
    parameters.coefB = {-0.5f, 0.0f, 2.0f};
    parameters.coefC = {-3.0f, 0.0f, -40.0f};
    parameters.coefD = {-20.0f, -1.0f, -1.0f};
    return parameters;
}

TEST(ClassicalPenalty, FollowsItsFormula) {
    const ClassicalParameters parameters = attractive();
    double penalty = 0.0;
    double pulls[3][numPowers] = {};
    for (int k = 1; k <= 1000; ++k) {
        const double r = static_cast<double>(static_cast<float>(k) * 0.01f);
        for (std::size_t p = 0; p < 3 && r < static_cast<double>(rc); ++p) {
            double depth = -static_cast<double>(lower);
            for (std::size_t n = 0; n < numPowers; ++n) {
                depth += static_cast<double>(parameters.coefsOf(p)[n]) *
                         test::baseValue(static_cast<double>(pairPowers[n]), r, static_cast<double>(rc));
            }
            for (std::size_t n = 0; depth < 0.0 && n < numPowers; ++n) {
                pulls[p][n] += 2.0 * depth * std::pow(r, static_cast<double>(pairPowers[n])) / 1000.0;
            }
            penalty += depth < 0.0 ? depth * depth / 1000.0 : 0.0;
        }
    }
    ClassicalGradients gradients(2);
    ClassicalPenalty term(PairCutoff(rc), lower);

    term.addLowerPenalty(parameters, gradients);

    EXPECT_GT(penalty, 1.0);
    expectNear(term.penalty, penalty, 1.0e-4);
    for (const std::size_t p : {0U, 2U}) {
        EXPECT_LT(pulls[p][0], 0.0);
        expectNear(gradients.gradA[p], pulls[p][0], 1.0e-3);
        expectNear(gradients.gradB[p], pulls[p][1], 1.0e-3);
        expectNear(gradients.gradC[p], pulls[p][2], 1.0e-3);
        expectNear(gradients.gradD[p], pulls[p][3], 1.0e-3);
    }
    EXPECT_EQ(gradients.gradA[1], 0.0f);
}

TEST(ClassicalPenalty, AddsToTheGradients) {
    const ClassicalParameters parameters = attractive();
    ClassicalPenalty term(PairCutoff(rc), lower);
    ClassicalGradients alone(2);
    term.addLowerPenalty(parameters, alone);
    ClassicalGradients added(2);
    added.gradD[0] = 64.0f;
    added.gradElem[1] = 3.0f;

    term.addLowerPenalty(parameters, added);

    EXPECT_EQ(added.gradD[0], 64.0f + alone.gradD[0]);
    EXPECT_EQ(added.gradElem[1], 3.0f);
}

TEST(ClassicalPenalty, IsZeroAboveTheFloorAndWithoutARange) {
    ClassicalParameters parameters = attractive();
    ClassicalGradients gradients(2);
    ClassicalPenalty withoutRange(PairCutoff(0.0f), lower);
    withoutRange.addLowerPenalty(parameters, gradients);
    EXPECT_EQ(withoutRange.penalty, 0.0f);

    parameters.reset(10000.0f);
    ClassicalPenalty term(PairCutoff(rc), lower);
    term.addLowerPenalty(parameters, gradients);

    EXPECT_EQ(term.penalty, 0.0f);
    EXPECT_EQ(gradients.gradA, std::vector<float>(3));
}

} // namespace
} // namespace melta
