#include "network/NNLayerKernels.hpp"

#include "config/Codes.hpp"
#include "network/NetworkTwin.hpp"
#include "network/Numbers.hpp"
#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <array>

namespace melta {
namespace {

using test::activateTwin;
using test::ActivationTwin;
using test::onEachTarget;
using test::randomFloats;
using test::worstError;

constexpr std::array<int, 6> allActivations{1, 2, 3, 4, 5, 6};

// Awkward sizes: below, at and beside whole vectors of every width.
constexpr std::array<std::size_t, 8> someSizes{1, 3, 4, 7, 16, 17, 33, 101};

// Dense around zero, up to far beyond where every activation has settled.
std::vector<float> argumentsOfActivations() {
    std::vector<float> x{0.0f,    -0.0f,    49.0f,    -49.0f,    50.0f,    -50.0f,   50.00001f, -50.00001f,
                         51.0f,   -51.0f,   87.0f,    -87.0f,    100.0f,   -100.0f,  1.0e4f,    -1.0e4f,
                         1.0e-7f, -1.0e-7f, 1.0e-20f, -1.0e-20f, 1.0e-38f, -1.0e-38f};
    for (int i = -6000; i <= 6000; ++i) {
        x.push_back(static_cast<float>(i) * 0.01003f);
    }
    return x;
}

struct Activated {
    std::vector<float> value;
    std::vector<float> drv1;
    std::vector<float> drv2;
};

Activated activate(int activation, const std::vector<float>& x) {
    const std::vector<float> bias(x.size(), 0.0f);
    Activated result{std::vector<float>(x.size()), std::vector<float>(x.size()),
                     std::vector<float>(x.size())};
    kernels::activate(activation, 1, x.size(), x.data(), bias.data(), result.value.data(), result.drv1.data(),
                      result.drv2.data());
    return result;
}

// |got - want| in units of 1 + |want|.
double errorOf(float got, double want) {
    return std::abs(static_cast<double>(got) - want) / (1.0 + std::abs(want));
}

TEST(ActivationTwin, HasTheDerivativesOfItsValues) {
    constexpr double step = 1.0e-5;
    for (const int activation : allActivations) {
        for (double x = -8.0; x < 8.0; x += 0.37) {
            const ActivationTwin here = activateTwin(activation, x);
            const ActivationTwin above = activateTwin(activation, x + step);
            const ActivationTwin below = activateTwin(activation, x - step);

            EXPECT_LE(std::abs((above.value - below.value) / (2.0 * step) - here.drv1), 1.0e-9)
                << activation << " at " << x;
            EXPECT_LE(std::abs((above.drv1 - below.drv1) / (2.0 * step) - here.drv2), 1.0e-9)
                << activation << " at " << x;
        }
    }
}

TEST(NNLayerKernels, ActivatesLikeTheTwin) {
    const std::vector<float> x = argumentsOfActivations();
    onEachTarget([&] {
        for (const int activation : allActivations) {
            const Activated got = activate(activation, x);

            double worst = 0.0;
            for (std::size_t i = 0; i < x.size(); ++i) {
                const ActivationTwin want = activateTwin(activation, static_cast<double>(x[i]));
                for (const double error : {errorOf(got.value[i], want.value), errorOf(got.drv1[i], want.drv1),
                                           errorOf(got.drv2[i], want.drv2)}) {
                    ASSERT_LE(error, 4.0e-7) << "activation " << activation << " at " << x[i];
                    worst = std::max(worst, error);
                }
            }
            EXPECT_GT(worst, activation == Activation::asis ? -1.0 : 0.0);
        }
    });
}

// Small arguments must not lose their digits: tanh(x), exp(x) - 1 and x c(x) are about x there.
TEST(NNLayerKernels, KeepsTheDigitsOfSmallArguments) {
    std::vector<float> x;
    for (float value = 1.0e-3f; value > 1.0e-12f; value *= 0.37f) {
        x.insert(x.end(), {value, -value});
    }
    onEachTarget([&] {
        for (const int activation :
             {Activation::tanh, Activation::twtanh, Activation::eLU, Activation::GELU}) {
            const Activated got = activate(activation, x);

            for (std::size_t i = 0; i < x.size(); ++i) {
                const double want = activateTwin(activation, static_cast<double>(x[i])).value;
                EXPECT_LE(std::abs(static_cast<double>(got.value[i]) / want - 1.0), 1.0e-6)
                    << activation << " at " << x[i];
            }
        }
    });
}

TEST(NNLayerKernels, SumsOutputs) {
    constexpr std::size_t numRows = 5;
    constexpr std::size_t numModels = 3;
    const std::vector<float> bias = randomFloats(numModels, 7);
    onEachTarget([&] {
        for (const std::size_t numNodes : someSizes) {
            const std::vector<float> rows = randomFloats(numRows * numModels * numNodes, 8);
            const std::vector<float> weights = randomFloats(numModels * numNodes, 9);
            std::vector<float> out(numRows * numModels);

            kernels::sumOutputs(numRows, numModels, numNodes, rows.data(), weights.data(), bias.data(),
                                out.data());

            for (std::size_t i = 0; i < out.size(); ++i) {
                const std::size_t m = i % numModels;
                auto want = static_cast<double>(bias[m]);
                double scale = std::abs(want);
                for (std::size_t o = 0; o < numNodes; ++o) {
                    const double term = static_cast<double>(rows[i * numNodes + o]) *
                                        static_cast<double>(weights[m * numNodes + o]);
                    want += term;
                    scale += std::abs(term);
                }
                EXPECT_LE(std::abs(static_cast<double>(out[i]) - want), 3.0e-7 * scale)
                    << numNodes << " nodes, " << i;
            }
        }
    });
}

TEST(NNLayerKernels, SettlesExactlyBeyondTheLimitsOfTheSigmoid) {
    onEachTarget([] {
        const Activated got =
            activate(Activation::sigmoid, {51.0f, -51.0f, 1.0e30f, -1.0e30f, 49.0f, -49.0f});

        EXPECT_EQ(got.value[0], 1.0f);
        EXPECT_EQ(got.value[1], 0.0f);
        EXPECT_EQ(got.value[2], 1.0f);
        EXPECT_EQ(got.value[3], 0.0f);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(got.drv1[i], 0.0f);
            EXPECT_EQ(got.drv2[i], 0.0f);
        }
        EXPECT_GT(got.value[5], 0.0f);
        EXPECT_LE(std::abs(static_cast<double>(got.drv1[5]) / std::exp(-49.0) - 1.0), 1.0e-5);
    });
}

TEST(NNLayerKernels, KeepsNaN) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    onEachTarget([&] {
        for (const int activation : allActivations) {
            const Activated got = activate(activation, std::vector<float>(17, nan));

            for (const float value : got.value) {
                EXPECT_TRUE(std::isnan(value)) << activation;
            }
        }
    });
}

TEST(NNLayerKernels, AddsTheBiasOfEachNode) {
    onEachTarget([] {
        for (const std::size_t rowLength : someSizes) {
            constexpr std::size_t numRows = 3;
            std::vector<float> values = randomFloats(numRows * rowLength, 1);
            const std::vector<float> bias = randomFloats(rowLength, 2);
            std::vector<double> want;
            for (std::size_t k = 0; k < values.size(); ++k) {
                const float x = values[k] + bias[k % rowLength];
                want.push_back(activateTwin(Activation::tanh, static_cast<double>(x)).value);
            }

            // In place, and values alone.
            kernels::activate(Activation::tanh, numRows, rowLength, values.data(), bias.data(), values.data(),
                              nullptr, nullptr);

            EXPECT_LE(worstError(values, want), 3.0e-7) << rowLength;
        }
    });
}

TEST(NNLayerKernels, GivesTheSameValuesWithAndWithoutDerivatives) {
    const std::vector<float> x = randomFloats(101, 3, -4.0f, 4.0f);
    const std::vector<float> bias(x.size(), 0.0f);
    for (const int activation : allActivations) {
        std::vector<float> alone(x.size());

        kernels::activate(activation, 1, x.size(), x.data(), bias.data(), alone.data(), nullptr, nullptr);

        EXPECT_EQ(alone, activate(activation, x).value) << activation;
    }
}

TEST(NNLayerKernels, LeavesArraysAloneForAnUnknownActivation) {
    const std::vector<float> x = randomFloats(5, 4);
    for (const int activation : {0, 7, -1}) {
        std::vector<float> out(5, 3.5f);

        kernels::activate(activation, 1, 5, x.data(), x.data(), out.data(), out.data(), out.data());

        EXPECT_EQ(out, std::vector<float>(5, 3.5f));
    }
}

TEST(NNLayerKernels, SeedsTheGradientWithTheOutputWeights) {
    onEachTarget([] {
        for (const std::size_t rowLength : someSizes) {
            constexpr std::size_t numRows = 3;
            const std::vector<float> weights = randomFloats(rowLength, 5);
            const std::vector<float> drv1 = randomFloats(numRows * rowLength, 6);
            std::vector<float> drv2 = randomFloats(numRows * rowLength, 7);
            std::vector<float> grad(numRows * rowLength);
            std::vector<double> wantGrad;
            std::vector<double> wantDrv2;
            for (std::size_t k = 0; k < grad.size(); ++k) {
                const auto w = static_cast<double>(weights[k % rowLength]);
                wantGrad.push_back(w * static_cast<double>(drv1[k]));
                wantDrv2.push_back(w * static_cast<double>(drv2[k]));
            }

            kernels::seedGradient(numRows, rowLength, weights.data(), drv1.data(), drv2.data(), grad.data());

            EXPECT_LE(worstError(grad, wantGrad), 1.0e-7);
            EXPECT_LE(worstError(drv2, wantDrv2), 1.0e-7);
        }
    });
}

TEST(NNLayerKernels, PassesTheGradientThroughTheActivation) {
    onEachTarget([] {
        for (const std::size_t size : someSizes) {
            const std::vector<float> drv1 = randomFloats(size, 8);
            std::vector<float> drv2 = randomFloats(size, 9);
            std::vector<float> grad = randomFloats(size, 10);
            std::vector<double> wantGrad;
            std::vector<double> wantDrv2;
            for (std::size_t k = 0; k < size; ++k) {
                wantGrad.push_back(static_cast<double>(grad[k]) * static_cast<double>(drv1[k]));
                wantDrv2.push_back(static_cast<double>(grad[k]) * static_cast<double>(drv2[k]));
            }

            kernels::passGradient(size, drv1.data(), drv2.data(), grad.data());

            EXPECT_LE(worstError(grad, wantGrad), 1.0e-7);
            EXPECT_LE(worstError(drv2, wantDrv2), 1.0e-7);
        }
    });
}

TEST(NNLayerKernels, PassesTheTangentThroughTheActivation) {
    onEachTarget([] {
        for (const std::size_t size : someSizes) {
            const std::vector<float> drv1 = randomFloats(size, 11);
            const std::vector<float> gradDrv2 = randomFloats(size, 12);
            std::vector<float> tangent = randomFloats(size, 13);
            std::vector<float> alone = tangent;
            std::vector<float> adjoint(size);
            std::vector<double> wantTangent;
            std::vector<double> wantAdjoint;
            for (std::size_t k = 0; k < size; ++k) {
                wantTangent.push_back(static_cast<double>(tangent[k]) * static_cast<double>(drv1[k]));
                wantAdjoint.push_back(static_cast<double>(tangent[k]) * static_cast<double>(gradDrv2[k]));
            }

            kernels::passTangent(size, drv1.data(), gradDrv2.data(), tangent.data(), adjoint.data());
            kernels::passTangent(size, drv1.data(), gradDrv2.data(), alone.data(), nullptr);

            EXPECT_LE(worstError(tangent, wantTangent), 1.0e-7);
            EXPECT_LE(worstError(adjoint, wantAdjoint), 1.0e-7);
            EXPECT_EQ(alone, tangent);
        }
    });
}

TEST(NNLayerKernels, AddsScaled) {
    onEachTarget([] {
        for (const std::size_t size : someSizes) {
            const std::vector<float> back = randomFloats(size, 14);
            const std::vector<float> drv1 = randomFloats(size, 15);
            std::vector<float> adjoint = randomFloats(size, 16);
            std::vector<double> want;
            for (std::size_t k = 0; k < size; ++k) {
                want.push_back(static_cast<double>(adjoint[k]) +
                               static_cast<double>(back[k]) * static_cast<double>(drv1[k]));
            }

            kernels::addScaled(size, back.data(), drv1.data(), adjoint.data());

            EXPECT_LE(worstError(adjoint, want), 2.0e-7);
        }
    });
}

TEST(NNLayerKernels, ScalesTheNodesOfEachModel) {
    constexpr std::size_t numRows = 3;
    constexpr std::size_t numModels = 5;
    onEachTarget([] {
        for (const std::size_t numNodes : someSizes) {
            const std::vector<float> factors = randomFloats(numRows * numModels, 17);
            const std::vector<float> grad = randomFloats(numRows * numModels * numNodes, 18);
            std::vector<float> added = randomFloats(grad.size(), 19);
            std::vector<float> replaced(grad.size(), std::numeric_limits<float>::quiet_NaN());
            std::vector<double> wantAdded;
            std::vector<double> wantReplaced;
            for (std::size_t k = 0; k < grad.size(); ++k) {
                wantReplaced.push_back(static_cast<double>(factors[k / numNodes]) *
                                       static_cast<double>(grad[k]));
                wantAdded.push_back(static_cast<double>(added[k]) + wantReplaced.back());
            }

            kernels::scaleNodes(numRows, numModels, numNodes, factors.data(), grad.data(), added.data(),
                                true);
            kernels::scaleNodes(numRows, numModels, numNodes, factors.data(), grad.data(), replaced.data(),
                                false);

            EXPECT_LE(worstError(added, wantAdded), 2.0e-7);
            EXPECT_LE(worstError(replaced, wantReplaced), 1.0e-7);
        }
    });
}

TEST(NNLayerKernels, AddsColumnSums) {
    onEachTarget([] {
        for (const std::size_t rowLength : someSizes) {
            for (const std::size_t numRows : {std::size_t{0}, std::size_t{1}, std::size_t{33}}) {
                const std::vector<float> rows = randomFloats(numRows * rowLength, 20);
                std::vector<float> sums = randomFloats(rowLength, 21);
                std::vector<double> want = test::toDouble(sums);
                for (std::size_t k = 0; k < rows.size(); ++k) {
                    want[k % rowLength] += static_cast<double>(rows[k]);
                }

                kernels::addColumnSums(numRows, rowLength, rows.data(), sums.data());

                EXPECT_LE(worstError(sums, want), 1.0e-6);
            }
        }
    });
}

TEST(NNLayerKernels, AddsWeightedColumnSums) {
    constexpr std::size_t numModels = 3;
    onEachTarget([] {
        for (const std::size_t numNodes : someSizes) {
            for (const std::size_t numRows : {std::size_t{1}, std::size_t{33}}) {
                const std::vector<float> factors = randomFloats(numRows * numModels, 22);
                const std::vector<float> rows = randomFloats(numRows * numModels * numNodes, 23);
                std::vector<float> sums = randomFloats(numModels * numNodes, 24);
                std::vector<double> want = test::toDouble(sums);
                for (std::size_t k = 0; k < rows.size(); ++k) {
                    want[k % sums.size()] +=
                        static_cast<double>(factors[k / numNodes]) * static_cast<double>(rows[k]);
                }

                kernels::addWeightedColumnSums(numRows, numModels, numNodes, factors.data(), rows.data(),
                                               sums.data());

                EXPECT_LE(worstError(sums, want), 1.0e-6);
            }
        }
    });
}

// One step of the published algorithm, in double precision.
void updateTwin(const kernels::AdamStep& step, double g, double& m, double& v, double& value) {
    const auto beta1 = static_cast<double>(step.beta1);
    const auto beta2 = static_cast<double>(step.beta2);
    m = beta1 * m + (1.0 - beta1) * g;
    v = beta2 * v + (1.0 - beta2) * g * g;
    const double mean = m / static_cast<double>(step.correction1);
    const double variance = v / static_cast<double>(step.correction2);
    value -= static_cast<double>(step.alpha) * mean / (std::sqrt(variance) + 1.0e-8);
}

TEST(NNLayerKernels, UpdatesByAdam) {
    constexpr kernels::AdamStep step{0.01f, 0.9f, 0.999f, 0.19f, 0.002f};
    onEachTarget([&] {
        for (const std::size_t size : someSizes) {
            const std::vector<float> grad = randomFloats(size, 25);
            std::vector<float> moment1 = randomFloats(size, 26);
            std::vector<float> moment2 = randomFloats(size, 27, 0.0f, 1.0f);
            std::vector<float> value = randomFloats(size, 28);
            std::vector<double> want1 = test::toDouble(moment1);
            std::vector<double> want2 = test::toDouble(moment2);
            std::vector<double> wantValue = test::toDouble(value);
            for (std::size_t k = 0; k < size; ++k) {
                updateTwin(step, static_cast<double>(grad[k]), want1[k], want2[k], wantValue[k]);
            }

            kernels::updateByAdam(size, step, grad.data(), moment1.data(), moment2.data(), value.data());

            EXPECT_LE(worstError(moment1, want1), 3.0e-7);
            EXPECT_LE(worstError(moment2, want2), 3.0e-7);
            EXPECT_LE(worstError(value, wantValue), 3.0e-7);
        }
    });
}

TEST(NNLayerKernels, AdamStandsStillWithoutGradient) {
    const std::vector<float> zeros(5, 0.0f);
    std::vector<float> moment1(5, 0.0f);
    std::vector<float> moment2(5, 0.0f);
    std::vector<float> value(5, 1.25f);

    kernels::updateByAdam(5, {0.1f, 0.9f, 0.999f, 0.1f, 0.001f}, zeros.data(), moment1.data(), moment2.data(),
                          value.data());

    EXPECT_EQ(value, std::vector<float>(5, 1.25f));
}

// A fused multiply-add keeps the last bits of x x - (x x rounded), a separate one loses them.
float bitsKept() {
    constexpr float x = 1.0f + 0x1p-12f;
    const std::vector<float> back(16, x);
    std::vector<float> adjoint(16, -(1.0f + 0x1p-11f));
    kernels::addScaled(adjoint.size(), back.data(), back.data(), adjoint.data());
    return adjoint.front();
}

TEST(NNLayerKernels, RunTheForcedInstructionSet) {
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        const test::ForcedTarget forced(target);
#if HWY_ARCH_X86
        const bool isFused = target <= HWY_AVX2;
#else
        const bool isFused = target != HWY_EMU128 && target != HWY_SCALAR;
#endif

        EXPECT_EQ(bitsKept(), isFused ? 0x1p-24f : 0.0f);
    }
}

} // namespace
} // namespace melta
