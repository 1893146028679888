#include "network/NNEnsemble.hpp"

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

constexpr NNShape smallShape{3, 2, 7, 5};

TEST(NNEnsemble, ChainsItsLayers) {
    const NNEnsemble ensemble(smallShape, 11, true, false);

    const std::vector<const NNLayer*> layers = ensemble.getLayers();

    ASSERT_EQ(layers.size(), 3U);
    EXPECT_EQ(layers[0]->getNumInp(), 11);
    EXPECT_EQ(layers[0]->getNumOut(), 7);
    EXPECT_EQ(layers[0]->getActivation(), 5);
    EXPECT_EQ(layers[1]->getNumInp(), 7);
    EXPECT_EQ(layers[1]->getNumOut(), 7);
    EXPECT_EQ(layers[2]->getNumInp(), 7);
    EXPECT_EQ(layers[2]->getNumOut(), 1);
    EXPECT_EQ(layers[2]->getActivation(), 1);
    EXPECT_EQ(layers[2]->getNumModels(), 3);
    EXPECT_EQ(ensemble.getRowLength(), 21U);
}

TEST(NNEnsemble, ScalesAndShiftsTheOutputLayerAlone) {
    sharedRandom().seed(5);
    NNEnsemble ensemble(smallShape, 11, true, false);

    ensemble.initWeight(2.5f, -0.75f);

    EXPECT_EQ(ensemble.getLastLayer().getWeightScale(), 2.5f);
    EXPECT_EQ(ensemble.getLastLayer().getBiasShift(), -0.75f);
    EXPECT_EQ(ensemble.getInterLayers().front().getWeightScale(), 1.0f);
    EXPECT_EQ(ensemble.getInterLayers().front().getBiasShift(), 0.0f);
    for (int m = 0; m < 3; ++m) {
        EXPECT_EQ(ensemble.getLastLayer().biasOf(m).front(), -0.75f);
        EXPECT_EQ(ensemble.getInterLayers().back().biasOf(m).front(), 0.0f);
    }
}

TEST(NNEnsemble, GivesEachModelWeightsOfItsOwn) {
    sharedRandom().seed(5);
    NNEnsemble ensemble(smallShape, 11, true, false);

    ensemble.initWeight(1.0f, 0.0f);

    for (const NNLayer* const layer : ensemble.getLayers()) {
        EXPECT_NE(layer->weightOf(0).front(), layer->weightOf(1).front());
        EXPECT_NE(layer->weightOf(1).front(), layer->weightOf(2).front());
    }
}

TEST(NNEnsemble, ForwardIsThatOfTheTwin) {
    forSomeEnsembles([](EnsembleFixture& fixture) {
        fixture.ensemble.goForward(fixture.tile, true);
        const std::vector<float> withDerivs = fixture.outputs;
        fixture.ensemble.goForward(fixture.tile, false);

        std::vector<double> want(fixture.outputs.size());
        for (std::size_t m = 0; m < fixture.numModels(); ++m) {
            NetworkTwin twin(fixture.ensemble, static_cast<int>(m));
            for (std::size_t s = 0; s < fixture.numSamples; ++s) {
                want[s * fixture.numModels() + m] = twin.energyOf(fixture.inputsOf(s));
            }
        }
        EXPECT_LE(worstError(fixture.outputs, want), 2.0e-6);
        EXPECT_EQ(fixture.outputs, withDerivs);
    });
}

TEST(NNEnsemble, InputGradientsAreThoseOfTheTwin) {
    forSomeEnsembles([](EnsembleFixture& fixture) {
        fixture.ensemble.goForward(fixture.tile, true);
        fixture.ensemble.goBackward(fixture.tile);

        fixture.ensemble.computeInputGrads(fixture.tile);

        std::vector<double> want;
        for (std::size_t s = 0; s < fixture.numSamples; ++s) {
            for (std::size_t m = 0; m < fixture.numModels(); ++m) {
                NetworkTwin twin(fixture.ensemble, static_cast<int>(m));
                const std::vector<double> row = twin.inputGradsOf(fixture.inputsOf(s));
                want.insert(want.end(), row.begin(), row.end());
            }
        }
        EXPECT_LE(worstError(fixture.inpGrad, want), 4.0e-6);
    });
}

TEST(NNEnsemble, SummedInputGradientsAreTheSumOverTheModels) {
    forSomeEnsembles([](EnsembleFixture& fixture) {
        const std::size_t numInp = fixture.numInp();
        fixture.ensemble.goForward(fixture.tile, true);
        fixture.ensemble.goBackward(fixture.tile);
        fixture.ensemble.computeInputGrads(fixture.tile);
        std::vector<double> want(fixture.numSamples * numInp, 0.0);
        for (std::size_t k = 0; k < fixture.inpGrad.size(); ++k) {
            want[k / (fixture.numModels() * numInp) * numInp + k % numInp] +=
                static_cast<double>(fixture.inpGrad[k]);
        }
        std::vector<float> summed(want.size());
        fixture.tile.inpGrad = summed.data();

        fixture.ensemble.computeSummedInputGrads(fixture.tile);

        EXPECT_LE(worstError(summed, want), 4.0e-6);
    });
}

TEST(NNEnsemble, WeightGradientsAreThoseOfTheTwin) {
    forSomeEnsembles([](EnsembleFixture& fixture) {
        EnsembleGrads grads = fixture.ensemble.makeGrads();
        fixture.ensemble.goForward(fixture.tile, true);
        fixture.ensemble.goBackward(fixture.tile);

        fixture.ensemble.addWeightGrads(fixture.tile, fixture.outGrad.data(), grads);

        for (std::size_t m = 0; m < fixture.numModels(); ++m) {
            NetworkTwin twin(fixture.ensemble, static_cast<int>(m));
            for (std::size_t s = 0; s < fixture.numSamples; ++s) {
                twin.addEnergyGrads(fixture.inputsOf(s),
                                    static_cast<double>(fixture.outGrad[s * fixture.numModels() + m]));
            }
            EXPECT_LE(worstError(gradsOfModel(fixture.ensemble, grads, static_cast<int>(m)), twin.getGrads()),
                      5.0e-6);
        }
    });
}

TEST(NetworkTwin, HasTheGradientOfItsEnergy) {
    constexpr double step = 1.0e-5;
    for (const NNShape& shape : test::someShapes()) {
        if (shape.numModels != 1) {
            continue;
        }
        const EnsembleFixture fixture(shape, 6, 1);
        NetworkTwin twin(fixture.ensemble, 0);
        std::vector<double> inputs = fixture.inputsOf(0);
        twin.addEnergyGrads(inputs, 0.7);
        const std::vector<double> grads = twin.getGrads();
        const std::vector<double> inputGrads = twin.inputGradsOf(inputs);
        const auto differentiate = [&](double& variable) {
            const double kept = variable;
            variable = kept + step;
            const double above = twin.energyOf(inputs);
            variable = kept - step;
            const double below = twin.energyOf(inputs);
            variable = kept;
            return (above - below) / (2.0 * step);
        };

        std::vector<double> numerical;
        for (double* const parameter : twin.getParameters()) {
            numerical.push_back(0.7 * differentiate(*parameter));
        }
        std::vector<double> numericalInputs;
        for (double& input : inputs) {
            numericalInputs.push_back(differentiate(input));
        }

        EXPECT_LE(worstError(grads, numerical), 1.0e-8) << shape.activation;
        EXPECT_LE(worstError(inputGrads, numericalInputs), 1.0e-8) << shape.activation;
    }
}

TEST(NNEnsemble, WeightGradientsAccumulate) {
    EnsembleFixture fixture(smallShape, 6, 5);
    EnsembleGrads once = fixture.ensemble.makeGrads();
    EnsembleGrads twice = fixture.ensemble.makeGrads();
    fixture.ensemble.goForward(fixture.tile, true);
    fixture.ensemble.goBackward(fixture.tile);

    fixture.ensemble.addWeightGrads(fixture.tile, fixture.outGrad.data(), once);
    fixture.ensemble.addWeightGrads(fixture.tile, fixture.outGrad.data(), twice);
    fixture.ensemble.addWeightGrads(fixture.tile, fixture.outGrad.data(), twice);

    std::vector<double> doubled = test::toDouble(gradsOfModel(fixture.ensemble, once, 1));
    for (double& value : doubled) {
        value *= 2.0;
    }
    EXPECT_LE(worstError(gradsOfModel(fixture.ensemble, twice, 1), doubled), 1.0e-6);
}

TEST(NNEnsemble, ReusesATileForFewerSamples) {
    EnsembleFixture fixture(smallShape, 6, 33);
    fixture.ensemble.goForward(fixture.tile, true);
    fixture.ensemble.goBackward(fixture.tile);
    const std::vector<float> before = fixture.outputs;
    EnsembleGrads grads = fixture.ensemble.makeGrads();

    fixture.bind(5);
    fixture.ensemble.goForward(fixture.tile, true);
    fixture.ensemble.goBackward(fixture.tile);
    fixture.ensemble.addWeightGrads(fixture.tile, fixture.outGrad.data(), grads);

    NetworkTwin twin(fixture.ensemble, 2);
    for (std::size_t s = 0; s < 5; ++s) {
        twin.addEnergyGrads(fixture.inputsOf(s), static_cast<double>(fixture.outGrad[3 * s + 2]));
    }
    EXPECT_LE(worstError(gradsOfModel(fixture.ensemble, grads, 2), twin.getGrads()), 5.0e-6);
    EXPECT_LE(worstError(fixture.outputs, before), 1.0e-6);
}

TEST(NNEnsemble, MergesGradientsOfThreadsAndClearsThem) {
    EnsembleFixture fixture(smallShape, 6, 5);
    EnsembleGrads grads = fixture.ensemble.makeGrads();
    fixture.ensemble.goForward(fixture.tile, true);
    fixture.ensemble.goBackward(fixture.tile);
    fixture.ensemble.addWeightGrads(fixture.tile, fixture.outGrad.data(), grads);
    const float ofHidden = grads.interLayers[1].weight[60];
    const float ofOutput = grads.lastLayer.bias[2];
    fixture.ensemble.initWeightGrad();

    fixture.ensemble.mergeWeightGrad(grads);
    fixture.ensemble.mergeWeightGrad(grads);

    EXPECT_NE(ofHidden, 0.0f);
    EXPECT_EQ(fixture.ensemble.getInterLayers()[1].weightGradOf(1)[11], 2.0f * ofHidden);
    EXPECT_EQ(fixture.ensemble.getLastLayer().biasGradOf(2).front(), 2.0f * ofOutput);
    grads.setZero();
    fixture.ensemble.initWeightGrad();
    EXPECT_EQ(grads.interLayers[1].weight[60], 0.0f);
    EXPECT_EQ(grads.lastLayer.bias[2], 0.0f);
    EXPECT_EQ(fixture.ensemble.getInterLayers()[1].weightGradOf(1)[11], 0.0f);
}

TEST(NNEnsemble, StopsWhenItIsNotLearnable) {
    NNEnsemble ensemble(smallShape, 6, false, false);
    sharedRandom().seed(1);
    ensemble.initWeight(1.0f, 0.0f);

    EXPECT_EQ(test::stopMessageOf([&] { ensemble.initWeightGrad(); }),
              "cannot set grad of weight, because this is not learnable.");
}

} // namespace
} // namespace melta
