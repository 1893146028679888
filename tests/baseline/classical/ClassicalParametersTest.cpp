#include "baseline/classical/ClassicalParameters.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace melta {
namespace {

TEST(ClassicalParameters, AddressesPairsByTheLargerElement) {
    EXPECT_EQ(numPairsOf(3), 6U);
    EXPECT_EQ(pairIndexOf(0, 0), 0U);
    EXPECT_EQ(pairIndexOf(0, 1), 1U);
    EXPECT_EQ(pairIndexOf(1, 0), 1U);
    EXPECT_EQ(pairIndexOf(1, 1), 2U);
    EXPECT_EQ(pairIndexOf(2, 0), 3U);
    EXPECT_EQ(pairIndexOf(1, 2), 4U);
}

TEST(ClassicalParameters, PutsOneElementIntoFiveVariables) {
    ClassicalParameters parameters(1);
    parameters.coefA = {9.0f};
    parameters.coefB = {-1.0f};
    parameters.coefC = {2.0f};
    parameters.coefD = {-3.0f};
    parameters.elemEnergy = {0.5f};

    std::vector<float> variables(numVariablesOf(1));
    packVariables(parameters, variables);

    EXPECT_EQ(variables, (std::vector<float>{3.0f, -1.0f, 2.0f, -3.0f, 0.5f}));
}

TEST(ClassicalParameters, OrdersVariablesByRowsOfElements) {
    ClassicalParameters parameters(2);
    parameters.coefA = {1.0f, 4.0f, -9.0f};
    parameters.coefB = {11.0f, 12.0f, 13.0f};
    parameters.coefC = {21.0f, 22.0f, 23.0f};
    parameters.coefD = {31.0f, 32.0f, 33.0f};
    parameters.elemEnergy = {41.0f, 42.0f};

    std::vector<float> variables(numVariablesOf(2));
    packVariables(parameters, variables);

    EXPECT_EQ(variables, (std::vector<float>{1, 11, 21, 31, 41, 2, 12, 22, 32, 0, 13, 23, 33, 42}));

    ClassicalParameters again(2);
    unpackVariables(variables, again);

    EXPECT_EQ(again.coefA, (std::vector<float>{1, 4, 0}));
    EXPECT_EQ(again.coefB, parameters.coefB);
    EXPECT_EQ(again.coefC, parameters.coefC);
    EXPECT_EQ(again.coefD, parameters.coefD);
    EXPECT_EQ(again.elemEnergy, parameters.elemEnergy);
}

TEST(ClassicalParameters, TakesTheSquareOfARootIntoItsGradient) {
    ClassicalGradients gradients(1);
    gradients.gradA = {5.0f};
    gradients.gradB = {6.0f};
    gradients.gradC = {7.0f};
    gradients.gradD = {8.0f};
    gradients.gradElem = {9.0f};

    std::vector<float> result(5);
    packGradients(gradients, std::vector<float>{3.0f, 0, 0, 0, 0}, result);

    EXPECT_EQ(result, (std::vector<float>{30, 6, 7, 8, 9}));
}

TEST(ClassicalParameters, FindsIllegalValuesInEachArray) {
    const auto arrays = {&ClassicalParameters::coefA, &ClassicalParameters::coefB,
                         &ClassicalParameters::coefC, &ClassicalParameters::coefD,
                         &ClassicalParameters::elemEnergy};
    for (const auto array : arrays) {
        for (const float value :
             {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
            ClassicalParameters parameters(2);
            EXPECT_TRUE(parameters.isFinite());

            (parameters.*array)[1] = value;

            EXPECT_FALSE(parameters.isFinite());
        }
    }
}

} // namespace
} // namespace melta
