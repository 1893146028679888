#include "network/NNLayer.hpp"

#include "base/LineReader.hpp"
#include "base/RandomSource.hpp"
#include "config/Codes.hpp"
#include "network/NetworkTwin.hpp"
#include "network/Numbers.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <string>

namespace melta {
namespace {

using test::randomFloats;
using test::stopMessageOf;
using test::worstError;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

NNLayer makeLayer(int numModels, int numInp, int numOut, int activation = Activation::tanh,
                  bool useAdam = true) {
    NNLayer layer(numModels, numInp, numOut, activation, true, useAdam);
    sharedRandom().seed(17);
    for (int m = 0; m < numModels; ++m) {
        layer.initWeight(m, 1.0f, 0.0f);
    }
    return layer;
}

std::vector<float> copyOf(std::span<const float> values) {
    return {values.begin(), values.end()};
}

// --- construction and start weights

TEST(NNLayer, StopsWithoutInputsOrOutputs) {
    EXPECT_EQ(stopMessageOf([] { NNLayer(1, 0, 0, 1, false, false); }),
              "input size of neural network is not positive.");
    EXPECT_EQ(stopMessageOf([] { NNLayer(1, -3, 1, 1, false, false); }),
              "input size of neural network is not positive.");
    EXPECT_EQ(stopMessageOf([] { NNLayer(1, 1, 0, 1, false, false); }),
              "output size of neural network is not positive.");
    EXPECT_EQ(stopMessageOf([] { NNLayer(1, 1, 1, 1, false, false); }), "(no stop)");
}

TEST(NNLayer, StartsWithUnitScaleAndNoShift) {
    const NNLayer layer(2, 3, 4, Activation::GELU, true, false);

    EXPECT_EQ(layer.getWeightScale(), 1.0f);
    EXPECT_EQ(layer.getBiasShift(), 0.0f);
    EXPECT_EQ(layer.getNumModels(), 2);
    EXPECT_EQ(layer.getNumInp(), 3);
    EXPECT_EQ(layer.getNumOut(), 4);
    EXPECT_EQ(layer.getActivation(), Activation::GELU);
    EXPECT_TRUE(layer.isLearnable());
    EXPECT_EQ(layer.getRowLength(), 8U);
    EXPECT_EQ(layer.weightOf(1).size(), 12U);
    EXPECT_EQ(layer.biasOf(1).size(), 4U);
}

// Box and Muller's pairs, written out.
std::vector<double> drawPairs(RandomSource& random, std::size_t n, double weightScale, double deviation) {
    std::vector<double> w(n);
    for (std::size_t i = 0; i < n; i += 2) {
        const int first = random.draw();
        const int second = random.draw();
        const double u1 = (first + 1) * 0.000030517578;
        const double theta = (second + 1) * 0.000030517578 * 6.2831855;
        const double radius = std::sqrt(std::max(0.0, -2.0 * std::log(u1))) * weightScale * deviation;
        w[i] = std::sin(theta) * radius;
        w[std::min(i + 1, n - 1)] = std::cos(theta) * radius;
    }
    return w;
}

TEST(NNLayer, DrawsItsWeightsFromPairs) {
    constexpr int numInp = 5;
    constexpr int numOut = 3;
    const std::array<double, 7> deviations{0.01,
                                           std::sqrt(1.0 / numInp),
                                           std::sqrt(1.0 / numInp),
                                           std::sqrt(1.0 / numInp),
                                           std::sqrt(2.0 / numInp),
                                           std::sqrt(1.0 / numInp),
                                           std::sqrt(2.0 / numInp)};
    for (int activation = 0; activation <= 6; ++activation) {
        NNLayer layer(2, numInp, numOut, activation, true, false);
        sharedRandom().seed(99);
        RandomSource random;
        random.seed(99);

        layer.initWeight(0, 2.5f, 0.75f);
        layer.initWeight(1, 2.5f, 0.75f);

        for (int m = 0; m < 2; ++m) {
            const std::vector<double> want =
                drawPairs(random, numInp * numOut, 2.5, deviations[static_cast<std::size_t>(activation)]);
            EXPECT_LE(worstError(layer.weightOf(m), want), 1.0e-6) << activation;
            EXPECT_EQ(copyOf(layer.biasOf(m)), std::vector<float>(numOut, 0.75f));
        }
        EXPECT_EQ(layer.getWeightScale(), 2.5f);
        EXPECT_EQ(layer.getBiasShift(), 0.75f);
    }
}

// The start of many models would take ages if each cleared the gradients of all.
TEST(NNLayer, StartsOneModelAndLeavesTheOthersAlone) {
    NNLayer layer(3, 2, 2, Activation::tanh, true, false);
    for (const int m : {0, 1, 2}) {
        layer.initWeight(m, 1.0f, 0.0f);
        EXPECT_EQ(copyOf(layer.weightGradOf(m)), std::vector<float>(4, 0.0f));
        EXPECT_EQ(copyOf(layer.biasGradOf(m)), std::vector<float>(2, 0.0f));
    }
    NNLayerGrads grads = layer.makeGrads();
    std::ranges::fill(grads.weight.span(), 1.5f);
    std::ranges::fill(grads.bias.span(), 2.5f);
    layer.mergeWeightGrad(grads);

    layer.initWeight(1, 1.0f, 0.0f);

    for (const int m : {0, 1, 2}) {
        EXPECT_EQ(copyOf(layer.weightGradOf(m)), std::vector<float>(4, m == 1 ? 0.0f : 1.5f));
        EXPECT_EQ(copyOf(layer.biasGradOf(m)), std::vector<float>(2, m == 1 ? 0.0f : 2.5f));
    }
}

TEST(NNLayer, TellsWhetherItsNumbersAreFinite) {
    NNLayer layer(2, 2, 2, Activation::tanh, true, true);
    layer.initWeight(0, 1.0f, 0.0f);
    layer.initWeight(1, 1.0f, 0.0f);
    EXPECT_TRUE(layer.isFinite());

    for (float* const value : {&layer.weightOf(1)[3], &layer.biasOf(0)[1]}) {
        const float good = *value;
        for (const float bad :
             {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
            *value = bad;
            EXPECT_FALSE(layer.isFinite());
        }
        *value = good;
    }
    EXPECT_TRUE(layer.isFinite());
}

// The last of an odd number of weights holds the cosine of its pair.
TEST(NNLayer, DrawsTheCosineForALoneLastWeight) {
    NNLayer layer(1, 1, 1, Activation::asis, true, false);
    sharedRandom().seed(3);
    RandomSource random;
    random.seed(3);

    layer.initWeight(0, 1.0f, 0.0f);

    const double u1 = (random.draw() + 1) / 32768.0;
    const double theta = (random.draw() + 1) / 32768.0 * 2.0 * M_PI;
    EXPECT_NEAR(static_cast<double>(layer.weightOf(0).front()),
                std::cos(theta) * std::sqrt(-2.0 * std::log(u1)), 2.0e-6);
}

TEST(NNLayer, DrawsFromANormalDistribution) {
    NNLayer layer(1, 200, 200, Activation::GELU, true, false);
    sharedRandom().seed(123);

    layer.initWeight(0, 1.0f, 0.0f);

    double sum = 0.0;
    double squares = 0.0;
    double fourths = 0.0;
    for (const float w : layer.weightOf(0)) {
        const double unit = static_cast<double>(w) / std::sqrt(2.0 / 200.0);
        sum += unit;
        squares += unit * unit;
        fourths += unit * unit * unit * unit;
    }
    EXPECT_NEAR(sum / 40000.0, 0.0, 0.02);
    EXPECT_NEAR(squares / 40000.0, 1.0, 0.03);
    EXPECT_NEAR(fourths / 40000.0, 3.0, 0.2);
}

// --- passes

TEST(NNLayer, PassesOfSeveralModelsAreThoseOfPlainLoops) {
    constexpr std::size_t numSamples = 5;
    constexpr std::size_t numInp = 4;
    constexpr std::size_t numOut = 3;
    constexpr std::size_t numModels = 2;
    const NNLayer layer = makeLayer(numModels, numInp, numOut, Activation::asis);
    const std::vector<float> inputs = randomFloats(numSamples * numModels * numInp, 1);
    const std::vector<float> bareGrad = randomFloats(numSamples * numModels * numOut, 2);
    std::vector<float> out(bareGrad.size());
    std::vector<float> inpGrad(inputs.size());
    std::vector<double> wantOut(out.size(), 0.0);
    std::vector<double> wantInpGrad(inpGrad.size(), 0.0);
    for (std::size_t sm = 0; sm < numSamples * numModels; ++sm) {
        const auto weights = layer.weightOf(static_cast<int>(sm % numModels));
        for (std::size_t o = 0; o < numOut; ++o) {
            for (std::size_t i = 0; i < numInp; ++i) {
                const auto w = static_cast<double>(weights[o * numInp + i]);
                wantOut[sm * numOut + o] += w * static_cast<double>(inputs[sm * numInp + i]);
                wantInpGrad[sm * numInp + i] += w * static_cast<double>(bareGrad[sm * numOut + o]);
            }
        }
    }

    layer.goForward(numSamples, inputs.data(), false, out.data(), nullptr, nullptr);
    layer.goBackward(numSamples, bareGrad.data(), inpGrad.data());

    EXPECT_LE(worstError(out, wantOut), 1.0e-6);
    EXPECT_LE(worstError(inpGrad, wantInpGrad), 1.0e-6);
}

TEST(NNLayer, StopsBeforeGradientsOfFixedWeights) {
    NNLayer layer(1, 2, 3, Activation::tanh, false, false);
    NNLayerGrads grads = layer.makeGrads();
    const std::vector<float> values(6, 1.0f);

    EXPECT_EQ(stopMessageOf([&] { layer.addWeightGrad(1, values.data(), values.data(), true, grads); }),
              "cannot calculate gradients of weights, because this is not learnable.");
    EXPECT_EQ(stopMessageOf([&] { layer.initWeightGrad(); }),
              "cannot set grad of weight, because this is not learnable.");
    EXPECT_EQ(stopMessageOf([&] { layer.mergeWeightGrad(grads); }),
              "cannot merge grad of weight, because this is not learnable.");
}

// --- Adam

NNLayerGrads randomGrads(const NNLayer& layer, unsigned seed) {
    NNLayerGrads grads = layer.makeGrads();
    std::ranges::copy(randomFloats(grads.weight.size(), seed), grads.weight.data());
    std::ranges::copy(randomFloats(grads.bias.size(), seed + 1), grads.bias.data());
    return grads;
}

// Adam as published, in double precision.
struct AdamTwin {
    std::vector<double> value;
    std::vector<double> m;
    std::vector<double> v;
    double power1 = 1.0;
    double power2 = 1.0;

    explicit AdamTwin(std::span<const float> start)
        : value(start.begin(), start.end()), m(start.size(), 0.0), v(start.size(), 0.0) {}

    void step(std::span<const float> grad, double alpha, double beta1, double beta2) {
        power1 *= beta1;
        power2 *= beta2;
        for (std::size_t i = 0; i < value.size(); ++i) {
            const auto g = static_cast<double>(grad[i]);
            m[i] = m[i] * beta1 + (1.0 - beta1) * g;
            v[i] = v[i] * beta2 + (1.0 - beta2) * g * g;
            value[i] -= m[i] / (1.0 - power1) * alpha / (std::sqrt(v[i] / (1.0 - power2)) + 1.0e-8);
        }
    }
};

TEST(NNLayer, UpdatesWeightsByAdam) {
    NNLayer layer = makeLayer(2, 5, 3);
    layer.initWeight(0, 2.5f, 0.3f);
    layer.initWeight(1, 2.5f, 0.3f);
    std::vector<AdamTwin> twins;
    for (int m = 0; m < 2; ++m) {
        twins.emplace_back(layer.weightOf(m));
        twins.emplace_back(layer.biasOf(m));
    }
    for (unsigned step = 0; step < 12; ++step) {
        layer.initWeightGrad();
        layer.mergeWeightGrad(randomGrads(layer, 50 + 10 * step));

        layer.updateWeight(0.01f, 0.9f, 0.999f);

        for (int m = 0; m < 2; ++m) {
            const auto first = static_cast<std::size_t>(2 * m);
            twins[first].step(layer.weightGradOf(m), 0.01 * 2.5, 0.9, 0.999);
            twins[first + 1].step(layer.biasGradOf(m), 0.01 * 2.5, 0.9, 0.999);
            EXPECT_LE(worstError(layer.weightOf(m), twins[first].value), 3.0e-6) << step;
            EXPECT_LE(worstError(layer.biasOf(m), twins[first + 1].value), 3.0e-6) << step;
        }
    }
}

// With a single factor in the corrections, the first step has the size alpha times the scale, whatever the
// gradient.
TEST(NNLayer, FirstStepOfAdamHasTheSizeOfAlpha) {
    NNLayer layer = makeLayer(1, 5, 3);
    layer.initWeight(0, 4.0f, 0.0f);
    const std::vector<float> before = copyOf(layer.biasOf(0));
    layer.mergeWeightGrad(randomGrads(layer, 5));

    layer.updateWeight(0.01f, 0.9f, 0.999f);

    for (std::size_t o = 0; o < 3; ++o) {
        const float change = layer.biasOf(0)[o] - before[o];
        EXPECT_NEAR(change, layer.biasGradOf(0)[o] > 0.0f ? -0.04f : 0.04f, 1.0e-6f);
    }
}

TEST(NNLayer, StartsAdamAnewWithNewWeights) {
    NNLayer layer = makeLayer(1, 5, 3);
    for (unsigned step = 0; step < 3; ++step) {
        layer.mergeWeightGrad(randomGrads(layer, step));
        layer.updateWeight(0.01f, 0.9f, 0.999f);
    }

    layer.initWeight(0, 1.0f, 0.0f);

    EXPECT_EQ(copyOf(layer.weightGradOf(0)), std::vector<float>(15, 0.0f));
    EXPECT_EQ(copyOf(layer.biasGradOf(0)), std::vector<float>(3, 0.0f));
    AdamTwin twin(layer.weightOf(0));
    layer.mergeWeightGrad(randomGrads(layer, 9));
    layer.updateWeight(0.01f, 0.9f, 0.999f);
    twin.step(layer.weightGradOf(0), 0.01, 0.9, 0.999);
    EXPECT_LE(worstError(layer.weightOf(0), twin.value), 1.0e-6);
}

TEST(NNLayer, StopsBeforeAnUpdateInThisOrder) {
    NNLayer fixed(1, 2, 3, Activation::tanh, false, false);
    NNLayer learnable = makeLayer(1, 2, 3, Activation::tanh, false);
    NNLayer ready = makeLayer(1, 2, 3);

    EXPECT_EQ(stopMessageOf([&] { fixed.updateWeight(0.0f, 0.0f, 1.0f); }), "Adam's alpha is not positive.");
    EXPECT_EQ(stopMessageOf([&] { fixed.updateWeight(nan, 0.0f, 1.0f); }), "Adam's alpha is not positive.");
    EXPECT_EQ(stopMessageOf([&] { fixed.updateWeight(0.1f, 0.0f, 1.0f); }), "Adam's beta1 is out of range.");
    EXPECT_EQ(stopMessageOf([&] { fixed.updateWeight(0.1f, 1.0f, 1.0f); }), "Adam's beta1 is out of range.");
    EXPECT_EQ(stopMessageOf([&] { fixed.updateWeight(0.1f, 0.9f, 1.0f); }), "Adam's beta2 is out of range.");
    EXPECT_EQ(stopMessageOf([&] { fixed.updateWeight(0.1f, 0.9f, 0.0f); }), "Adam's beta2 is out of range.");
    EXPECT_EQ(stopMessageOf([&] { fixed.updateWeight(0.1f, 0.9f, 0.9f); }),
              "cannot update weight, because this is not learnable.");
    EXPECT_EQ(stopMessageOf([&] { learnable.updateWeight(0.1f, 0.9f, 0.9f); }),
              "cannot update weight, because Adam is not applied.");
    EXPECT_EQ(stopMessageOf([&] { ready.updateWeight(0.1f, 0.9f, 0.9f); }), "(no stop)");
}

// --- other inputs

TEST(NNLayer, RescalingKeepsTheOutputs) {
    constexpr std::size_t numSamples = 7;
    NNLayer layer = makeLayer(2, 6, 4);
    const std::vector<float> raw = randomFloats(numSamples * 6, 3, 0.0f, 5.0f);
    const auto outputsFor = [&](float ave, float dev) {
        std::vector<float> inputs;
        for (const float value : raw) {
            inputs.push_back((value - ave) / dev);
        }
        std::vector<float> out(numSamples * 8);
        layer.goForward(numSamples, inputs.data(), true, out.data(), nullptr, nullptr);
        return out;
    };
    const std::vector<float> before = outputsFor(2.5f, 2.2f);

    layer.rescaleWeight(2.5f, 2.2f, 1.5f, 3.1f);

    EXPECT_LE(worstError(outputsFor(1.5f, 3.1f), test::toDouble(before)), 3.0e-6);
    EXPECT_GT(worstError(outputsFor(2.5f, 2.2f), test::toDouble(before)), 1.0e-3);
}

TEST(NNLayer, RescalingToTheSameChangesNothing) {
    NNLayer layer = makeLayer(2, 6, 4);
    const std::vector<float> weights = copyOf(layer.weightOf(1));
    const std::vector<float> biases = copyOf(layer.biasOf(1));

    layer.rescaleWeight(1.7f, 0.3f, 1.7f, 0.3f);

    EXPECT_EQ(copyOf(layer.weightOf(1)), weights);
    EXPECT_EQ(copyOf(layer.biasOf(1)), biases);
}

TEST(NNLayer, StopsBeforeRescalingByNothing) {
    NNLayer layer = makeLayer(1, 2, 3);
    const std::string message = "old and/or new deviations are not positive.";

    EXPECT_EQ(stopMessageOf([&] { layer.rescaleWeight(0.0f, 0.0f, 0.0f, 1.0f); }), message);
    EXPECT_EQ(stopMessageOf([&] { layer.rescaleWeight(0.0f, 1.0f, 0.0f, -1.0f); }), message);
    EXPECT_EQ(stopMessageOf([&] { layer.rescaleWeight(0.0f, nan, 0.0f, 1.0f); }), message);
}

TEST(NNLayer, ProjectsWeightsToOtherInputs) {
    NNLayer source = makeLayer(2, 4, 3);
    NNLayer target = makeLayer(3, 5, 3);
    std::ranges::copy(std::array{0.1f, 0.2f, 0.3f}, source.biasOf(1).begin());
    const std::vector<float> untouched = copyOf(target.weightOf(1));
    const std::vector<float> before = copyOf(target.weightOf(2));
    // Input 1 is dropped by a negative entry, input 3 by one that is just too large.
    const std::array<int, 4> map{4, -1, 0, 5};

    target.projectWeightFrom(2, source, 1, map);

    for (std::size_t o = 0; o < 3; ++o) {
        EXPECT_EQ(target.weightOf(2)[o * 5 + 4], source.weightOf(1)[o * 4]);
        EXPECT_EQ(target.weightOf(2)[o * 5], source.weightOf(1)[o * 4 + 2]);
        for (const std::size_t i : {std::size_t{1}, std::size_t{2}, std::size_t{3}}) {
            EXPECT_EQ(target.weightOf(2)[o * 5 + i], before[o * 5 + i]);
        }
        EXPECT_EQ(target.biasOf(2)[o], source.biasOf(1)[o]);
    }
    EXPECT_EQ(copyOf(target.weightOf(1)), untouched);
}

TEST(NNLayer, StopsBeforeAnImpossibleProjection) {
    NNLayer target = makeLayer(1, 5, 3);
    const NNLayer otherOutputs = makeLayer(1, 4, 2, Activation::GELU);
    const NNLayer otherActivation = makeLayer(1, 4, 3, Activation::GELU);
    const std::array<int, 4> map{0, 1, 2, 3};

    EXPECT_EQ(stopMessageOf([&] { target.projectWeightFrom(0, otherOutputs, 0, {}); }),
              "map of input nodes is null.");
    EXPECT_EQ(stopMessageOf([&] { target.projectWeightFrom(0, otherOutputs, 0, map); }),
              "cannot projet weight, for incorrect #out-nodes.");
    EXPECT_EQ(stopMessageOf([&] { target.projectWeightFrom(0, otherActivation, 0, map); }),
              "cannot projet weight, for incorrect activation.");
}

// --- text form

std::string printed(const NNLayer& layer, int model, bool withBias) {
    const FilePointer file(std::tmpfile());
    layer.printWeight(file.get(), model, withBias);
    std::rewind(file.get());
    std::string text;
    for (int c = std::fgetc(file.get()); c != EOF; c = std::fgetc(file.get())) {
        text.push_back(static_cast<char>(c));
    }
    return text;
}

std::string scanning(NNLayer& layer, const std::string& text, bool withBias) {
    const FilePointer file(std::tmpfile());
    std::fputs(text.c_str(), file.get());
    std::rewind(file.get());
    return stopMessageOf([&] { layer.scanWeight(file.get(), 0, withBias); });
}

NNLayer makeCountingLayer(int numInp, int numOut) {
    NNLayer layer(2, numInp, numOut, Activation::asis, false, false);
    float next = 1.0f;
    for (const std::span<float> values : {layer.weightOf(1), layer.biasOf(1)}) {
        for (float& value : values) {
            value = next++;
        }
    }
    return layer;
}

TEST(NNLayer, PrintsEightValuesInALine) {
    EXPECT_EQ(printed(makeCountingLayer(3, 3), 1, true),
              "1.00000000e+00 2.00000000e+00 3.00000000e+00 4.00000000e+00 5.00000000e+00 6.00000000e+00 "
              "7.00000000e+00 8.00000000e+00 \n9.00000000e+00 \n1.00000000e+01 1.10000000e+01 "
              "1.20000000e+01 \n");
    EXPECT_EQ(printed(makeCountingLayer(1, 2), 1, false), "1.00000000e+00 2.00000000e+00 \n");
}

TEST(NNLayer, EndsAFullLastLineOnce) {
    const std::string text = printed(makeCountingLayer(8, 2), 1, false);

    EXPECT_EQ(std::ranges::count(text, '\n'), 2);
    EXPECT_TRUE(text.ends_with("1.60000000e+01 \n"));
}

TEST(NNLayer, ScansWhatItPrints) {
    const NNLayer source = makeLayer(1, 5, 3);
    NNLayer target(1, 5, 3, Activation::tanh, false, false);
    const FilePointer file(std::tmpfile());
    source.printWeight(file.get(), 0, true);
    std::rewind(file.get());

    target.scanWeight(file.get(), 0, true);

    // Nine digits are enough for every float.
    EXPECT_EQ(copyOf(target.weightOf(0)), copyOf(source.weightOf(0)));
    EXPECT_EQ(copyOf(target.biasOf(0)), copyOf(source.biasOf(0)));
}

TEST(NNLayer, ScansOneModelOnly) {
    NNLayer layer = makeCountingLayer(2, 1);

    EXPECT_EQ(scanning(layer, "0.5 -2e3 7.25", true), "(no stop)");

    EXPECT_EQ(copyOf(layer.weightOf(0)), (std::vector<float>{0.5f, -2.0e3f}));
    EXPECT_EQ(copyOf(layer.biasOf(0)), (std::vector<float>{7.25f}));
    EXPECT_EQ(copyOf(layer.weightOf(1)), (std::vector<float>{1.0f, 2.0f}));
}

TEST(NNLayer, StopsAtDamagedText) {
    NNLayer layer = makeCountingLayer(2, 1);
    const std::string atWeight = "cannot scan neural network @weight";
    const std::string atBias = "cannot scan neural network @bias";

    EXPECT_EQ(scanning(layer, "", true), atWeight);
    EXPECT_EQ(scanning(layer, "0.5", true), atWeight);
    EXPECT_EQ(scanning(layer, "0.5 x", true), atWeight);
    EXPECT_EQ(scanning(layer, "0.5 nan 1.0", true), atWeight);
    EXPECT_EQ(scanning(layer, "0.5 1.0e99 1.0", true), atWeight);
    EXPECT_EQ(scanning(layer, "0.5 1.0", true), atBias);
    EXPECT_EQ(scanning(layer, "0.5 1.0 inf", true), atBias);
    EXPECT_EQ(scanning(layer, "0.5 1.0", false), "(no stop)");
}

} // namespace
} // namespace melta
