#include "config/LbfgsSetup.hpp"

#include "config/Property.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace melta {
namespace {

using test::stopMessageOf;

TEST(LbfgsSetup, TakesTheSettingsOfTheRun) {
    Property property;
    property.lbfgs = 12;
    property.lineSteps = 7;

    const lbfgs_parameter_t parameters = makeLbfgsParameters(property, 1.0e-6f);

    EXPECT_EQ(parameters.m, 12);
    EXPECT_EQ(parameters.epsilon, 1.0e-6f);
    EXPECT_EQ(parameters.max_linesearch, 7);
    EXPECT_EQ(parameters.min_step, 1.0e-10f);
    EXPECT_EQ(parameters.max_step, 1.0e+10f);
    EXPECT_EQ(parameters.xtol, 1.0e-7f);
    EXPECT_EQ(parameters.max_iterations, 0);
    EXPECT_EQ(parameters.past, 0);
}

TEST(LbfgsSetup, KeepsTheHistoryWithinReason) {
    Property property;
    property.lbfgs = 0;
    EXPECT_EQ(makeLbfgsParameters(property, 1.0f).m, 32);

    property.lbfgs = 1000000000;
    property.epochs = 40;
    EXPECT_EQ(makeLbfgsParameters(property, 1.0f).m, 40);
}

TEST(LbfgsSetup, KnowsEachLineSearch) {
    const auto searchOf = [](int lineSearch) {
        Property property;
        property.lineSearch = lineSearch;
        return makeLbfgsParameters(property, 1.0f).linesearch;
    };

    EXPECT_EQ(searchOf(LineSearch::moreThuente), LBFGS_LINESEARCH_MORETHUENTE);
    EXPECT_EQ(searchOf(LineSearch::armijo), LBFGS_LINESEARCH_BACKTRACKING_ARMIJO);
    EXPECT_EQ(searchOf(LineSearch::wolfe), LBFGS_LINESEARCH_BACKTRACKING_WOLFE);
    EXPECT_EQ(searchOf(LineSearch::strongWolfe), LBFGS_LINESEARCH_BACKTRACKING_STRONG_WOLFE);
}

TEST(LbfgsSetup, RefusesLengthsThatTheLibraryCannotHave) {
    const std::size_t tooMany = static_cast<std::size_t>(std::numeric_limits<int>::max()) + 1;

    EXPECT_EQ(stopMessageOf([] { allocateLbfgsVector(0); }), "data length of L-BFGS is not positive.");
    EXPECT_EQ(stopMessageOf([&] { allocateLbfgsVector(tooMany); }), "data length of L-BFGS is not positive.");
    EXPECT_EQ(stopMessageOf([] { EXPECT_NE(allocateLbfgsVector(5), nullptr); }), "(no stop)");
}

TEST(LbfgsSetup, StopsWithoutMemory) {
    EXPECT_EQ(stopMessageOf([] { requireLbfgsMemory(LBFGSERR_OUTOFMEMORY); }),
              "cannot allocate data of L-BFGS.");
    EXPECT_EQ(stopMessageOf([] { requireLbfgsMemory(LBFGSERR_MAXIMUMLINESEARCH); }), "(no stop)");
}

} // namespace
} // namespace melta
