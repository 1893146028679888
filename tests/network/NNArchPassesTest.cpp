// The passes of an arrangement and the steps of its weights.
#include "network/ArchFixture.hpp"

#include "network/EnergyTwin.hpp"
#include "network/LossTerms.hpp"
#include "network/Numbers.hpp"
#include "network/ParameterPacking.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/SymmFuncFactory.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace melta {
namespace {

using test::ArchFixture;
using test::outputOf;
using test::stopMessageOf;
using test::worstError;

constexpr std::array<int, 4> someSizes{6, 4, 5, 2};
const std::vector<float> energyScale{1.3f, 0.6f};
const std::vector<float> forceScale{0.7f, 1.9f};

std::vector<float> copyOf(std::span<const float> values) {
    return {values.begin(), values.end()};
}

void setDirectBatch(NNArch& arch, std::span<Geometry* const> geometries) {
    arch.setGeometries(geometries);
    arch.calculateSymmFuncs(true, false, true);
    arch.renormalizeSymmFuncs(false);
}

TEST(NNArchPasses, GuardsThePasses) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> energy = fixture.makeArch();
    NNArch charge(NNArch::onlyCharge, 2, &fixture.property, true, false);
    std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);
    std::array<QuantityError, 1> error{{{&totalEnergy()}}};
    const auto stops = [&](NNArch& arch) {
        return std::vector<std::string>{stopMessageOf([&] { arch.goBackwardOnForce(); }), stopMessageOf([&] {
                                            arch.evaluateLoss(NetworkTarget::energy, terms);
                                        }),
                                        stopMessageOf([&] { arch.squareErrorsOfEnergy(error); })};
    };

    EXPECT_EQ(stops(charge), std::vector<std::string>(3, "this is not energy-mode."));
    EXPECT_EQ(stops(*energy), std::vector<std::string>(3, "geometries have not been set."));
}

// Outputs, forces and gradients of a training on cluster functions.
struct TrainedBatch {
    explicit TrainedBatch(const ArchFixture& fixture) {
        const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch();
        arch->setGeometries(std::span<const int>(std::array{0, 1, 2, 3}));
        arch->setEnergyModeScheme(3, true);
        std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);
        arch->clearWeightGrads();
        arch->evaluateLoss(NetworkTarget::energy, terms);
        forces = copyOf(arch->obtainForces(1));
        gradient.resize(getTotalDataSize(*arch));
        convertToTotalData(*arch, gradient, true);
    }

    std::vector<float> forces;
    std::vector<float> gradient;
};

TEST(NNArchPasses, ClusterFunctionsTrainWithoutStoredDerivatives) {
    ArchFixture fixture(2, someSizes);
    fixture.property.symmFuncKind = ClusterKind::code;
    for (const int symmScale : {SymmScale::each, SymmScale::shared}) {
        fixture.property.symmScale = symmScale;
        fixture.property.storeDerivatives = 1;
        const TrainedBatch stored(fixture);
        fixture.property.storeDerivatives = 0;
        const TrainedBatch computed(fixture);

        EXPECT_LE(worstError(computed.forces, stored.forces), 2.0e-5);
        EXPECT_LE(worstError(computed.gradient, stored.gradient), 2.0e-5);
    }
}

TEST(NNArchPasses, StopsWithoutAScheme) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch();
    arch->setGeometries(std::span<const int>(std::array{0, 1}));

    std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);

    EXPECT_EQ(stopMessageOf([&] { arch->evaluateLoss(NetworkTarget::energy, terms); }),
              "energyModeScheme is not set.");
    arch->setEnergyModeScheme(4, true);
    EXPECT_EQ(stopMessageOf([&] { arch->evaluateLoss(NetworkTarget::energy, terms); }),
              "incorrect energyModeSchem to derive force.");
}

TEST(NNArchPasses, OnlyTheMainArrangementHasGradients) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> train = fixture.makeTrainingArch();
    const std::unique_ptr<NNArch> evaluating = fixture.makeArch(NNArch::onlyEnergy, false);
    evaluating->copySymmStatistics(train.get());
    evaluating->setEnergyModeScheme(3, true);
    setDirectBatch(*evaluating, fixture.getGeometries());
    std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);

    EXPECT_EQ(stopMessageOf([&] { evaluating->evaluateLoss(NetworkTarget::energy, terms); }),
              "cannot calculate gradients of weights, because this is not learnable.");
}

TEST(NNArchPasses, IgnoresTheSchemeWithoutEnergyNetworks) {
    const Property property;
    NNArch arch(NNArch::onlyCharge, 1, &property, true, false);

    EXPECT_EQ(outputOf([&] {
                  arch.setEnergyModeScheme(2, false);
                  arch.updateEnergyModeScheme(1000);
              }),
              "");

    EXPECT_EQ(arch.getEnergyModeScheme(), 0);
}

TEST(NNArchPasses, MovesOnWithTheScheme) {
    const ArchFixture fixture(1, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();

    EXPECT_EQ(outputOf([&] { arch->updateEnergyModeScheme(0); }), "  >>> Only energy-gradient is used.\n");
    EXPECT_EQ(arch->getEnergyModeScheme(), 1);
    EXPECT_EQ(outputOf([&] { arch->setEnergyModeScheme(3, true); }), "");
    EXPECT_EQ(arch->getEnergyModeScheme(), 3);
}

// The symmetry functions of a batch, computed apart from any arrangement.
struct RowsOfBatch {
    RowsOfBatch(const ArchFixture& fixture, const SymmStatistics& statistics,
                std::span<Geometry* const> batch) {
        const std::unique_ptr<SymmFunc> symmFunc =
            SymmFuncFactory().createSymmFunc(fixture.set.numElems, fixture.property);
        rows = calculateSymmRows(*symmFunc, batch, true, false);
        renormalizeSymmRows(batch, rows, statistics);
        for (const SymmRows& row : rows) {
            symm.push_back(&row);
        }
    }

    std::vector<SymmRows> rows;
    std::vector<const SymmRows*> symm;
};

std::vector<float> gradsOfModel(const NNEnsemble& ensemble, int model) {
    std::vector<float> grads;
    for (const NNLayer* const layer : ensemble.getLayers()) {
        const auto weights = layer->weightGradOf(model);
        const auto biases = layer->biasGradOf(model);
        grads.insert(grads.end(), weights.begin(), weights.end());
        grads.insert(grads.end(), biases.begin(), biases.end());
    }
    return grads;
}

std::vector<std::vector<float>> allGrads(const NNArch& arch) {
    std::vector<std::vector<float>> grads;
    for (const NNEnsemble& ensemble : arch.getEnergyEnsembles()) {
        for (int m = 0; m < ensemble.getNumModels(); ++m) {
            grads.push_back(gradsOfModel(ensemble, m));
        }
    }
    return grads;
}

void expectTwinsLossAndGrads(const NNArch& arch, std::span<const LossTerm> terms, test::EnergyTwin& twin,
                             const test::LossTwin& loss, int model) {
    const auto m = static_cast<std::size_t>(model);
    const double energyLoss = twin.energyLossOf(loss);
    const double forceLoss = twin.forceLossOf(loss);
    EXPECT_LE(std::abs(static_cast<double>(terms[0].getLoss()[m]) - energyLoss), 1.0e-5 * energyLoss);
    EXPECT_LE(std::abs(static_cast<double>(terms[1].getLoss()[m]) - forceLoss), 1.0e-5 * forceLoss);
    for (std::size_t e = 0; e < twin.networks.size(); ++e) {
        EXPECT_LE(worstError(gradsOfModel(arch.getEnergyEnsembles()[e], model), twin.networks[e].getGrads()),
                  1.0e-4)
            << "element " << e;
    }
}

void checkAgainstTwin(int numElems, int scheme, bool withHDNNP, bool sqrtLoss) {
    ArchFixture fixture(numElems, someSizes);
    fixture.property.withHDNNP = withHDNNP ? 1 : 0;
    fixture.property.sqrtLoss = sqrtLoss ? 1 : 0;
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch();
    arch->setEnergyModeScheme(scheme, true);
    arch->setGeometries(std::span<const int>(std::array{3, 0, 2}));
    const std::vector<Geometry*> all = fixture.getGeometries();
    const std::vector<Geometry*> batch{all[3], all[0], all[2]};
    const RowsOfBatch rows(fixture, arch->getSymmStatistics(), batch);
    test::LossTwin loss{test::toDouble(energyScale), test::toDouble(forceScale), withHDNNP, sqrtLoss,
                        scheme == EnergyModeScheme::exactForce};
    if (scheme == EnergyModeScheme::onlyEnergy) {
        loss.forceScale.clear();
    }
    std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);

    arch->clearWeightGrads();
    arch->evaluateLoss(NetworkTarget::energy, terms);

    for (int m = 0; m < 3; ++m) {
        test::EnergyTwin twin({arch->getEnergyEnsembles(), batch, rows.symm, {}}, m);
        twin.addLossGrads(loss);
        expectTwinsLossAndGrads(*arch, terms, twin, loss, m);
    }
}

// From the symmetry functions to the gradient, in each scheme.
TEST(NNArchPasses, LossesAndGradientsAreThoseOfTheTwin) {
    for (const int numElems : {1, 2}) {
        for (const int scheme : {1, 2, 3}) {
            for (const bool withHDNNP : {false, true}) {
                for (const bool sqrtLoss : {false, true}) {
                    SCOPED_TRACE(testing::Message()
                                 << numElems << " elements, scheme " << scheme << ", total energies "
                                 << withHDNNP << ", roots " << sqrtLoss);
                    checkAgainstTwin(numElems, scheme, withHDNNP, sqrtLoss);
                }
            }
        }
    }
}

TEST(NNArchPasses, BatchByIndexIsTheDirectBatch) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> inCore = fixture.makeTrainingArch();
    const std::unique_ptr<NNArch> direct = fixture.makeArch();
    direct->copySymmStatistics(inCore.get());
    const std::vector<Geometry*> all = fixture.getGeometries();
    const std::vector<Geometry*> batch{all[2], all[0]};
    inCore->setGeometries(std::span<const int>(std::array{2, 0}));
    setDirectBatch(*direct, batch);

    std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);
    std::vector<std::vector<float>> losses;
    for (NNArch* const arch : {inCore.get(), direct.get()}) {
        arch->setEnergyModeScheme(3, true);
        arch->clearWeightGrads();
        arch->evaluateLoss(NetworkTarget::energy, terms);
        losses.push_back(copyOf(terms[1].getLoss()));
    }

    EXPECT_EQ(allGrads(*inCore), allGrads(*direct));
    EXPECT_EQ(losses[0], losses[1]);
    for (int g = 0; g < 2; ++g) {
        EXPECT_EQ(copyOf(inCore->obtainEnergies(g)), copyOf(direct->obtainEnergies(g)));
        EXPECT_EQ(copyOf(inCore->obtainForces(g)), copyOf(direct->obtainForces(g)));
    }
}

TEST(NNArchPasses, WaysOfEvaluationAgree) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> train = fixture.makeTrainingArch();
    const std::unique_ptr<NNArch> evaluating = fixture.makeArch(NNArch::onlyEnergy, false);
    evaluating->copySymmStatistics(train.get());
    train->setEnergyModeScheme(1, true);
    train->setGeometries(std::span<const int>(std::array{0, 1, 2, 3}));
    setDirectBatch(*evaluating, fixture.getGeometries());
    std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);

    train->clearWeightGrads();
    train->evaluateLoss(NetworkTarget::energy, terms);
    evaluating->goBackwardOnForce();

    for (int g = 0; g < 4; ++g) {
        EXPECT_LE(worstError(copyOf(train->obtainEnergies(g)), copyOf(evaluating->obtainEnergies(g))),
                  1.0e-6);
        EXPECT_LE(worstError(copyOf(train->obtainForces(g)), copyOf(evaluating->obtainForces(g))), 2.0e-6);
    }
    // Without its own gradient the force loss is nil.
    EXPECT_EQ(copyOf(terms[1].getLoss()), std::vector<float>(3, 0.0f));
}

TEST(NNArchPasses, AddsSquaredErrors) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch();
    arch->setGeometries(std::span<const int>(std::array{0, 1, 2, 3}));
    arch->goBackwardOnForce();
    std::array<double, 3> want{10.0, 20.0, 30.0};
    for (int g = 0; g < 4; ++g) {
        const Geometry& geometry = *fixture.set.geometries[static_cast<std::size_t>(g)];
        double total = -geometry.energyTotal;
        for (std::size_t a = 0; a < geometry.energies.size(); ++a) {
            const auto energy = static_cast<double>(arch->obtainEnergies(g)[a]);
            total += energy;
            want[1] += std::pow(energy - geometry.energies[a], 2);
        }
        want[0] += std::pow(total / geometry.numAtoms, 2);
        for (std::size_t i = 0; i < geometry.forces.size(); ++i) {
            want[2] += std::pow(static_cast<double>(arch->obtainForces(g)[i] - geometry.forces[i]), 2);
        }
    }
    std::array<QuantityError, 3> errors{
        {{&totalEnergy(), 10.0f, 1}, {&atomicEnergy(), 20.0f, 2}, {&atomicForce(), 30.0f, 3}}};

    arch->squareErrorsOfEnergy(errors);

    const auto numAtoms = static_cast<std::size_t>(arch->getNumAtomsBatch());
    const std::array<std::size_t, 3> counts{1 + 4, 2 + numAtoms, 3 + 3 * numAtoms};
    for (std::size_t i = 0; i < errors.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(errors[i].sum), want[i], 1.0e-5 * want[i]);
        EXPECT_EQ(errors[i].count, counts[i]);
    }
}

// --- weights

TEST(NNArchPasses, StopsBeforeAnImpossibleUpdate) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> withoutAdam = fixture.makeArch();
    const std::unique_ptr<NNArch> withAdam = fixture.makeArch(NNArch::onlyEnergy, true, true);
    const std::unique_ptr<NNArch> test = fixture.makeArch(NNArch::onlyEnergy, false, false);

    EXPECT_EQ(stopMessageOf([&] { withoutAdam->updateLayers(0.0f); }), "cannot use Adam, to update layers.");
    EXPECT_EQ(stopMessageOf([&] { test->updateLayers(1.0f); }), "cannot use Adam, to update layers.");
    EXPECT_EQ(stopMessageOf([&] { withAdam->updateLayers(0.0f); }), "learning scale is not positive.");
    EXPECT_EQ(stopMessageOf([&] { withAdam->updateLayers(NAN); }), "learning scale is not positive.");
    EXPECT_EQ(stopMessageOf([&] { test->clearWeightGrads(); }),
              "cannot set grad of weight, because this is not learnable.");
}

TEST(NNArchPasses, LearnsByAdam) {
    ArchFixture fixture(2, someSizes);
    fixture.property.learnRate = 0.01f;
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch(true);
    arch->setEnergyModeScheme(3, true);
    arch->setGeometries(std::span<const int>(std::array{0, 1, 2, 3}));
    std::vector<LossTerm> terms = test::makeEnergyTerms(fixture.property, energyScale, forceScale);
    std::vector<float> losses;
    for (int step = 0; step < 200; ++step) {
        arch->clearWeightGrads();
        arch->evaluateLoss(NetworkTarget::energy, terms);
        losses.push_back(terms[0].getLoss()[0] + terms[1].getLoss()[0]);

        arch->updateLayers(0.5f);
    }

    EXPECT_LT(losses.back(), 0.5f * losses.front());
}

} // namespace
} // namespace melta
