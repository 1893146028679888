#include "network/InputScales.hpp"

#include "network/EnsembleFixture.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

using test::EnsembleFixture;
using test::randomFloats;

constexpr std::size_t numInputs = 6;

// Shifts and scales of six functions of one element, which vary by a factor of 2,000.
SymmStatistics makeStatistics() {
    return {{0.3f},
            {2.5f},
            {0.1f, -4.0f, 0.02f, 3.0f, 0.0f, -0.7f},
            {0.4f, 0.16f, 80.0f, 1.3f, 320.0f, 0.9f},
            {}};
}

// Outputs of an ensemble for raw values [samples][numInputs] on a scale.
std::vector<float> outputsOf(const NNEnsemble& ensemble, std::span<const double> values,
                             const InputScales& scales) {
    std::vector<float> inputs;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t b = i % numInputs;
        inputs.push_back(static_cast<float>((values[i] - scales.shift[b]) * scales.scale[b]));
    }
    const std::size_t numSamples = values.size() / numInputs;
    std::vector<float> outputs(numSamples * static_cast<std::size_t>(ensemble.getNumModels()));
    EnsembleTile tile;
    ensemble.prepareTile(tile, numSamples, false);
    tile.inpData = inputs.data();
    tile.outData = outputs.data();
    ensemble.goForward(tile, false);
    return outputs;
}

// Raw values that are of the order of 1 on the scales of the functions.
std::vector<double> makeValues(const InputScales& scales, std::size_t numSamples) {
    std::vector<double> values;
    for (const float input : randomFloats(numSamples * numInputs, 5, -1.0f, 1.0f)) {
        const std::size_t b = values.size() % numInputs;
        values.push_back(static_cast<double>(input) / scales.scale[b] + scales.shift[b]);
    }
    return values;
}

TEST(InputScalesTest, SharedScalesAreThoseOfTheRange) {
    const InputScales scales = sharedScales(makeStatistics(), 0, 3);

    EXPECT_EQ(scales.shift, std::vector<double>(3, static_cast<double>(0.3f)));
    EXPECT_EQ(scales.scale, std::vector<double>(3, 0.4));
    EXPECT_EQ(scalesInUse({{0.3f}, {2.5f}}, 0, 3).scale, scales.scale);
}

TEST(InputScalesTest, StoredNetworksGiveWhatTheTrainedOnesGive) {
    const SymmStatistics statistics = makeStatistics();
    const InputScales inUse = scalesInUse(statistics, 0, numInputs);
    const std::vector<double> values = makeValues(inUse, 40);
    std::vector<NNEnsemble> trained;
    trained.push_back(std::move(EnsembleFixture({3, 2, 7, 5}, numInputs, 1).ensemble));
    const std::vector<float> expected = outputsOf(trained.front(), values, inUse);

    const std::vector<NNEnsemble> stored = withSharedScales(statistics, trained);

    const std::vector<float> outputs =
        outputsOf(stored.front(), values, sharedScales(statistics, 0, numInputs));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(outputs[i], expected[i], 5.0e-5f * (1.0f + std::fabs(expected[i]))) << i;
    }
}

TEST(InputScalesTest, FoldingInAndOutKeepsTheParameters) {
    const SymmStatistics statistics = makeStatistics();
    std::vector<NNEnsemble> trained;
    trained.push_back(std::move(EnsembleFixture({2, 1, 5, 3}, numInputs, 1).ensemble));

    std::vector<NNEnsemble> restored = withSharedScales(statistics, trained);
    rescaleInputs(restored.front(), sharedScales(statistics, 0, numInputs),
                  scalesInUse(statistics, 0, numInputs));

    const NNLayer& before = trained.front().getInterLayers().front();
    const NNLayer& after = restored.front().getInterLayers().front();
    for (int m = 0; m < 2; ++m) {
        for (std::size_t i = 0; i < before.weightOf(m).size(); ++i) {
            EXPECT_FLOAT_EQ(after.weightOf(m)[i], before.weightOf(m)[i]);
        }
        for (std::size_t i = 0; i < before.biasOf(m).size(); ++i) {
            EXPECT_NEAR(after.biasOf(m)[i], before.biasOf(m)[i], 2.0e-5f);
        }
    }
}

} // namespace
} // namespace melta
