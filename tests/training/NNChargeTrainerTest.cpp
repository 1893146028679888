#include "training/NNChargeTrainer.hpp"

#include "base/RandomSource.hpp"
#include "modelio/ModelStore.hpp"
#include "network/Numbers.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "training/LossScales.hpp"
#include "training/SmallData.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <sstream>

namespace melta {
namespace {

using test::countOf;
using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::stopMessageOf;

// One epoch as it was printed.
struct Epoch {
    double error = -1.0;
    double loss = -1.0;
    double testError = -1.0;
};

std::vector<Epoch> readEpochs(const std::string& output) {
    static const std::regex trainForm(
        R"(  #\. +(\d+)  RMSE\(Q\): (\d\.\d{3}e[+-]\d\d)  Loss: (\d\.\d{3}e[+-]\d\d)  Time\[ wall=\S+ epoch=\S+ \])");
    static const std::regex testForm(R"(  @         RMSE\(Q\): (\d\.\d{3}e[+-]\d\d)  \(for test data\))");
    std::vector<Epoch> epochs;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        if (line.starts_with("  #.")) {
            EXPECT_TRUE(std::regex_match(line, match, trainForm)) << line;
            EXPECT_EQ(std::stoul(match[1]), epochs.size() + 1) << line;
            epochs.push_back({std::stod(match[2]), std::stod(match[3]), -1.0});
        } else if (line.starts_with("  @")) {
            EXPECT_TRUE(std::regex_match(line, match, testForm)) << line;
            epochs.back().testError = std::stod(match[1]);
        }
    }
    return epochs;
}

class ChargeTrainer : public testing::Test {
protected:
    ChargeTrainer() : property(test::makeSmallProperty()) {
        sharedRandom().seed(5);
        property.withCharge = 1;
        property.modelsCharge = 2;
        property.layersCharge = 1;
        property.nodesCharge = 4;
        property.rmseCharge = 1.0e-9f;
        property.epochs = 4;
    }

    // Data whose charges follow from the distances of the neighbours.
    std::unique_ptr<GeometrySet> makeCharges(unsigned seed, const GeometrySet* trainingSet = nullptr) const {
        auto set = makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}, .seed = seed}), trainingSet);
        for (const auto& geometry : set->geometries) {
            for (int a = 0; a < geometry->numAtoms; ++a) {
                const auto atom = static_cast<std::size_t>(a);
                geometry->charges[atom] = geometry->elements[atom] == 0 ? 0.2f : -0.8f;
                for (const Neighbor& neighbor : geometry->getNeighbors(a)) {
                    geometry->charges[atom] += 0.3f * std::exp(-distanceOf(*geometry, atom, neighbor));
                }
            }
        }
        set->chargeAve = {0.3f, -0.6f};
        set->chargeDev = {0.1f, 0.05f};
        return set;
    }

    static float distanceOf(const Geometry& geometry, std::size_t atom, const Neighbor& neighbor) {
        const std::array<float, 3> place = geometry.computeNeighborPosition(neighbor);
        return std::hypot(place[0] - geometry.positions[3 * atom],
                          place[1] - geometry.positions[3 * atom + 1],
                          place[2] - geometry.positions[3 * atom + 2]);
    }

    std::string train(const GeometrySet& set, const GeometrySet* testSet = nullptr) {
        return outputOf([&] {
            NNChargeTrainer(&property, &set, testSet).performTraining(network, file("dist"), file("EXIT"));
        });
    }

    // Mean square of the errors of the stored model, and its sum over the models.
    struct Reference {
        double error = 0.0;
        double loss = 0.0;
    };
    Reference evaluate(const GeometrySet& set, const std::vector<float>& scales) {
        NNArch arch(NNArch::onlyCharge, set.numElems, &property, false, false);
        outputOf([&] {
            arch.initLayers(&set);
            restoreNN(arch, network, &set, false);
        });
        Reference result;
        double numAtoms = 0.0;
        for (const auto& geometry : set.geometries) {
            Geometry* const batch[] = {geometry.get()};
            arch.setGeometries(batch);
            arch.calculateSymmFuncs(false, false, true);
            arch.renormalizeSymmFuncs(false);
            arch.goForwardOnCharge();
            for (std::size_t a = 0; a < geometry->charges.size(); ++a) {
                const double error =
                    static_cast<double>(arch.obtainCharges(0)[a]) - static_cast<double>(geometry->charges[a]);
                result.error += error * error;
                result.loss += error * error *
                               static_cast<double>(scales[static_cast<std::size_t>(geometry->elements[a])]);
                numAtoms += 1.0;
            }
            arch.clearGeometries();
        }
        return {std::sqrt(result.error / numAtoms), result.loss / numAtoms};
    }

    // Settings under which an epoch shows the stored model and does not change it.
    void freezeAtStoredModel() {
        property.restart = 1;
        property.lbfgs = 0;
        property.epochs = 1;
        property.learnRate = 1.0e-20f;
        property.learnRateFinal = 1.0e-20f;
    }

    std::string file(const std::string& name) const { return directory.file(name); }

    test::StopCatcher stopCatcher;
    test::TemporaryDirectory directory;
    std::string network = directory.file("melta.data");
    Property property;
};

TEST_F(ChargeTrainer, PrintsTheErrorsOfTheCharges) {
    property.modelsCharge = 1;
    property.coefCharge = 3.0f;
    const auto set = makeCharges(1);
    const auto testSet = makeCharges(2, set.get());
    train(*set);
    freezeAtStoredModel();

    const std::vector<Epoch> epochs = readEpochs(train(*set, testSet.get()));

    const Reference expected = evaluate(*set, {3.0f, 3.0f});
    ASSERT_EQ(epochs.size(), 1U);
    EXPECT_NEAR(epochs[0].error, expected.error, 1.0e-3 * expected.error);
    EXPECT_NEAR(epochs[0].loss, expected.loss, 1.0e-3 * expected.loss);
    const double testError = evaluate(*testSet, {1.0f, 1.0f}).error;
    EXPECT_NEAR(epochs[0].testError, testError, 1.0e-3 * testError);
}

TEST_F(ChargeTrainer, WeighsTheElementsByTheirSpread) {
    for (const int sqrtLoss : {0, 1}) {
        property.modelsCharge = 1;
        property.coefCharge = 3.0f;
        property.sqrtLoss = sqrtLoss;
        property.restart = 0;
        property.lbfgs = 8;
        const auto set = makeCharges(1);
        train(*set);
        freezeAtStoredModel();
        property.renormLoss = 1;

        const std::string output = train(*set);

        const double loss = evaluate(*set, {3.0f / 0.01f, 3.0f / 0.0025f}).loss;
        const double expected = sqrtLoss != 0 ? std::sqrt(3.0 * loss) : loss;
        EXPECT_EQ(countOf(output, "  * Renormalize the loss function.\n\n"), 1);
        EXPECT_NEAR(readEpochs(output).at(0).loss, expected, 1.0e-3 * expected);
    }
}

TEST_F(ChargeTrainer, LearnsWithBothOptimisers) {
    const auto set = makeCharges(1);
    for (const int lbfgs : {0, 8}) {
        property.lbfgs = lbfgs;
        property.learnRate = 0.02f;
        property.learnRateFinal = 0.02f;
        property.epochs = 60;

        const std::vector<Epoch> epochs = readEpochs(train(*set));

        ASSERT_GE(epochs.size(), 10U) << lbfgs;
        EXPECT_LT(epochs.back().error, 0.3 * epochs.front().error) << lbfgs;
    }
}

TEST_F(ChargeTrainer, StoresHeadAndChargesOnly) {
    const auto set = makeCharges(1);

    train(*set);

    EXPECT_TRUE(std::filesystem::exists(network));
    EXPECT_TRUE(std::filesystem::exists(network + "_q"));
    EXPECT_FALSE(std::filesystem::exists(network + "_e"));
}

TEST_F(ChargeTrainer, ConvergesAtTheWantedError) {
    property.rmseCharge = 10.0f;
    const auto set = makeCharges(1);

    const std::string output = train(*set);

    EXPECT_EQ(readEpochs(output).size(), 1U);
    EXPECT_EQ(countOf(output, "\n  Converged.\n\n"), 1);
}

// A coefficient so small that it counts as none.
TEST_F(ChargeTrainer, NothingDrivesTheWeightsWithoutACoefficient) {
    const auto set = makeCharges(1);
    train(*set);
    const std::string stored = test::readTextFile(network + "_q");
    property.restart = 1;
    property.coefCharge = 0.0f;
    property.hasChargeCoef = 0;
    property.lbfgs = 0;

    const std::string output = train(*set);

    const std::vector<Epoch> epochs = readEpochs(output);
    ASSERT_EQ(epochs.size(), 4U);
    for (const Epoch& epoch : epochs) {
        EXPECT_EQ(epoch.loss, 0.0);
        EXPECT_EQ(epoch.error, epochs.front().error);
    }
    EXPECT_EQ(countOf(output, "\n  All epochs have been done.\n\n"), 1);
    EXPECT_EQ(test::readTextFile(network + "_q"), stored);
}

// Atomic energies play no part, and any target of the energies goes with a renormalised loss.
TEST_F(ChargeTrainer, DoesNotAskForEnergies) {
    property.renormLoss = 1;
    for (const int withHDNNP : {0, 1}) {
        property.withHDNNP = withHDNNP;
        const auto set = makeSet(property, makeDataText({.hasAtomEnergy = false}));
        set->chargeAve = {0.0f};
        set->chargeDev = {1.0f};

        EXPECT_EQ(readEpochs(train(*set)).size(), 4U) << withHDNNP;
    }
}

TEST(LossScales, StopWhereADeviationIsMissing) {
    const test::StopCatcher stopCatcher;
    Property property;
    property.renormLoss = 1;
    const std::vector<float> deviations{0.5f};

    EXPECT_EQ(stopMessageOf([&] { makeLossScales(property, 1.0f, deviations, 2); }),
              "index of element is out of range.");
    EXPECT_EQ(makeLossScales(property, 1.0f, deviations, 1), std::vector<float>{4.0f});
    property.renormLoss = 0;
    property.sqrtLoss = 1;
    EXPECT_EQ(makeLossScales(property, 3.0f, {}, 2), (std::vector<float>{9.0f, 9.0f}));
}

} // namespace
} // namespace melta
