#include <gtest/gtest.h>
#include <lbfgs.h>

#include <cmath>
#include <memory>
#include <span>

namespace melta {
namespace {

static_assert(sizeof(lbfgsfloatval_t) == sizeof(float));

// Not a multiple of any vector width.
constexpr int numVariables = 37;

float minimumAt(int index) {
    return 0.5f * static_cast<float>(index) - 3.0f;
}

// Sum of w_i (x_i - m_i)^2 / 2 with w_i = 1 + i.
float evaluateQuadratic(void* /*instance*/, const float* x, float* gradient, int count, float /*step*/) {
    double value = 0.0;
    for (int i = 0; i < count; ++i) {
        const float weight = static_cast<float>(1 + i);
        const float distance = x[i] - minimumAt(i);
        value += 0.5 * static_cast<double>(weight * distance * distance);
        gradient[i] = weight * distance;
    }
    return static_cast<float>(value);
}

float evaluateConstant(void* /*instance*/, const float* /*x*/, float* gradient, int count, float /*step*/) {
    for (int i = 0; i < count; ++i) {
        gradient[i] = 0.0f;
    }
    return 1.0f;
}

struct Release {
    void operator()(float* data) const { lbfgs_free(data); }
};

class SinglePrecisionLbfgsTest : public testing::TestWithParam<int> {
protected:
    SinglePrecisionLbfgsTest() : owner(lbfgs_malloc(numVariables)), variables(owner.get(), numVariables) {
        lbfgs_parameter_init(&parameters);
        parameters.linesearch = GetParam();
        for (float& variable : variables) {
            variable = -1.0f;
        }
    }

    int minimize(lbfgs_evaluate_t evaluate) {
        return lbfgs(numVariables, variables.data(), nullptr, evaluate, nullptr, nullptr, &parameters);
    }

    std::unique_ptr<float, Release> owner;
    std::span<float> variables;
    lbfgs_parameter_t parameters;
};

TEST_P(SinglePrecisionLbfgsTest, FindsTheMinimumOfAQuadratic) {
    const int status = minimize(evaluateQuadratic);

    EXPECT_EQ(status, LBFGS_SUCCESS);
    for (int i = 0; i < numVariables; ++i) {
        EXPECT_LE(std::fabs(variables[static_cast<std::size_t>(i)] - minimumAt(i)), 1e-3f)
            << "variable " << i;
    }
}

TEST_P(SinglePrecisionLbfgsTest, TakesAVanishingGradientForAMinimum) {
    const int status = minimize(evaluateConstant);

    EXPECT_EQ(status, LBFGS_ALREADY_MINIMIZED);
}

INSTANTIATE_TEST_SUITE_P(LineSearches, SinglePrecisionLbfgsTest,
                         testing::Values(LBFGS_LINESEARCH_MORETHUENTE, LBFGS_LINESEARCH_BACKTRACKING_ARMIJO,
                                         LBFGS_LINESEARCH_BACKTRACKING_WOLFE,
                                         LBFGS_LINESEARCH_BACKTRACKING_STRONG_WOLFE));

} // namespace
} // namespace melta
