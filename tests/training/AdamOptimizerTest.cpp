#include "training/AdamOptimizer.hpp"

#include "training/OptimizerFixture.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>

namespace melta {
namespace {

using test::ladderSizes;
using test::outputOf;
using test::parametersOf;
using test::ScriptedTask;
using test::stopMessageOf;

class Adam : public test::OptimizerFixture {
protected:
    Adam() {
        property.lbfgs = 0;
        property.learnRate = 0.01f;
        property.learnRateFinal = 0.001f;
        property.learnRateDecay = 1.0f;
    }

    void prepare(int numGeoms) { OptimizerFixture::prepare(numGeoms, true); }

    void optimizeInBatches(int batchSize, bool direct = false) {
        AdamOptimizer(&state, &task).optimize(batchSize >= state.numGeomsSuper, direct, batchSize);
    }

    // How far one epoch moves a parameter when its gradient is the same at all times, in units of the first
    // epoch.
    std::vector<float> computeStepRatios() {
        task.lossOf = [](const std::vector<float>&, std::vector<float>& gradient) {
            std::ranges::fill(gradient, 1.0f);
            return 1.0f;
        };
        // A bias counts from zero, so that its steps keep their digits.
        std::vector<float> values{parametersOf(*state.arch).back()};
        optimizeInBatches(state.numGeomsSuper);
        for (const std::vector<float>& parameters : task.printedParameters) {
            values.push_back(parameters.back());
        }
        std::vector<float> ratios;
        for (std::size_t i = 1; i < values.size(); ++i) {
            ratios.push_back((values[i] - values[i - 1]) / (values[1] - values[0]));
        }
        return ratios;
    }

    ScriptedTask task{&state};
};

TEST_F(Adam, FillsTheLastBatchFromTheStartOfTheList) {
    prepare(70);
    property.epochs = 1;

    optimizeInBatches(30);

    ASSERT_EQ(task.batches.size(), 3U);
    std::vector<int> list = task.batches[0];
    list.insert(list.end(), task.batches[1].begin(), task.batches[1].end());
    list.insert(list.end(), task.batches[2].begin(), task.batches[2].begin() + 10);
    const std::vector<int> start(list.begin(), list.begin() + 20);
    EXPECT_EQ(std::vector<int>(task.batches[2].begin() + 10, task.batches[2].end()), start);
    EXPECT_NE(list, ladderSizes(70));
    std::ranges::sort(list);
    EXPECT_EQ(list, ladderSizes(70));
}

TEST_F(Adam, ShufflesAnewInEachEpochOfAMiniBatchRun) {
    prepare(12);
    property.epochs = 2;

    optimizeInBatches(6);

    ASSERT_EQ(task.batches.size(), 4U);
    EXPECT_NE(task.batches[0], task.batches[2]);
}

TEST_F(Adam, KeepsTheBatchOfAFullBatchRun) {
    prepare(12);
    property.epochs = 3;

    optimizeInBatches(12);

    ASSERT_EQ(task.batches.size(), 3U);
    EXPECT_NE(task.batches[0], ladderSizes(12));
    EXPECT_EQ(task.batches[1], task.batches[0]);
    EXPECT_EQ(task.batches[2], task.batches[0]);
    EXPECT_EQ(state.arch->getNumGeoms(), 0);
}

TEST_F(Adam, RefusesABatchLargerThanTheSuperEpoch) {
    prepare(4);

    EXPECT_EQ(stopMessageOf([&] { AdamOptimizer(&state, &task).optimize(false, false, 5); }),
              "incorrect number of geometries.");
}

TEST_F(Adam, TakesBatchesFromTheSuperEpoch) {
    for (const bool direct : {false, true}) {
        prepare(8);
        task.batches.clear();
        takeSuperEpoch({2, 3, 5, 8});
        property.epochs = 1;

        optimizeInBatches(2, direct);

        ASSERT_EQ(task.batches.size(), 2U);
        std::vector<int> list = task.batches[0];
        list.insert(list.end(), task.batches[1].begin(), task.batches[1].end());
        std::ranges::sort(list);
        EXPECT_EQ(list, (std::vector<int>{2, 3, 5, 8}));
        EXPECT_EQ(stopMessageOf([&] { state.arch->clearGeometriesAll(); }),
                  "geometriesAll have not been set.");
    }
}

TEST_F(Adam, StopsAtAGeometryBeyondTheSet) {
    prepare(4);
    state.numGeomsSuper = 5;

    EXPECT_EQ(stopMessageOf([&] { AdamOptimizer(&state, &task).optimize(false, true, 2); }),
              "index of geometry is out of range.");
}

TEST_F(Adam, DirectBatchesGiveTheWeightsOfStoredOnes) {
    property.epochs = 1;
    std::vector<std::vector<float>> results;
    for (const bool direct : {false, true}) {
        sharedRandom().seed(7);
        set = test::makeSet(property, test::makeDataText({.numGeoms = 8}));
        state.property = &property;
        state.geometrySet = set.get();
        state.arch = makeArch(true, true);
        state.numGeomsSuper = 8;
        state.stopFileName = directory.file("melta.EXIT");
        test::prepareStatistics(*state.arch, *set);
        if (!direct) {
            registerInCore();
        }
        std::vector<LossTerm> terms{{totalEnergy(), {1.0f}, false}};
        state.arch->setEnergyModeScheme(EnergyModeScheme::onlyEnergy, true);
        // Every draw of the batches' own shuffles comes after the list of the epoch has been shuffled.
        task.onEvaluation = [&] {
            state.arch->clearWeightGrads();
            state.arch->evaluateLoss(NetworkTarget::energy, terms);
        };
        for (unsigned epoch = 0; epoch < 4; ++epoch) {
            sharedRandom().seed(100 + epoch);
            optimizeInBatches(3, direct);
        }
        results.push_back(parametersOf(*state.arch));
    }

    EXPECT_EQ(results[0], results[1]);
}

TEST_F(Adam, LearningRateFallsGeometrically) {
    prepare(3);
    property.epochs = 6;
    property.learnRateDecay = 0.5f;
    property.learnRateFinal = 0.1f * property.learnRate;

    const std::vector<float> ratios = computeStepRatios();

    const float expected[] = {1.0f, 0.5f, 0.25f, 0.125f, 0.1f, 0.1f};
    ASSERT_EQ(ratios.size(), std::size(expected));
    for (std::size_t i = 0; i < ratios.size(); ++i) {
        EXPECT_LE(std::abs(ratios[i] - expected[i]), 1.0e-3f) << "epoch " << i + 1;
    }
}

TEST_F(Adam, AFinalRateAboveTheFirstOneHoldsFromTheSecondEpoch) {
    prepare(3);
    property.epochs = 4;
    property.learnRateDecay = 0.5f;
    property.learnRateFinal = 3.0f * property.learnRate;

    const std::vector<float> ratios = computeStepRatios();

    const float expected[] = {1.0f, 3.0f, 3.0f, 3.0f};
    ASSERT_EQ(ratios.size(), std::size(expected));
    for (std::size_t i = 0; i < ratios.size(); ++i) {
        EXPECT_LE(std::abs(ratios[i] - expected[i]), 3.0e-3f) << "epoch " << i + 1;
    }
}

TEST_F(Adam, FirstStepHasTheLengthOfTheLearningRate) {
    prepare(3);
    property.epochs = 1;
    task.lossOf = [](const std::vector<float>&, std::vector<float>& gradient) {
        std::ranges::fill(gradient, -2.0f);
        return 1.0f;
    };
    const std::vector<float> before = parametersOf(*state.arch);

    optimizeInBatches(3);

    const std::vector<float> after = parametersOf(*state.arch);
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_LE(std::abs(after[i] - before[i] - 0.01f), 1.0e-5f) << "parameter " << i;
    }
}

TEST_F(Adam, ConvergenceOnAMiniBatchEndsTheTraining) {
    prepare(9);
    property.epochs = 5;
    property.epochsStore = 1;
    task.convergedAt = 5;

    const std::string output = outputOf([&] { optimizeInBatches(3); });

    EXPECT_EQ(state.trainState, TrainState::converged);
    EXPECT_EQ(task.numEvaluations, 5);
    EXPECT_EQ(task.epochs, (std::vector<int>{1, 2}));
    EXPECT_EQ(task.schemeUpdates, (std::vector<int>{1}));
    EXPECT_EQ(output, "\n  * Store the neural network to the file.\n\n");
    EXPECT_EQ(state.arch->getNumGeoms(), 0);
}

TEST_F(Adam, ConvergenceLeavesTheWeightsThatMetTheTargets) {
    prepare(4);
    property.epochs = 5;
    task.convergedAt = 1;
    task.lossOf = [](const std::vector<float>&, std::vector<float>& gradient) {
        std::ranges::fill(gradient, 1.0f);
        return 1.0f;
    };
    const std::vector<float> before = parametersOf(*state.arch);

    optimizeInBatches(4);

    EXPECT_EQ(state.trainState, TrainState::converged);
    EXPECT_EQ(parametersOf(*state.arch), before);
    EXPECT_EQ(state.arch->getNumGeoms(), 0);
}

TEST_F(Adam, TheLastEpochReplacesAConvergence) {
    prepare(4);
    property.epochs = 2;
    task.convergedAt = 2;

    optimizeInBatches(4);

    EXPECT_EQ(task.numEvaluations, 2);
    EXPECT_EQ(state.trainState, TrainState::allEpochsDone);
}

TEST_F(Adam, TheLastEpochReplacesAStop) {
    prepare(4);
    property.epochs = 1;
    task.onEvaluation = [&] { askToStop(); };

    optimizeInBatches(4);

    EXPECT_EQ(state.trainState, TrainState::allEpochsDone);
    EXPECT_FALSE(StopFile(state.stopFileName).exists());
}

TEST_F(Adam, ObeysTheStopFileWithinAnEpoch) {
    prepare(9);
    property.epochs = 50;
    property.epochsStore = 2;
    task.lossOf = [](const std::vector<float>&, std::vector<float>& gradient) {
        std::ranges::fill(gradient, 1.0f);
        return 1.0f;
    };
    std::vector<float> before;
    task.onEvaluation = [&] {
        if (task.numEvaluations == 4) {
            before = parametersOf(*state.arch);
            askToStop();
        }
    };

    const std::string output = outputOf([&] { optimizeInBatches(3); });

    EXPECT_EQ(state.trainState, TrainState::exitedByUser);
    EXPECT_EQ(task.numEvaluations, 4);
    EXPECT_EQ(task.epochs, (std::vector<int>{1, 2}));
    EXPECT_EQ(task.schemeUpdates, (std::vector<int>{1}));
    EXPECT_NE(parametersOf(*state.arch), before);
    EXPECT_EQ(output, "");
    EXPECT_FALSE(StopFile(state.stopFileName).exists());
}

TEST_F(Adam, ConvergenceLeavesTheStopFile) {
    prepare(4);
    property.epochs = 5;
    task.convergedAt = 1;
    task.onEvaluation = [&] { askToStop(); };

    optimizeInBatches(4);

    EXPECT_EQ(state.trainState, TrainState::converged);
    EXPECT_TRUE(StopFile(state.stopFileName).exists());
}

TEST_F(Adam, WithoutEpochsNothingHappens) {
    prepare(4);
    property.epochs = 0;

    optimizeInBatches(4);

    EXPECT_EQ(state.trainState, TrainState::notConverged);
    EXPECT_EQ(task.numEvaluations, 0);
    EXPECT_TRUE(task.epochs.empty());
}

TEST_F(Adam, StoresTheNetworkInItsEpochs) {
    prepare(4);
    property.epochs = 7;
    property.epochsStore = 3;

    const std::string output = outputOf([&] { optimizeInBatches(4); });

    const std::string stored = "\n  * Store the neural network to the file.\n\n";
    EXPECT_EQ(output, stored + stored);
    EXPECT_NE(test::readTextFile(network), "");
    EXPECT_NE(test::readTextFile(network + "_e"), "");
}

TEST_F(Adam, StoresByTheClockToo) {
    for (const int minutes : {10, 0}) {
        prepare(6);
        property.epochs = 3;
        property.minutesStore = minutes;
        task.numEvaluations = 0;
        task.onEvaluation = [&] {
            if (task.numEvaluations == 5) { // within the second epoch of three batches
                state.lastStore -= std::chrono::minutes(10);
            }
        };

        const std::string output = outputOf([&] { optimizeInBatches(2); });

        EXPECT_EQ(output, minutes > 0 ? "\n  * Store the neural network to the file.\n\n" : "");
    }
}

TEST_F(Adam, GoesOnWhenItCannotStoreOnTheWay) {
    prepare(4);
    property.epochs = 2;
    property.epochsStore = 1;
    const std::string companion = network + "_e";
    std::filesystem::create_directory(companion);

    const std::string output = outputOf([&] { optimizeInBatches(4); });

    const std::string warned = "\n  * Store the neural network to the file.\n\n"
                               "  * WARNING: the neural network is not stored, cannot open file: " +
                               companion + "\n\n";
    EXPECT_EQ(output, warned + warned);
    EXPECT_EQ(state.trainState, TrainState::allEpochsDone);
    EXPECT_FALSE(std::filesystem::exists(network));
    EXPECT_EQ(stopMessageOf([&] { outputOf([&] { state.storeNetwork(task); }); }),
              "cannot open file: " + companion);
}

TEST_F(Adam, EndsWhereTheLossIsNotFinite) {
    for (const float bad :
         {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        prepare(4);
        property.epochs = 9;
        property.epochsStore = 1;
        task.numEvaluations = 0;
        task.lossOf = [&](const std::vector<float>&, std::vector<float>&) {
            return task.numEvaluations < 3 ? 1.0f : bad;
        };
        std::vector<float> before;
        task.onEvaluation = [&] { before = parametersOf(*state.arch); };

        std::string message;
        outputOf([&] { message = stopMessageOf([&] { optimizeInBatches(4); }); });

        EXPECT_EQ(message, "the training diverged: loss");
        EXPECT_EQ(parametersOf(*state.arch), before) << "no step follows";
        EXPECT_TRUE(std::filesystem::exists(network)) << "the networks of the second epoch stay";
    }
}

TEST_F(Adam, NeverStoresWithoutAnInterval) {
    for (const int interval : {0, -1}) {
        prepare(4);
        property.epochs = 3;
        property.epochsStore = interval;

        EXPECT_EQ(outputOf([&] { optimizeInBatches(4); }), "");
    }
}

TEST_F(Adam, MovesTheSchemeAfterEachEpoch) {
    prepare(4);
    property.epochs = 3;

    optimizeInBatches(2);

    EXPECT_EQ(task.schemeUpdates, (std::vector<int>{1, 2, 3}));
}

TEST_F(Adam, TestsWithTheWeightsOfTheEpoch) {
    prepare(4);
    property.epochs = 3;
    state.testArch = makeArch(false, false);
    task.lossOf = [](const std::vector<float>&, std::vector<float>& gradient) {
        std::ranges::fill(gradient, 1.0f);
        return 1.0f;
    };
    ASSERT_NE(parametersOf(*state.testArch), parametersOf(*state.arch));

    optimizeInBatches(2);

    EXPECT_EQ(task.numTests, 3);
    EXPECT_EQ(parametersOf(*state.testArch), parametersOf(*state.arch));
}

TEST_F(Adam, StartsEachCallFromTheFirstLearningRate) {
    prepare(3);
    property.epochs = 3;
    property.learnRateDecay = 0.5f;
    task.lossOf = [](const std::vector<float>&, std::vector<float>& gradient) {
        std::ranges::fill(gradient, 1.0f);
        return 1.0f;
    };
    AdamOptimizer optimizer(&state, &task);

    const float start = parametersOf(*state.arch).back();
    optimizer.optimize(true, false, 3);
    const float middle = parametersOf(*state.arch).back();
    optimizer.optimize(true, false, 3);
    const float end = parametersOf(*state.arch).back();

    EXPECT_LE(std::abs((end - middle) - (middle - start)), 1.0e-3f * std::abs(middle - start));
}

TEST_F(Adam, FindsTheMinimumOfAParabola) {
    prepare(3);
    property.epochs = 3000;
    property.learnRate = 0.03f;
    property.learnRateFinal = 1.0e-5f;
    property.learnRateDecay = 0.997f;
    task.lossOf = [](const std::vector<float>& x, std::vector<float>& gradient) {
        float loss = 0.0f;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const float distance = x[i] - 0.01f * static_cast<float>(i);
            loss += distance * distance;
            gradient[i] = 2.0f * distance;
        }
        return loss;
    };

    optimizeInBatches(3);

    const std::vector<float> found = parametersOf(*state.arch);
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_LE(std::abs(found[i] - 0.01f * static_cast<float>(i)), 1.0e-3f) << "parameter " << i;
    }
}

} // namespace
} // namespace melta
