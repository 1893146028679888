#include "network/NNSecondDeriver.hpp"

#include "config/Codes.hpp"
#include "network/EnsembleFixture.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using test::EnsembleFixture;
using test::forSomeEnsembles;
using test::gradsOfModel;
using test::NetworkTwin;
using test::worstError;

// Passes up to dE/dG, then random coefficients in its place.
void prepareCoefficients(EnsembleFixture& fixture) {
    fixture.ensemble.goForward(fixture.tile, true);
    fixture.ensemble.goBackward(fixture.tile);
    fixture.ensemble.computeInputGrads(fixture.tile);
    std::ranges::copy(test::randomFloats(fixture.inpGrad.size(), 300), fixture.inpGrad.begin());
}

EnsembleGrads gradsOf(EnsembleFixture& fixture, bool isExact, bool withEnergy) {
    prepareCoefficients(fixture);
    EnsembleGrads grads = fixture.ensemble.makeGrads();
    const NNSecondDeriver deriver(&fixture.ensemble, &fixture.tile);
    deriver.updateWeightGrads(isExact, withEnergy ? fixture.outGrad.data() : nullptr, grads);
    return grads;
}

double worstErrorOfModels(const EnsembleFixture& fixture, const EnsembleGrads& grads, bool isExact,
                          bool withEnergy) {
    double worst = 0.0;
    for (std::size_t m = 0; m < fixture.numModels(); ++m) {
        NetworkTwin twin(fixture.ensemble, static_cast<int>(m));
        for (std::size_t s = 0; s < fixture.numSamples; ++s) {
            const std::vector<double> inputs = fixture.inputsOf(s);
            const std::vector<double> coefs = fixture.inpGradOf(s, m);
            if (isExact) {
                twin.addExactGrads(inputs, coefs);
            } else {
                twin.addApproximateGrads(inputs, coefs);
            }
            if (withEnergy) {
                twin.addEnergyGrads(inputs,
                                    static_cast<double>(fixture.outGrad[s * fixture.numModels() + m]));
            }
        }
        worst = std::max(
            worst, worstError(gradsOfModel(fixture.ensemble, grads, static_cast<int>(m)), twin.getGrads()));
    }
    return worst;
}

TEST(NetworkTwin, HasTheGradientOfItsWeightedInputGradients) {
    constexpr double step = 1.0e-5;
    for (const NNShape& shape : test::someShapes()) {
        if (shape.numModels != 1) {
            continue;
        }
        EnsembleFixture fixture(shape, 6, 1);
        prepareCoefficients(fixture);
        NetworkTwin twin(fixture.ensemble, 0);
        const std::vector<double> inputs = fixture.inputsOf(0);
        const std::vector<double> coefs = fixture.inpGradOf(0, 0);
        const auto weightedSum = [&] {
            const std::vector<double> grads = twin.inputGradsOf(inputs);
            double sum = 0.0;
            for (std::size_t g = 0; g < grads.size(); ++g) {
                sum += coefs[g] * grads[g];
            }
            return sum;
        };
        twin.addExactGrads(inputs, coefs);

        std::vector<double> numerical;
        for (double* const parameter : twin.getParameters()) {
            const double kept = *parameter;
            *parameter = kept + step;
            const double above = weightedSum();
            *parameter = kept - step;
            const double below = weightedSum();
            *parameter = kept;
            numerical.push_back((above - below) / (2.0 * step));
        }

        EXPECT_LE(worstError(twin.getGrads(), numerical), 1.0e-8)
            << shape.numLayers << " layers, activation " << shape.activation;
    }
}

TEST(NNSecondDeriver, ExactGradientIsThatOfTheLoopOverInputNodes) {
    forSomeEnsembles([](EnsembleFixture& fixture) {
        const EnsembleGrads grads = gradsOf(fixture, true, false);

        EXPECT_LE(worstErrorOfModels(fixture, grads, true, false), 6.0e-6);
    });
}

TEST(NNSecondDeriver, ExactGradientTakesTheEnergyTermAlong) {
    forSomeEnsembles([](EnsembleFixture& fixture) {
        const EnsembleGrads grads = gradsOf(fixture, true, true);

        EXPECT_LE(worstErrorOfModels(fixture, grads, true, true), 6.0e-6);
    });
}

TEST(NNSecondDeriver, ApproximateGradientIsThatOfTheTwin) {
    forSomeEnsembles([](EnsembleFixture& fixture) {
        const EnsembleGrads alone = gradsOf(fixture, false, false);
        const double errorAlone = worstErrorOfModels(fixture, alone, false, false);
        const EnsembleGrads together = gradsOf(fixture, false, true);

        EXPECT_LE(errorAlone, 6.0e-6);
        EXPECT_LE(worstErrorOfModels(fixture, together, false, true), 6.0e-6);
    });
}

TEST(NNSecondDeriver, ApproximateGradientLeavesTheBiasesAlone) {
    EnsembleFixture fixture({3, 2, 7, Activation::tanh}, 6, 5);

    const EnsembleGrads grads = gradsOf(fixture, false, false);

    for (const NNLayerGrads& layer : grads.interLayers) {
        for (const float value : layer.bias.span()) {
            EXPECT_EQ(value, 0.0f);
        }
    }
    for (const float value : grads.lastLayer.bias.span()) {
        EXPECT_EQ(value, 0.0f);
    }
}

TEST(NNSecondDeriver, NothingIsApproximateAboutLinearNetworks) {
    EnsembleFixture fixture({3, 3, 7, Activation::asis}, 6, 5);

    const EnsembleGrads exact = gradsOf(fixture, true, false);
    const EnsembleGrads approximate = gradsOf(fixture, false, false);

    for (int m = 0; m < 3; ++m) {
        const std::vector<float> got = gradsOfModel(fixture.ensemble, exact, m);
        EXPECT_EQ(got, gradsOfModel(fixture.ensemble, approximate, m));
        EXPECT_GT(std::abs(got.front()), 0.0f);
    }
    for (const float value : exact.interLayers.front().bias.span()) {
        EXPECT_EQ(value, 0.0f);
    }
}

TEST(NNSecondDeriver, ExactAndApproximateDifferForCurvedActivations) {
    EnsembleFixture fixture({1, 2, 7, Activation::tanh}, 6, 5);

    const EnsembleGrads exact = gradsOf(fixture, true, false);
    const EnsembleGrads approximate = gradsOf(fixture, false, false);

    EXPECT_GT(worstError(gradsOfModel(fixture.ensemble, approximate, 0),
                         test::toDouble(gradsOfModel(fixture.ensemble, exact, 0))),
              0.01);
}

TEST(NNSecondDeriver, GradientsAccumulate) {
    EnsembleFixture fixture({2, 2, 7, Activation::GELU}, 6, 5);
    prepareCoefficients(fixture);
    EnsembleGrads grads = fixture.ensemble.makeGrads();
    NetworkTwin twin(fixture.ensemble, 1);
    for (std::size_t s = 0; s < 5; ++s) {
        twin.addExactGrads(fixture.inputsOf(s), fixture.inpGradOf(s, 1));
        twin.addExactGrads(fixture.inputsOf(s), fixture.inpGradOf(s, 1));
    }

    NNSecondDeriver(&fixture.ensemble, &fixture.tile).updateWeightGrads(true, nullptr, grads);
    NNSecondDeriver(&fixture.ensemble, &fixture.tile).updateWeightGrads(true, nullptr, grads);

    EXPECT_LE(worstError(gradsOfModel(fixture.ensemble, grads, 1), twin.getGrads()), 6.0e-6);
}

TEST(NNSecondDeriver, ReusesATileForFewerSamples) {
    EnsembleFixture fixture({3, 2, 7, Activation::twtanh}, 6, 33);
    gradsOf(fixture, true, true);
    fixture.bind(5);

    const EnsembleGrads grads = gradsOf(fixture, true, true);

    EXPECT_LE(worstErrorOfModels(fixture, grads, true, true), 6.0e-6);
}

TEST(NNSecondDeriver, StopsWithoutSamples) {
    EnsembleFixture fixture({1, 1, 3, Activation::tanh}, 6, 1);
    fixture.bind(0);

    EXPECT_EQ(test::stopMessageOf([&] { NNSecondDeriver(&fixture.ensemble, &fixture.tile); }),
              "size of batch is not positive.");
    EXPECT_EQ(test::stopMessageOf([&] { NNSecondDeriver(nullptr, &fixture.tile); }), "interLayers is null.");
    EXPECT_EQ(test::stopMessageOf([&] { NNSecondDeriver(&fixture.ensemble, nullptr); }),
              "interLayers is null.");
}

} // namespace
} // namespace melta
