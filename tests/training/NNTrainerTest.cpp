#include "training/NNTrainer.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "training/SmallData.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

namespace melta {
namespace {

using test::countOf;
using test::outputOf;
using test::stopMessageOf;

const std::string stored = "  * Store the neural network to the file.\n\n";
const std::string exited = "\n  Exited by user.\n\n";

// A trainer that fits nothing. It notes the super epochs and ends each as its script says, or leaves it to
// the optimiser.
class IdleTrainer final : public NNTrainer {
public:
    using NNTrainer::NNTrainer;

    std::vector<TrainState> script; // outcome of each super epoch; behind its end the optimiser works
    bool isEpochMade = true;        // what the script claims
    std::function<void()> onEvaluation;
    int numEvaluations = 0;
    int numTestGeoms = 0;
    std::vector<int> schemeUpdates;
    std::vector<std::vector<int>> superEpochs; // numbers of their geometries
    std::vector<int> batchSizes;

private:
    void optimize(bool fullBatch, bool direct, int batchSize) override {
        std::vector<int> numbers;
        for (const Geometry* const geometry : state.geomsOfSuper) {
            for (int g = 0; g < getGeometrySet().numGeoms; ++g) {
                if (geometry == &getGeometrySet().getGeometry(g)) {
                    numbers.push_back(g);
                }
            }
        }
        superEpochs.push_back(numbers);
        batchSizes.push_back(batchSize);
        if (superEpochs.size() > script.size()) {
            NNTrainer::optimize(fullBatch, direct, batchSize);
        } else {
            state.trainState = script[superEpochs.size() - 1];
            state.hasEpoch = isEpochMade;
        }
    }
    std::vector<LossTerm> makeLossTerms() const override { return {}; }
    int archModeOfTrainer() const override { return NNArch::onlyEnergy; }
    melta::Derivatives neededDerivatives() const override { return melta::Derivatives::no; }
    bool evaluateTraining() override {
        ++numEvaluations;
        if (onEvaluation) {
            onEvaluation();
        }
        return false;
    }
    bool evaluateTest() override {
        numTestGeoms = state.testArch ? state.testArch->getNumGeoms() : -1;
        return false;
    }
    float lossValue() const override { return 0.0f; }
    void printProgress(int epoch) const override { printOut("epoch %d\n", epoch); }
    bool updateScheme(int epoch) override {
        schemeUpdates.push_back(epoch);
        return NNTrainer::updateScheme(epoch);
    }
};

class Trainer : public testing::Test {
protected:
    Trainer() : property(test::makeSmallProperty()) {
        sharedRandom().seed(31);
        property.lbfgs = 0;
        property.epochs = 2;
    }

    void prepare(int numGeoms) {
        set = test::makeSet(property, test::makeDataText({.numGeoms = numGeoms}));
        trainer = std::make_unique<IdleTrainer>(&property, set.get(), testSet.get());
    }

    std::string run() {
        return outputOf([&] {
            trainer->performTraining(directory.file("net"), directory.file("dist"), directory.file("EXIT"));
        });
    }

    // What follows the line that opens the optimisation.
    std::string runOptimization() {
        const std::string output = run();
        const std::string mark = "  Optimization:\n\n";
        const auto at = output.find(mark);
        EXPECT_NE(at, std::string::npos) << output;
        const std::string rest = output.substr(at + mark.size());
        const auto wall = rest.find("  * Wall time: ");
        EXPECT_NE(wall, std::string::npos) << rest;
        return rest.substr(0, wall);
    }

    void askToStop() const { std::ofstream(directory.file("EXIT")).put('\n'); }
    bool exists(const std::string& name) const { return std::filesystem::exists(directory.file(name)); }

    test::TemporaryDirectory directory;
    Property property;
    std::unique_ptr<GeometrySet> set;
    std::unique_ptr<GeometrySet> testSet;
    std::unique_ptr<IdleTrainer> trainer;
};

TEST_F(Trainer, RefusesNullArguments) {
    const GeometrySet empty;

    EXPECT_EQ(stopMessageOf([&] { IdleTrainer(nullptr, nullptr, nullptr); }), "property is null.");
    EXPECT_EQ(stopMessageOf([&] { IdleTrainer(&property, nullptr, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { IdleTrainer(&property, &empty, nullptr); }), "(no stop)");
}

TEST_F(Trainer, NamesTheOptimizerBeforeItMissesTheGeometries) {
    const GeometrySet empty;
    std::string message;

    for (const int lbfgs : {0, 1}) {
        property.lbfgs = lbfgs;
        IdleTrainer idle(&property, &empty, nullptr);
        const std::string output =
            outputOf([&] { message = stopMessageOf([&] { idle.performTraining("net", "dist", "EXIT"); }); });

        EXPECT_EQ(message, "there are no geometries.");
        EXPECT_EQ(output,
                  lbfgs < 1 ? "  * Adam optimizer is used.\n\n" : "  * L-BFGS optimizer is used.\n\n");
    }
}

TEST_F(Trainer, TellsItsStepsInOrder) {
    prepare(5);

    const std::string output = run();

    const char* const expected[] = {
        "  * Adam optimizer is used.\n\n"
        "  * Full-batch algorithm is used.\n\n"
        "  * Symmetry functions w/ IN-CORE algorithm.\n\n"
        "  * There are 5 symmetry functions.\n\n"
        "  * Calculate symmetry functions.\n\n"
        "    |---",
        "===|\n\n"
        "  * Renormalize symmetry functions.\n\n"
        "    G (Si    ) = [ ",
        " ]\n\n"
        "  * Write distributions of symmetry functions.\n\n"
        "  Optimization:\n\n"
        "epoch 1\nepoch 2\n"
        "\n  All epochs have been done.\n\n"
        "  * Store the neural network to the file.\n\n"
        "  * Wall time: 0d 0h 0m ",
    };
    std::size_t at = 0;
    for (const char* const text : expected) {
        const auto found = output.find(text, at);
        ASSERT_NE(found, std::string::npos) << text << "\nnot in\n" << output;
        at = found;
    }
    EXPECT_TRUE(output.starts_with(expected[0]));
    EXPECT_TRUE(output.ends_with("s.\n\n"));
    EXPECT_TRUE(exists("net"));
    EXPECT_TRUE(exists("net_e"));
    EXPECT_TRUE(exists("dist"));
}

TEST_F(Trainer, TellsOfBothSetsWithAnInSituTest) {
    property.insituTest = 1;
    const auto trainingSet = test::makeSet(property, test::makeDataText({.numGeoms = 5}));
    testSet = test::makeSet(property, test::makeDataText({.numGeoms = 3, .seed = 2}), trainingSet.get());
    prepare(5);

    const std::string output = run();

    const auto training = output.find("  * Calculate symmetry functions of TRAINING data.\n\n");
    const auto distributions = output.find("  * Write distributions of symmetry functions.\n\n");
    const auto testing = output.find("  * Calculate symmetry functions of TESTING data.\n\n");
    EXPECT_LT(training, distributions);
    EXPECT_LT(distributions, testing);
    EXPECT_LT(testing, output.find("  Optimization:\n\n"));
    EXPECT_EQ(countOf(output, "symmetry functions.\n\n"), 3) << output;
    EXPECT_EQ(trainer->numTestGeoms, 3);
}

TEST_F(Trainer, HasNoTestArrangementWithoutTestData) {
    prepare(5);

    run();

    EXPECT_EQ(trainer->numTestGeoms, -1);
}

TEST_F(Trainer, PrintsTheOutcome) {
    const std::pair<TrainState, std::string> outcomes[] = {
        {TrainState::notConverged, "\n  NOT converged.\n\n"},
        {TrainState::converged, "\n  Converged.\n\n"},
        {TrainState::allEpochsDone, "\n  All epochs have been done.\n\n"},
        {TrainState::exitedByUser, exited},
    };
    for (const auto& [state, line] : outcomes) {
        prepare(4);
        trainer->script = {state};

        EXPECT_EQ(runOptimization(), line + stored);
    }
}

TEST_F(Trainer, StoresNothingWithoutAnEpoch) {
    prepare(4);
    trainer->script = {TrainState::converged, TrainState::converged};
    trainer->isEpochMade = false;
    property.superEpochs = 2;

    const std::string output = run();

    EXPECT_TRUE(output.find("\n  NOT converged.\n\n  * There was no epoch, so that nothing is stored.\n\n") !=
                std::string::npos)
        << output;
    EXPECT_EQ(countOf(output, stored), 0);
    EXPECT_FALSE(exists("net"));
    EXPECT_FALSE(exists("dist"));
}

TEST_F(Trainer, EndsBeforeItsFirstEpochIfAskedTo) {
    prepare(4);
    askToStop();

    const std::string output = run();

    EXPECT_EQ(output.find("Optimization"), std::string::npos) << output;
    EXPECT_EQ(countOf(output, exited), 1) << output;
    EXPECT_EQ(countOf(output, stored), 0) << output;
    EXPECT_EQ(trainer->numEvaluations, 0);
    EXPECT_FALSE(exists("EXIT"));
    EXPECT_FALSE(exists("net"));
}

// A long training must not find out at its end.
TEST_F(Trainer, TriesAtItsStartWhetherItCanStore) {
    for (const char* const name : {"dist", "net", "net_e"}) {
        prepare(4);
        std::filesystem::create_directory(directory.file(name));
        const std::string message = stopMessageOf([&] { run(); });

        EXPECT_EQ(message, "cannot open file: " + directory.file(name));
        EXPECT_EQ(trainer->numEvaluations, 0);
        std::filesystem::remove(directory.file(name));
        EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
    }
}

TEST_F(Trainer, RefusesAShapeThatNoNetworkHas) {
    const auto stopOf = [&](int Property::*field, int value) {
        prepare(4);
        const int right = property.*field;
        property.*field = value;
        const std::string message = stopMessageOf([&] { run(); });
        property.*field = right;
        return message;
    };
    const std::string rest = " of energy's neural network: " + directory.file("net");

    EXPECT_EQ(stopOf(&Property::modelsEnergy, 0), "incorrect #models" + rest);
    EXPECT_EQ(stopOf(&Property::layersEnergy, 0), "incorrect #layers" + rest);
    EXPECT_EQ(stopOf(&Property::nodesEnergy, -1), "incorrect #nodes" + rest);
    EXPECT_EQ(stopOf(&Property::activEnergy, 0), "incorrect activation" + rest);
    EXPECT_EQ(stopOf(&Property::activEnergy, 7), "incorrect activation" + rest);
}

TEST_F(Trainer, TakesSharesOfARandomOrder) {
    prepare(10);
    property.geomsEpoch = 4;
    property.superEpochs = 5;
    trainer->script.assign(5, TrainState::converged);

    const std::string output = runOptimization();

    ASSERT_EQ(trainer->superEpochs.size(), 5U);
    std::vector<int> list = trainer->superEpochs[0];
    for (const std::size_t s : {1U, 2U}) {
        EXPECT_EQ(trainer->superEpochs[s].size(), 4U);
        list.insert(list.end(), trainer->superEpochs[s].begin(), trainer->superEpochs[s].end());
    }
    // The third share is filled from the start of the order; then a new order begins.
    EXPECT_EQ(std::vector<int>(list.begin() + 10, list.end()),
              std::vector<int>(list.begin(), list.begin() + 2));
    EXPECT_EQ(std::set<int>(list.begin(), list.begin() + 10).size(), 10U);
    std::vector<int> next = trainer->superEpochs[3];
    next.insert(next.end(), trainer->superEpochs[4].begin(), trainer->superEpochs[4].end());
    EXPECT_EQ(std::set<int>(next.begin(), next.end()).size(), 8U);
    EXPECT_NE(next, std::vector<int>(list.begin(), list.begin() + 8));
    EXPECT_EQ(trainer->batchSizes, std::vector<int>(5, 4));
}

TEST_F(Trainer, TellsOfEachSuperEpochAndStoresBetweenThem) {
    prepare(4);
    property.geomsEpoch = 2;
    trainer->script = {TrainState::converged, TrainState::notConverged, TrainState::allEpochsDone};

    const std::string output = runOptimization();

    EXPECT_EQ(output, "  * Start the Super Epoch of [ 1 / 3 ].\n\n\n" + stored +
                          "  * Start the Super Epoch of [ 2 / 3 ].\n\n\n" + stored +
                          "  * Start the Super Epoch of [ 3 / 3 ].\n\n" +
                          "\n  All epochs have been done.\n\n" + stored);
    EXPECT_EQ(trainer->schemeUpdates, (std::vector<int>{0, -1, -1}));
}

TEST_F(Trainer, SuperEpochsOverAllDataChooseNothing) {
    prepare(4);
    property.superEpochs = 2;
    property.epochs = 1;

    const std::string output = runOptimization();

    EXPECT_EQ(output, "  * Start the Super Epoch of [ 1 / 2 ].\n\nepoch 1\n\n" + stored +
                          "  * Start the Super Epoch of [ 2 / 2 ].\n\nepoch 1\n" +
                          "\n  All epochs have been done.\n\n" + stored);
    EXPECT_EQ(trainer->superEpochs, (std::vector<std::vector<int>>{{}, {}}));
    EXPECT_EQ(trainer->schemeUpdates, (std::vector<int>{0, 1, -1, 1}));
}

TEST_F(Trainer, OptimisesAShareWithEachOptimizer) {
    for (const int lbfgs : {0, 4}) {
        property.lbfgs = lbfgs;
        property.geomsEpoch = 3;
        property.epochs = 1;
        prepare(6);

        const std::string output = runOptimization();

        EXPECT_EQ(trainer->superEpochs.size(), 3U);
        EXPECT_GE(trainer->numEvaluations, 3);
        // Without a gradient L-BFGS makes no step.
        EXPECT_EQ(countOf(output, stored), lbfgs == 0 ? 3 : 0);
    }
}

TEST_F(Trainer, TellsOfTheUsersExitOnce) {
    prepare(6);
    property.geomsEpoch = 2;
    property.epochs = 3;
    trainer->onEvaluation = [&] {
        if (trainer->numEvaluations == 4) {
            askToStop();
        }
    };

    const std::string output = runOptimization();

    EXPECT_EQ(output, "  * Start the Super Epoch of [ 1 / 4 ].\n\nepoch 1\nepoch 2\nepoch 3\n\n" + stored +
                          "  * Start the Super Epoch of [ 2 / 4 ].\n\nepoch 1\n" + exited + stored);
    EXPECT_FALSE(exists("EXIT"));
}

TEST_F(Trainer, RestartsWithoutAModelFromFreshWeights) {
    property.restart = 1;
    prepare(4);

    const std::string output = run();

    const auto at = output.find("  * There are 5 symmetry functions.\n\n"
                                "  * CANNOT restore the neural network from the file.\n\n"
                                "  * Calculate symmetry functions.\n\n");
    EXPECT_NE(at, std::string::npos) << output;
    EXPECT_TRUE(exists("net"));
}

TEST_F(Trainer, RestartsFromTheModelThatIsThere) {
    prepare(4);
    run();
    property.restart = 1;
    prepare(4);

    const std::string output = run();

    EXPECT_EQ(countOf(output, "  * Restore the neural network from the file.\n\n"), 1);
    EXPECT_EQ(countOf(output, "CANNOT"), 0);
}

// directSF 1 and a share of the data both keep the symmetry functions of all data out of memory.
TEST_F(Trainer, TakesRangesOverAllDataInAnyWayOfStorage) {
    std::set<std::string> ranges;
    std::set<std::string> distributions;
    for (const int variant : {0, 1, 2}) {
        property = test::makeSmallProperty();
        property.lbfgs = 0;
        property.epochs = 1;
        property.batchs = 2;
        property.directSF = variant == 1 ? 1 : 0;
        property.geomsEpoch = variant == 2 ? 4 : 0;
        prepare(6);

        const std::string output = run();

        const auto at = output.find("    G (Si    )");
        ASSERT_NE(at, std::string::npos) << output;
        ranges.insert(output.substr(at, output.find('\n', at) - at));
        distributions.insert(test::readTextFile(directory.file("dist")));
        EXPECT_EQ(countOf(output, "w/ DIRECT algorithm"), variant == 1 ? 1 : 0);
    }

    EXPECT_EQ(ranges.size(), 1U);
    EXPECT_EQ(distributions.size(), 1U);
    EXPECT_NE(*distributions.begin(), "");
}

} // namespace
} // namespace melta
