// Weights of elements in the symmetry functions that are trained together with the networks.
#include "network/ArchFixture.hpp"

#include "network/LossTerms.hpp"
#include "network/Numbers.hpp"
#include "network/ParameterPacking.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <cmath>

namespace melta {
namespace {

using test::ArchFixture;
using test::outputOf;
using test::worstError;

constexpr std::array<int, 4> someSizes{6, 4, 7, 3};
constexpr std::array<int, 4> allOfThem{0, 1, 2, 3};

std::vector<float> copyOf(std::span<const float> values) {
    return {values.begin(), values.end()};
}

class ElementWeightTraining : public testing::Test {
protected:
    ElementWeightTraining() : fixture(3, someSizes) {
        Property& property = fixture.property;
        property.symmFuncKind = ClusterKind::code;
        property.numRadius = 3;
        property.kindSettings["maxAngular"] = 2;
        property.kindSettings["numRadius4"] = 2;
        property.lbfgs = 0;
        property.withCharge = 0;
    }

    // An arrangement whose weights have left the start a little, with a batch.
    std::unique_ptr<NNArch> makeArch(int scheme) const {
        std::unique_ptr<NNArch> arch = fixture.makeTrainingArch(true);
        std::vector<float>& weights = arch->getSymmStatistics().elementWeights;
        for (std::size_t i = 0; i < weights.size(); ++i) {
            weights[i] += 0.05f * std::sin(static_cast<float>(3 * i + 1));
        }
        arch->applyElementWeights();
        arch->setGeometries(std::span<const int>(allOfThem));
        arch->setEnergyModeScheme(scheme, true);
        return arch;
    }

    // The loss of all models.
    double evaluate(NNArch& arch) const {
        std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);
        arch.clearWeightGrads();
        arch.evaluateLoss(NetworkTarget::energy, terms);
        double loss = 0.0;
        for (const LossTerm& term : terms) {
            for (const float ofModel : term.getLoss()) {
                loss += static_cast<double>(ofModel);
            }
        }
        return loss;
    }

    // The derivative of the loss by a weight, from differences over four points.
    double differentiate(NNArch& arch, std::size_t weight) const {
        std::vector<float>& weights = arch.getSymmStatistics().elementWeights;
        const float start = weights[weight];
        const auto lossAt = [&](float value) {
            weights[weight] = value;
            arch.applyElementWeights();
            return evaluate(arch);
        };
        const auto difference = [&](float step) {
            const float above = start + step;
            const float below = start - step;
            return (lossAt(above) - lossAt(below)) / static_cast<double>(above - below);
        };
        const double result = (4.0 * difference(0.01f) - difference(0.02f)) / 3.0;
        lossAt(start);
        return result;
    }

    void expectGradient(int scheme) const {
        const std::unique_ptr<NNArch> arch = makeArch(scheme);
        evaluate(*arch);
        const std::vector<float> gradient = copyOf(arch->getElementWeightGrads());
        ASSERT_EQ(gradient.size(), 3U * 3U * 2U);
        std::vector<double> expected;
        for (std::size_t w = 0; w < gradient.size(); ++w) {
            expected.push_back(differentiate(*arch, w));
        }

        EXPECT_LE(worstError(gradient, expected), 2.0e-3);
    }

    ArchFixture fixture;
    std::vector<float> energyScale{1.3f, 0.6f, 0.9f};
    std::vector<float> forceScale{0.7f, 1.9f, 0.8f};
};

TEST_F(ElementWeightTraining, GradientIsThatOfTheLoss) {
    expectGradient(EnergyModeScheme::onlyEnergy);
    expectGradient(EnergyModeScheme::exactForce);
    fixture.property.symmScale = SymmScale::shared;
    fixture.property.withHDNNP = 1;
    expectGradient(EnergyModeScheme::exactForce);
}

TEST_F(ElementWeightTraining, GradientOfForcesAloneIsThatOfTheLoss) {
    energyScale.clear();

    expectGradient(EnergyModeScheme::exactForce);
}

TEST_F(ElementWeightTraining, GradientOfARootIsThatOfTheLoss) {
    fixture.property.sqrtLoss = 1;

    expectGradient(EnergyModeScheme::exactForce);
}

// With the weights of the start, inputs that are computed anew are those that were computed before.
TEST_F(ElementWeightTraining, NetworksSeeTheInputsOfFixedWeights) {
    struct Evaluated {
        std::vector<float> forces;
        std::vector<float> gradient;
    };
    const auto evaluateWith = [&](int trainChannels) {
        fixture.property.kindSettings["trainChannels"] = trainChannels;
        const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch(true);
        arch->setGeometries(std::span<const int>(allOfThem));
        arch->setEnergyModeScheme(EnergyModeScheme::exactForce, true);
        evaluate(*arch);
        Evaluated result{copyOf(arch->obtainForces(2)), std::vector<float>(getTotalDataSize(*arch))};
        convertToTotalData(*arch, result.gradient, true);
        return result;
    };
    for (const int symmScale : {SymmScale::each, SymmScale::shared}) {
        fixture.property.symmScale = symmScale;

        const Evaluated fixed = evaluateWith(0);
        const Evaluated trained = evaluateWith(1);

        EXPECT_LE(worstError(trained.forces, fixed.forces), 1.0e-5);
        EXPECT_LE(worstError(trained.gradient, fixed.gradient), 1.0e-5);
    }
}

TEST_F(ElementWeightTraining, ThreadsGiveTheGradientOfOne) {
    const int before = omp_get_max_threads();
    const auto gradientWith = [&](int threads) {
        omp_set_num_threads(threads);
        const std::unique_ptr<NNArch> arch = makeArch(EnergyModeScheme::exactForce);
        evaluate(*arch);
        return copyOf(arch->getElementWeightGrads());
    };

    const std::vector<float> one = gradientWith(1);
    const std::vector<float> three = gradientWith(3);
    const std::vector<float> again = gradientWith(3);
    omp_set_num_threads(before);

    EXPECT_LE(worstError(three, one), 2.0e-5);
    EXPECT_EQ(three, again);
}

TEST_F(ElementWeightTraining, StepsMakeTheLossSmaller) {
    fixture.property.learnRate = 0.001f;
    const std::unique_ptr<NNArch> arch = makeArch(EnergyModeScheme::exactForce);
    const std::vector<float> start = arch->getSymmStatistics().elementWeights;
    const double before = evaluate(*arch);
    const std::vector<float> gradient = copyOf(arch->getElementWeightGrads());

    arch->updateLayers(1.0f);

    const std::vector<float>& weights = arch->getSymmStatistics().elementWeights;
    for (std::size_t i = 0; i < start.size(); ++i) {
        // Adam's first step has the length of the learning rate. Not all elements are neighbours.
        const float step = gradient[i] == 0.0f ? 0.0f : std::copysign(0.001f, gradient[i]);
        const float expected = start[i] - step;
        EXPECT_LE(std::fabs(weights[i] - expected), 1.0e-5f) << i;
    }
    EXPECT_LT(evaluate(*arch), before);
}

// Only the weights move, so that the loss has to follow them.
TEST_F(ElementWeightTraining, WeightsOfTheTestFollow) {
    const std::unique_ptr<NNArch> arch = makeArch(EnergyModeScheme::exactForce);
    const std::unique_ptr<NNArch> testing = fixture.makeArch(NNArch::onlyEnergy, false);
    outputOf([&] {
        testing->setGeometriesAll(&fixture.set);
        testing->calculateSymmFuncs(true, true, true);
        testing->copySymmStatistics(arch.get());
        testing->normalizeAll();
    });
    testing->setGeometries(std::span<const int>(allOfThem));
    evaluate(*arch);
    arch->updateLayers(1.0f);
    evaluate(*arch);

    copyLayers(*testing, arch.get());
    testing->goBackwardOnForce();

    const std::vector<float> forces = copyOf(arch->obtainForces(2));
    EXPECT_LE(worstError(copyOf(testing->obtainForces(2)), forces), 1.0e-5);
    EXPECT_LE(worstError(copyOf(testing->obtainEnergies(2)), copyOf(arch->obtainEnergies(2))), 1.0e-5);
}

TEST_F(ElementWeightTraining, RangesAreThoseOfTheValuesWithThePresentWeights) {
    const std::unique_ptr<NNArch> arch = makeArch(EnergyModeScheme::exactForce);
    const SymmStatistics start = arch->getSymmStatistics();

    EXPECT_EQ(outputOf([&] { arch->renewSymmRanges(fixture.set); }), "");

    const std::unique_ptr<NNArch> fresh = fixture.makeArch();
    fresh->getSymmStatistics().elementWeights = start.elementWeights;
    fresh->applyElementWeights();
    outputOf([&] { fresh->statisticsSymmFuncs(&fixture.set); });
    const SymmStatistics& renewed = arch->getSymmStatistics();
    EXPECT_EQ(renewed.symmAve, fresh->getSymmStatistics().symmAve);
    EXPECT_EQ(renewed.symmDev, fresh->getSymmStatistics().symmDev);
    EXPECT_NE(renewed.symmDev, start.symmDev);
    EXPECT_EQ(renewed.functionShift, start.functionShift);
    EXPECT_EQ(renewed.functionScale, start.functionScale);
}

TEST_F(ElementWeightTraining, RestsWhereTheSettingsSaySo) {
    const auto isTrained = [&](int mode = NNArch::onlyEnergy) {
        const std::unique_ptr<NNArch> arch = fixture.makeArch(mode, true, true);
        EXPECT_EQ(arch->getElementWeightGrads().empty(), !arch->trainsElementWeights());
        return arch->trainsElementWeights();
    };

    EXPECT_TRUE(isTrained());
    EXPECT_FALSE(isTrained(NNArch::onlyCharge));
    EXPECT_TRUE(fixture.makeArch(NNArch::onlyEnergy, true, false)->getElementWeightGrads().empty());
    fixture.property.withCharge = 1;
    EXPECT_FALSE(isTrained());
    fixture.property.withCharge = 0;
    fixture.property.lbfgs = 5;
    EXPECT_FALSE(isTrained());
    fixture.property.lbfgs = 0;
    fixture.property.kindSettings["trainChannels"] = 0;
    EXPECT_FALSE(isTrained());
}

} // namespace
} // namespace melta
