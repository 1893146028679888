#include "training/GradientCheck.hpp"

#include "network/ParameterPacking.hpp"
#include "training/GradientTable.hpp"
#include "training/OptimizerFixture.hpp"

#include <cmath>

namespace melta {
namespace {

using test::GradientRow;
using test::outputOf;
using test::parametersOf;
using test::readGradientTable;
using test::stopMessageOf;

class Check : public test::OptimizerFixture {
protected:
    Check() : task(&state) {
        property.modelsEnergy = 1;
        property.layersEnergy = 1;
        prepare(3, false);
        state.arch->setGeometries(std::vector<int>{0, 1, 2});
    }

    std::string run(float shift) {
        return outputOf([&] { GradientCheck(&state, &task).run(shift); });
    }

    test::ScriptedTask task;
};

// Curvature of parameter i in a loss that is quadratic in each.
float curvatureOf(std::size_t i) {
    return 0.25f * static_cast<float>(i % 5);
}

TEST_F(Check, ShowsForwardDifferences) {
    task.lossOf = [](const std::vector<float>& x, std::vector<float>& gradient) {
        float loss = 0.0f;
        for (std::size_t i = 0; i < x.size(); ++i) {
            gradient[i] = curvatureOf(i) * x[i] - 1.0f;
            loss += (0.5f * curvatureOf(i) * x[i] - 1.0f) * x[i];
        }
        return loss;
    };
    for (const float shift : {0.5f, -0.5f}) {
        const std::vector<float> x = parametersOf(*state.arch);

        const std::vector<GradientRow> rows = readGradientTable(run(shift));

        ASSERT_EQ(rows.size(), x.size());
        for (std::size_t i = 0; i < x.size(); ++i) {
            const auto value = static_cast<double>(x[i]);
            const auto curvature = static_cast<double>(curvatureOf(i));
            const double slope = curvature * value - 1.0;
            EXPECT_LE(std::abs(rows[i].value - value), 1.0e-5) << i;
            EXPECT_LE(std::abs(rows[i].analytic - slope), 1.0e-5) << i;
            EXPECT_LE(std::abs(rows[i].numerical - (slope + 0.5 * curvature * static_cast<double>(shift))),
                      2.0e-5)
                << i;
        }
    }
}

TEST_F(Check, ShiftsOneParameterAtATime) {
    std::vector<std::vector<float>> visited;
    task.lossOf = [&](const std::vector<float>& x, std::vector<float>&) {
        visited.push_back(x);
        return 0.0f;
    };
    const std::vector<float> start = parametersOf(*state.arch);

    run(0.25f);

    ASSERT_EQ(visited.size(), start.size() + 1);
    EXPECT_EQ(visited[0], start);
    for (std::size_t i = 0; i < start.size(); ++i) {
        for (std::size_t k = 0; k < start.size(); ++k) {
            const float expected = start[k] + (k == i ? 0.25f : 0.0f);
            EXPECT_LE(std::abs(visited[i + 1][k] - expected), 1.0e-6f) << i << ", " << k;
        }
    }
}

TEST_F(Check, KeepsTheBatch) {
    run(0.25f);

    EXPECT_EQ(task.batches, std::vector(parametersOf(*state.arch).size() + 1, std::vector<int>{1, 2, 3}));
}

TEST_F(Check, ALossThatDoesNotMoveIsShownAsItIs) {
    task.lossOf = [](const std::vector<float>&, std::vector<float>& gradient) {
        gradient[0] = 0.5f;
        return 1.0f;
    };

    const std::string output = run(1.0e-4f);

    EXPECT_TRUE(
        output.starts_with("\n            Weight,Bias   dL/dWB(NNP)   dL/dWB(Num)   Error\n  #.    1  "))
        << output;
    EXPECT_NE(output.find("   5.00000e-01   0.00000e+00   5.00000e-01 (200.00%)\n  #.    2  "),
              std::string::npos)
        << output;
    EXPECT_NE(output.find("   0.00000e+00   0.00000e+00   0.00000e+00 (  0.00%)\n"), std::string::npos)
        << output;
}

TEST_F(Check, RefusesANetworkWithoutParameters) {
    state.arch = std::make_unique<NNArch>(NNArch::onlyEnergy, 1, &property, true, false);

    EXPECT_EQ(stopMessageOf([&] { run(0.25f); }), "total data length is not positive.");
    EXPECT_EQ(task.numEvaluations, 0);
}

TEST(GradientRowText, HasColumnsOfFixedWidth) {
    EXPECT_EQ(gradientRow(1, -0.5f, 0.25f, 0.125f),
              "  #.    1  -5.00000e-01   2.50000e-01   1.25000e-01   1.25000e-01 ( 66.67%)");
    EXPECT_EQ(gradientRow(12345, 1234.5f, -2.0f, -2.0078125f),
              "  #.12345   1.23450e+03  -2.00000e+00  -2.00781e+00   7.81250e-03 (  0.39%)");
}

TEST(GradientRowText, TwoZerosDifferByNothing) {
    EXPECT_EQ(gradientRow(7, 0.0f, 0.0f, 0.0f),
              "  #.    7   0.00000e+00   0.00000e+00   0.00000e+00   0.00000e+00 (  0.00%)");
}

TEST(GradientRowText, OneZeroIsTwoHundredPercent) {
    EXPECT_EQ(gradientRow(7, 1.0f, 0.0f, 1.0e-3f),
              "  #.    7   1.00000e+00   0.00000e+00   1.00000e-03   1.00000e-03 (200.00%)");
}

TEST(GradientRowText, GrowsForANumberThatIsTooWide) {
    EXPECT_EQ(gradientRow(123456, 1.0f, 1.0f, -0.99609375f),
              "  #.123456   1.00000e+00   1.00000e+00  -9.96094e-01   1.99609e+00 (102200.00%)");
}

} // namespace
} // namespace melta
