#include "network/ParameterPacking.hpp"
#include "network/LossTerms.hpp"

#include "network/ArchFixture.hpp"
#include "network/Numbers.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <array>
#include <functional>

namespace melta {
namespace {

using test::ArchFixture;
using test::stopMessageOf;
using test::worstError;

constexpr std::array<int, 3> someSizes{6, 4, 5};

// What the vector should hold: a plain walk in its order.
std::vector<double> walk(const NNArch& arch, bool wantGrad) {
    std::vector<double> x;
    for (const NNEnsemble& ensemble : arch.getEnergyEnsembles()) {
        for (int m = 0; m < ensemble.getNumModels(); ++m) {
            for (const NNLayer* const layer : ensemble.getLayers()) {
                const auto s = static_cast<double>(layer->getWeightScale());
                const auto h = static_cast<double>(layer->getBiasShift());
                for (const float w : wantGrad ? layer->weightGradOf(m) : layer->weightOf(m)) {
                    x.push_back(wantGrad ? static_cast<double>(w) * s : static_cast<double>(w) / s);
                }
                for (const float b : wantGrad ? layer->biasGradOf(m) : layer->biasOf(m)) {
                    x.push_back(wantGrad ? static_cast<double>(b) * s : (static_cast<double>(b) - h) / s);
                }
            }
        }
    }
    return x;
}

// Output layers with shifts as well, as networks for charges have them.
void shiftOutputs(NNArch& arch) {
    for (NNEnsemble& ensemble : arch.getEnergyEnsembles()) {
        for (int m = 0; m < ensemble.getNumModels(); ++m) {
            ensemble.getLastLayer().initWeight(m, 1.3f, -0.4f);
            ensemble.getLastLayer().biasOf(m).front() += 0.1f * static_cast<float>(m + 1);
        }
    }
}

TEST(ParameterPacking, CountsAllParameters) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();

    // Two elements, three models: 19 inputs, two layers of 7 nodes, one output.
    EXPECT_EQ(getTotalDataSize(*arch), 2U * 3U * (20U * 7U + 8U * 7U + 8U));
}

TEST(ParameterPacking, PacksParametersInOrder) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeArch();
    shiftOutputs(*arch);
    std::vector<float> x(getTotalDataSize(*arch));

    convertToTotalData(*arch, x, false);

    EXPECT_LE(worstError(x, walk(*arch, false)), 3.0e-7);
    EXPECT_EQ(x.front(), arch->getEnergyEnsembles().front().getInterLayers().front().weightOf(0).front());
}

TEST(ParameterPacking, PacksGradientsInOrder) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch();
    shiftOutputs(*arch);
    arch->setEnergyModeScheme(3, true);
    arch->setGeometries(std::span<const int>(std::array{0, 1}));
    arch->clearWeightGrads();
    std::vector<LossTerm> terms =
        test::makeEnergyTerms(fixture.property, std::array{1.0f, 1.0f}, std::array{1.0f, 1.0f});
    arch->evaluateLoss(NetworkTarget::energy, terms);
    std::vector<float> x(getTotalDataSize(*arch));

    convertToTotalData(*arch, x, true);

    EXPECT_LE(worstError(x, walk(*arch, true)), 3.0e-7);
}

// The gradient belongs to the variables of the vector, not to the bare weights.
TEST(ParameterPacking, GradientIsTheSlopeOfTheLoss) {
    ArchFixture fixture(2, someSizes);
    fixture.property.modelsEnergy = 1;
    const std::unique_ptr<NNArch> arch = fixture.makeTrainingArch();
    arch->setEnergyModeScheme(3, true);
    arch->setGeometries(std::span<const int>(std::array{0, 1, 2}));
    std::vector<float> x(getTotalDataSize(*arch));
    convertToTotalData(*arch, x, false);
    std::vector<LossTerm> terms =
        test::makeEnergyTerms(fixture.property, std::array{1.0f, 1.0f}, std::array{1.0f, 1.0f});
    const auto lossAt = [&](const std::vector<float>& point) {
        convertFromTotalData(*arch, point);
        arch->clearWeightGrads();
        arch->evaluateLoss(NetworkTarget::energy, terms);
        return static_cast<double>(terms[0].getLoss()[0]) + static_cast<double>(terms[1].getLoss()[0]);
    };
    lossAt(x);
    std::vector<float> grads(x.size());
    convertToTotalData(*arch, grads, true);
    for (unsigned trial = 0; trial < 5; ++trial) {
        const std::vector<float> direction = test::randomFloats(x.size(), 70 + trial);
        std::vector<float> above = x;
        std::vector<float> below = x;
        double want = 0.0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            above[i] += 0.005f * direction[i];
            below[i] -= 0.005f * direction[i];
            want += static_cast<double>(grads[i]) * static_cast<double>(direction[i]);
        }

        const double slope = (lossAt(above) - lossAt(below)) / 0.01;

        EXPECT_LE(std::abs(slope - want), 0.01 * (std::abs(want) + 0.1));
    }
}

TEST(ParameterPacking, UnpacksWhatItPacked) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> source = fixture.makeArch();
    const std::unique_ptr<NNArch> target = fixture.makeArch();
    shiftOutputs(*source);
    shiftOutputs(*target);
    std::vector<float> x(getTotalDataSize(*source));
    convertToTotalData(*source, x, false);
    for (NNEnsemble& ensemble : target->getEnergyEnsembles()) {
        for (NNLayer* const layer : ensemble.getLayers()) {
            for (int m = 0; m < 3; ++m) {
                std::ranges::fill(layer->weightOf(m), 99.0f);
                std::ranges::fill(layer->biasOf(m), 99.0f);
            }
        }
    }

    convertFromTotalData(*target, x);

    for (std::size_t e = 0; e < 2; ++e) {
        const auto want = source->getEnergyEnsembles()[e].getLayers();
        const auto got = target->getEnergyEnsembles()[e].getLayers();
        for (std::size_t l = 0; l < want.size(); ++l) {
            for (int m = 0; m < 3; ++m) {
                // Hidden layers exactly, output layers up to a multiplication and a division.
                const double tolerance = l + 1 < want.size() ? 0.0 : 3.0e-7;
                EXPECT_LE(worstError(got[l]->weightOf(m), want[l]->weightOf(m)), tolerance);
                EXPECT_LE(worstError(got[l]->biasOf(m), want[l]->biasOf(m)), tolerance);
            }
        }
    }
}

TEST(ParameterPacking, CopiesLayersAndNothingElse) {
    ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> source = fixture.makeArch();
    shiftOutputs(*source);
    fixture.set.energyDev = {2.0, 3.0};
    const std::unique_ptr<NNArch> target = fixture.makeArch(NNArch::onlyEnergy, false);

    copyLayers(*target, source.get());

    for (std::size_t e = 0; e < 2; ++e) {
        const auto want = source->getEnergyEnsembles()[e].getLayers();
        const auto got = target->getEnergyEnsembles()[e].getLayers();
        for (std::size_t l = 0; l < want.size(); ++l) {
            for (int m = 0; m < 3; ++m) {
                EXPECT_EQ(worstError(got[l]->weightOf(m), want[l]->weightOf(m)), 0.0);
                EXPECT_EQ(worstError(got[l]->biasOf(m), want[l]->biasOf(m)), 0.0);
            }
        }
        EXPECT_EQ(got.back()->getWeightScale(), static_cast<float>(fixture.set.energyDev[e]));
        EXPECT_EQ(got.back()->getBiasShift(), 0.0f);
    }
}

TEST(ParameterPacking, StopsBeforeCopyingUnlikeNetworks) {
    const ArchFixture fixture(2, someSizes);
    const std::unique_ptr<NNArch> target = fixture.makeArch();
    const auto copyStops = [&](const std::function<void(Property&)>& change) {
        ArchFixture other(2, someSizes);
        change(other.property);
        const std::unique_ptr<NNArch> source = other.makeArch();
        return stopMessageOf([&] { copyLayers(*target, source.get()); });
    };
    const ArchFixture oneElement(1, someSizes);

    EXPECT_EQ(stopMessageOf([&] { copyLayers(*target, nullptr); }), "arch is null.");
    EXPECT_EQ(stopMessageOf([&] { copyLayers(*target, oneElement.makeArch().get()); }),
              "incorrect #elements of arch.");
    EXPECT_EQ(copyStops([](Property& p) { p.modelsEnergy = 2; }), "incorrect #models of arch.");
    EXPECT_EQ(copyStops([](Property& p) { p.layersEnergy = 3; }), "incorrect #layers of arch.");
    EXPECT_EQ(copyStops([](Property& p) { p.numRadius = 6; }), "incorrect #nodes(INP) of inter-layer.");
    EXPECT_EQ(copyStops([](Property& p) { p.nodesEnergy = 8; }), "incorrect #nodes(OUT) of inter-layer.");
    EXPECT_EQ(copyStops([](Property&) {}), "(no stop)");
}

TEST(ParameterPacking, StopsWithoutASingleKindOfNetworks) {
    const Property property;
    const std::vector<std::pair<int, std::string>> modes{
        {0, "total-data does not support energy-mode and charge-mode, simultaneously."},
        {3, "incorrect mode for total-data."}};
    for (const auto& [mode, message] : modes) {
        NNArch arch(mode, 1, &property, true, false);
        std::vector<float> x;

        EXPECT_EQ(stopMessageOf([&] { getTotalDataSize(arch); }), message);
        EXPECT_EQ(stopMessageOf([&] { convertToTotalData(arch, x, false); }), message);
        EXPECT_EQ(stopMessageOf([&] { convertFromTotalData(arch, x); }), message);
        EXPECT_EQ(stopMessageOf([&] { copyLayers(arch, &arch); }), message);
    }
}

} // namespace
} // namespace melta
