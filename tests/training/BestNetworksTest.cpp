// Trainings that keep the networks with the least errors of the in-situ test.
#include "training/BestNetworks.hpp"

#include "training/EnergyTrainerFixture.hpp"

#include <algorithm>
#include <filesystem>
#include <limits>

namespace melta {
namespace {

using test::countOf;
using test::makeDataText;
using test::makeSet;
using test::parametersOf;
using test::printed;
using test::Progress;
using test::readProgress;
using test::readTextFile;

class Best : public test::EnergyTrainer {
protected:
    Best() {
        property.insituTest = 1;
        property.keepBest = 1;
        property.coefEnergy = 3.0f;
        property.coefForce = 0.5f;
        property.epochs = 40;
        set = makeSet(property, makeDataText({.numGeoms = 4}));
        testSet = makeSet(property, makeDataText({.numGeoms = 5, .seed = 2}), set.get());
    }

    void useAdam(float rate) {
        property.lbfgs = 0;
        property.learnRate = rate;
        property.learnRateFinal = rate;
    }

    [[nodiscard]] double measureOf(const Progress& epoch) const {
        return static_cast<double>(property.coefEnergy) * epoch.testEnergy * epoch.testEnergy +
               static_cast<double>(property.coefForce) * epoch.testForce * epoch.testForce;
    }

    // Of the stored networks.
    [[nodiscard]] double storedMeasure() const {
        const auto errors = evaluate(*testSet);
        return static_cast<double>(property.coefEnergy) * errors.etot +
               static_cast<double>(property.coefForce) * errors.force;
    }

    std::unique_ptr<GeometrySet> set;
    std::unique_ptr<GeometrySet> testSet;
};

TEST_F(Best, NetworksAreStoredWithEachOptimizer) {
    for (const int lbfgs : {8, 0}) {
        SCOPED_TRACE(lbfgs);
        useAdam(0.02f);
        property.lbfgs = lbfgs;

        output = train(*set, testSet.get());

        const std::vector<Progress> list = readProgress(output);
        const auto best = std::ranges::min_element(list, {}, [&](const Progress& p) { return measureOf(p); });
        ASSERT_NE(best->epoch, list.back().epoch) << output;
        EXPECT_CLOSE(storedMeasure(), measureOf(*best), 3.0 * printed);
        const std::string line =
            formatText("  * Keep the networks of epoch %d, the best on the testing data: ", best->epoch);
        EXPECT_EQ(countOf(output, line), 1) << output;
    }
}

TEST_F(Best, NetworksOfASuperEpochAreNamedByIt) {
    useAdam(0.02f);
    property.epochs = 5;
    property.superEpochs = 2;

    output = train(*set, testSet.get());

    EXPECT_NE(output.find(" of super epoch "), std::string::npos) << output;
}

// The training itself goes on from its last networks, whatever is stored on the way.
TEST_F(Best, NetworksDoNotChangeTheTraining) {
    std::vector<std::vector<Progress>> lists;
    for (const int keepBest : {0, 1}) {
        useAdam(0.05f);
        property.keepBest = keepBest;
        property.epochsStore = keepBest == 0 ? 0 : 1;
        sharedRandom().seed(5);
        lists.push_back(readProgress(train(*set, testSet.get())));
    }

    ASSERT_EQ(lists[0].size(), lists[1].size());
    for (std::size_t e = 0; e < lists[0].size(); ++e) {
        EXPECT_EQ(lists[0][e].testForce, lists[1][e].testForce) << e;
        EXPECT_EQ(lists[0][e].loss, lists[1][e].loss) << e;
    }
}

TEST_F(Best, NetworksOfARestartAreNeverWorseThanItsBeginning) {
    train(*set, testSet.get());
    const double before = storedMeasure();
    property.restart = 1;
    useAdam(5.0f);
    property.epochs = 3;

    output = train(*set, testSet.get());

    EXPECT_EQ(countOf(output, "  * Keep the networks of the beginning, the best on the testing data: "), 1)
        << output;
    EXPECT_CLOSE(storedMeasure(), before, 1.0e-4);
    EXPECT_EQ(output.find("WARNING"), std::string::npos) << output;
    EXPECT_FALSE(std::filesystem::exists(network + ".begin"));
}

TEST_F(Best, NetworksAreStoredWhereTheTrainingDiverges) {
    useAdam(1.0e-3f);
    property.epochs = 3;
    train(*set, testSet.get());
    const double before = storedMeasure();
    property.restart = 1;
    useAdam(1.0e30f);
    std::string message;

    output = test::outputOf([&] {
        message = test::stopMessageOf([&] {
            NNEnergyTrainer(&property, set.get(), testSet.get())
                .performTraining(network, file("dist"), file("EXIT"));
        });
    });

    EXPECT_TRUE(message.starts_with("the training diverged: ")) << message;
    EXPECT_CLOSE(storedMeasure(), before, 1.0e-4);
}

TEST_F(Best, NetworksAreMeasuredByTheFinalWeights) {
    useAdam(0.05f);
    property.coefEnergyFinal = 300.0f;

    output = train(*set, testSet.get());

    property.coefEnergy = property.coefEnergyFinal;
    const std::vector<Progress> list = readProgress(output);
    const auto best = std::ranges::min_element(list, {}, [&](const Progress& p) { return measureOf(p); });
    EXPECT_CLOSE(storedMeasure(), measureOf(*best), 3.0 * printed);
}

TEST_F(Best, NetworksOfValidationDataAreCalledSo) {
    useAdam(0.02f);
    property.epochs = 2;
    property.insituTest = 0;
    property.insituValid = 1;

    output = train(*set, testSet.get());

    EXPECT_EQ(countOf(output, "  (for validation data)\n"), 2) << output;
    EXPECT_EQ(countOf(output, "(for test data)"), 0) << output;
    EXPECT_EQ(countOf(output, ", the best on the validation data: "), 1) << output;
    EXPECT_EQ(countOf(output, "  * Calculate symmetry functions of VALIDATION data.\n\n"), 1) << output;
}

TEST_F(Best, OffersWithoutANumberAreRefused) {
    NNArch arch(NNArch::onlyEnergy, set->numElems, &property, true, true);
    test::outputOf([&] { arch.initLayers(set.get()); });
    const std::vector<float> first = parametersOf(arch);
    BestNetworks best;

    best.offer(arch, std::numeric_limits<float>::quiet_NaN(), {0, 1});
    EXPECT_TRUE(best.isEmpty());
    best.offer(arch, 2.0f, {0, 2});
    test::outputOf([&] { arch.initLayers(set.get()); });
    const std::vector<float> second = parametersOf(arch);
    best.offer(arch, 2.0f, {0, 3});
    best.offer(arch, std::numeric_limits<float>::quiet_NaN(), {0, 4});

    EXPECT_EQ(best.getMoment().epoch, 2);
    best.exchangeWith(arch);
    EXPECT_EQ(parametersOf(arch), first);
    best.exchangeWith(arch);
    EXPECT_EQ(parametersOf(arch), second);
}

} // namespace
} // namespace melta
