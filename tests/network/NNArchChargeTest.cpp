// The charge networks of an arrangement.
#include "network/ArchFixture.hpp"

#include "network/BatchFixture.hpp"
#include "network/EnergyTwin.hpp"
#include "network/LossTerms.hpp"
#include "network/Numbers.hpp"
#include "network/ParameterPacking.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/SymmFuncFactory.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace melta {
namespace {

using test::ArchFixture;
using test::stopMessageOf;
using test::worstError;

constexpr std::array<int, 4> someSizes{6, 4, 5, 2};
const std::vector<float> chargeScale{1.3f, 0.6f};

std::vector<float> copyOf(std::span<const float> values) {
    return {values.begin(), values.end()};
}

void setDirectBatch(NNArch& arch, std::span<Geometry* const> geometries, bool derive = false) {
    arch.setGeometries(geometries);
    arch.calculateSymmFuncs(derive, false, true);
    arch.renormalizeSymmFuncs(false);
}

// The slow twin of one charge network. It knows one kind of atomic target only, so the geometries are given
// their charges as atomic energies.
class ChargeTwin {
public:
    ChargeTwin(const NNArch& arch, std::span<Geometry* const> batch, int model)
        : rows(calculateSymmRows(*SymmFuncFactory().createSymmFunc(arch.getNumElems(), arch.getProperty()),
                                 batch, true, false)) {
        renormalizeSymmRows(batch, rows, arch.getSymmStatistics());
        for (const SymmRows& row : rows) {
            symm.push_back(&row);
        }
        for (Geometry* const geometry : batch) {
            geometry->energies.assign(geometry->charges.begin(), geometry->charges.end());
        }
        twin =
            std::make_unique<test::EnergyTwin>(BatchView{arch.getChargeEnsembles(), batch, symm, 0}, model);
    }

    test::EnergyTwin* operator->() { return twin.get(); }

private:
    std::vector<SymmRows> rows;
    std::vector<const SymmRows*> symm;
    std::unique_ptr<test::EnergyTwin> twin;
};

TEST(NNArchCharge, GuardsThePasses) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> energy = fixture.makeArch();
    const std::unique_ptr<NNArch> charge = fixture.makeArch(NNArch::onlyCharge);
    std::vector<LossTerm> terms = test::makeChargeTerms(fixture.property, chargeScale);
    std::array<QuantityError, 1> error{{{&atomicCharge()}}};
    const auto stops = [&](NNArch& arch) {
        return std::vector<std::string>{stopMessageOf([&] { arch.goForwardOnCharge(); }),
                                        stopMessageOf([&] { arch.goBackwardOnCharge(terms); }),
                                        stopMessageOf([&] { arch.obtainCharges(0); }),
                                        stopMessageOf([&] { arch.squareErrorsOfCharge(error); })};
    };

    EXPECT_EQ(stops(*energy), std::vector<std::string>(4, "this is not charge-mode."));
    EXPECT_EQ(stops(*charge), std::vector<std::string>(4, "geometries have not been set."));
    // Missing factors are the first to be told.
    EXPECT_EQ(stopMessageOf([&] { energy->goBackwardOnCharge({}); }), "chargeScale is null.");
}

TEST(NNArchCharge, OnlyTheMainArrangementHasGradients) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::onlyCharge, false);
    arch->getSymmStatistics() = fixture.makeStatistics();
    setDirectBatch(*arch, fixture.getGeometries());
    std::vector<LossTerm> terms = test::makeChargeTerms(fixture.property, chargeScale);

    EXPECT_EQ(stopMessageOf([&] { arch->goBackwardOnCharge(terms); }),
              "cannot calculate gradients of weights, because this is not learnable.");
}

// A fresh network gives charges around the mean of the element, with their spread.
TEST(NNArchCharge, StartsFromTheMeansOfTheElements) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::energyAndCharge);

    for (std::size_t e = 0; e < 2; ++e) {
        const NNLayer& last = arch->getChargeEnsembles()[e].getLastLayer();
        EXPECT_EQ(last.getBiasShift(), fixture.set.chargeAve[e]);
        EXPECT_EQ(last.getWeightScale(), fixture.set.chargeDev[e]);
        EXPECT_EQ(arch->getEnergyEnsembles()[e].getLastLayer().getBiasShift(), 0.0f);
    }
}

TEST(NNArchCharge, StopsWhereAnElementHasNoDeviation) {
    ArchFixture fixture(2, someSizes);
    fixture.set.chargeDev.pop_back();

    EXPECT_EQ(stopMessageOf([&] { fixture.makeArch(NNArch::onlyCharge); }),
              "index of element is out of range.");
}

TEST(NNArchCharge, ChargesAreMeansOverTheModels) {
    ArchFixture fixture(2, someSizes);
    for (const int numModels : {1, 2}) {
        fixture.property.modelsCharge = numModels;
        const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::onlyCharge, false);
        arch->getSymmStatistics() = fixture.makeStatistics();
        const std::vector<Geometry*> batch = fixture.getGeometries();
        setDirectBatch(*arch, batch);

        arch->goForwardOnCharge();

        ChargeTwin first(*arch, batch, 0);
        ChargeTwin last(*arch, batch, numModels - 1);
        for (std::size_t g = 0; g < batch.size(); ++g) {
            std::vector<double> means = first->energiesOf(g);
            const std::vector<double> others = last->energiesOf(g);
            for (std::size_t a = 0; a < means.size(); ++a) {
                means[a] = (means[a] + others[a]) / 2.0;
            }
            EXPECT_LE(worstError(copyOf(arch->obtainCharges(static_cast<int>(g))), means), 2.0e-6);
        }
    }
}

void checkAgainstTwin(ArchFixture& fixture, std::vector<int> indices) {
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch(false, NNArch::onlyCharge);
    arch->setGeometries(std::span<const int>(indices));
    std::vector<Geometry*> batch;
    for (const int index : indices) {
        batch.push_back(fixture.getGeometries()[static_cast<std::size_t>(index)]);
    }
    std::vector<LossTerm> terms = test::makeChargeTerms(fixture.property, chargeScale);

    arch->clearWeightGrads();
    arch->goBackwardOnCharge(terms);

    std::vector<float> grads(getTotalDataSize(*arch));
    convertToTotalData(*arch, grads, true);
    std::size_t position = 0;
    for (std::size_t e = 0; e < arch->getChargeEnsembles().size(); ++e) {
        const NNEnsemble& ensemble = arch->getChargeEnsembles()[e];
        for (int m = 0; m < ensemble.getNumModels(); ++m) {
            test::LossTwin loss{test::toDouble(chargeScale), {}, false, fixture.property.sqrtLoss != 0};
            ChargeTwin twin(*arch, batch, m);
            twin->addLossGrads(loss);
            const double want = twin->energyLossOf(loss);
            EXPECT_LE(std::abs(static_cast<double>(terms[0].getLoss()[static_cast<std::size_t>(m)]) - want),
                      1.0e-5 * want);
            std::vector<double> expected = twin->networks[e].getGrads();
            const std::vector<const NNLayer*> layers = ensemble.getLayers();
            std::size_t next = 0;
            for (const NNLayer* const layer : layers) {
                const std::size_t size = layer->weightOf(m).size() + layer->biasOf(m).size();
                for (std::size_t i = 0; i < size; ++i) {
                    expected[next++] *= static_cast<double>(layer->getWeightScale());
                }
            }
            const std::vector<float> part(grads.begin() + static_cast<std::ptrdiff_t>(position),
                                          grads.begin() + static_cast<std::ptrdiff_t>(position + next));
            EXPECT_LE(worstError(part, expected), 1.0e-4) << "element " << e << ", model " << m;
            position += next;
        }
    }
    EXPECT_EQ(position, grads.size());
}

TEST(NNArchCharge, LossesAndGradientsAreThoseOfTheTwin) {
    for (const int sqrtLoss : {0, 1}) {
        ArchFixture fixture(2, someSizes);
        fixture.property.sqrtLoss = sqrtLoss;
        checkAgainstTwin(fixture, {3, 0, 2});
    }
}

TEST(NNArchCharge, PassesOverElementsWithoutAtoms) {
    ArchFixture fixture(2, someSizes);
    // Another geometry of one atom, of the first element.
    fixture.set.geometries.push_back(
        std::make_unique<Geometry>(test::makeGeometry(1, 2, 77, ArchFixture::rcut)));
    fixture.set.numGeoms += 1;

    checkAgainstTwin(fixture, {4});
}

TEST(NNArchCharge, BothKindsGoTogether) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::energyAndCharge, false);
    const std::unique_ptr<NNArch> energy = fixture.makeArch(NNArch::onlyEnergy, false);
    arch->getSymmStatistics() = fixture.makeStatistics();
    energy->getSymmStatistics() = arch->getSymmStatistics();
    for (NNArch* const each : {arch.get(), energy.get()}) {
        setDirectBatch(*each, fixture.getGeometries(), true);
        each->goBackwardOnForce();
    }

    arch->goForwardOnCharge();

    // The charges do not disturb the energies, whose networks were drawn first.
    EXPECT_EQ(copyOf(arch->obtainEnergies(1)), copyOf(energy->obtainEnergies(1)));
    EXPECT_EQ(copyOf(arch->obtainForces(1)), copyOf(energy->obtainForces(1)));
    EXPECT_NE(copyOf(arch->obtainCharges(1)), copyOf(arch->obtainEnergies(1)));
}

TEST(NNArchCharge, AddsSquaredErrors) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::onlyCharge, false);
    arch->getSymmStatistics() = fixture.makeStatistics();
    const std::vector<Geometry*> batch = fixture.getGeometries();
    setDirectBatch(*arch, batch);
    arch->goForwardOnCharge();
    double want = 10.0;
    for (int g = 0; g < 4; ++g) {
        const Geometry& geometry = *batch[static_cast<std::size_t>(g)];
        for (std::size_t a = 0; a < geometry.charges.size(); ++a) {
            want += std::pow(static_cast<double>(arch->obtainCharges(g)[a] - geometry.charges[a]), 2);
        }
    }
    std::array<QuantityError, 1> error{{{&atomicCharge(), 10.0f}}};

    arch->squareErrorsOfCharge(error);

    EXPECT_NEAR(static_cast<double>(error[0].sum), want, 1.0e-5 * want);
}

TEST(NNArchCharge, AnAdamStepMovesTheChargeNetworks) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch(true, NNArch::onlyCharge);
    arch->setGeometries(std::span<const int>(std::array{0, 1}));
    std::vector<LossTerm> terms = test::makeChargeTerms(fixture.property, chargeScale);
    arch->clearWeightGrads();
    arch->goBackwardOnCharge(terms);
    const float before = terms[0].getLoss()[0];

    arch->updateLayers(0.01f);
    arch->clearWeightGrads();
    arch->goBackwardOnCharge(terms);

    EXPECT_LT(terms[0].getLoss()[0], before);
}

TEST(NNArchCharge, ARestoredNetworkFollowsTheRange) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch(NNArch::onlyCharge, true);
    const std::vector<Geometry*> batch = fixture.getGeometries();
    arch->getSymmStatistics() = {{1.0f, 2.0f}, {3.0f, 4.0f}};
    setDirectBatch(*arch, batch);
    arch->goForwardOnCharge();
    const std::vector<float> before = copyOf(arch->obtainCharges(0));
    arch->clearGeometries();

    test::outputOf([&] { arch->statisticsSymmFuncs(&fixture.set); });
    setDirectBatch(*arch, batch);
    arch->goForwardOnCharge();

    EXPECT_LE(worstError(copyOf(arch->obtainCharges(0)), before), 1.0e-5);
}

TEST(NNArchCharge, CopiesLayersOfTheSameKindOnly) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> source = fixture.makeArch(NNArch::onlyCharge);
    const std::unique_ptr<NNArch> target = fixture.makeArch(NNArch::onlyCharge, false);
    target->getChargeEnsembles()[1].getLastLayer().biasOf(0).front() += 1.0f;

    copyLayers(*target, source.get());

    EXPECT_EQ(copyOf(target->getChargeEnsembles()[1].getLastLayer().biasOf(0)),
              copyOf(source->getChargeEnsembles()[1].getLastLayer().biasOf(0)));
    const std::unique_ptr<NNArch> energy = fixture.makeArch();
    EXPECT_EQ(stopMessageOf([&] { copyLayers(*target, energy.get()); }), "incorrect mode of arch.");
}

} // namespace
} // namespace melta
