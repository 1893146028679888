#include "training/LbfgsOptimizer.hpp"

#include "config/Codes.hpp"
#include "modelio/ModelStore.hpp"
#include "training/OptimizerFixture.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace melta {
namespace {

using test::ladderSizes;
using test::outputOf;
using test::parametersOf;
using test::ScriptedTask;
using test::stopMessageOf;

using Values = std::vector<float>;

const std::string warning = "\n  WARNNING: THIS NEURAL NETWORK WAS COMPLETELY OPTIMIZED.\n";
const std::string stored = "\n  * Store the neural network to the file.\n\n";

// A convex loss whose axes have different curvatures. Its minimum is at `target`.
struct Parabola {
    float target = 0.25f;

    float operator()(const Values& x, Values& gradient) const {
        float loss = 0.0f;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const float curvature = 1.0f + static_cast<float>(i % 7);
            const float distance = x[i] - target;
            loss += 0.5f * curvature * distance * distance;
            gradient[i] = curvature * distance;
        }
        return loss;
    }
};

float largestDistance(const Values& x, float target) {
    float largest = 0.0f;
    for (const float value : x) {
        largest = std::abs(value - target) <= largest ? largest : std::abs(value - target);
    }
    return largest;
}

float distanceOf(const Values& a, const Values& b) {
    float squares = 0.0f;
    for (std::size_t i = 0; i < a.size(); ++i) {
        squares += (a[i] - b[i]) * (a[i] - b[i]);
    }
    return std::sqrt(squares);
}

class Lbfgs : public test::OptimizerFixture {
protected:
    void prepare(int numGeoms = 4) { OptimizerFixture::prepare(numGeoms, false); }

    std::string optimize() {
        return outputOf([&] { LbfgsOptimizer(&state, &task).optimize(true, false, state.numGeomsSuper); });
    }

    ScriptedTask task{&state};
};

TEST_F(Lbfgs, RefusesWhatItCannotDoInThisOrder) {
    prepare();
    LbfgsOptimizer optimizer(&state, &task);

    EXPECT_EQ(stopMessageOf([&] { optimizer.optimize(false, true, 5); }),
              "L-BFGS does not support Mini-batch algorithm.");
    EXPECT_EQ(stopMessageOf([&] { optimizer.optimize(true, true, 5); }),
              "L-BFGS does not support DIRECT algorithm.");
    EXPECT_EQ(stopMessageOf([&] { optimizer.optimize(true, false, 5); }), "incorrect number of geometries.");
}

TEST_F(Lbfgs, FindsTheMinimumOfAParabolaWithEachLineSearch) {
    for (const int lineSearch :
         {LineSearch::moreThuente, LineSearch::armijo, LineSearch::wolfe, LineSearch::strongWolfe}) {
        SCOPED_TRACE(testing::Message() << "line search " << lineSearch);
        prepare();
        property.lineSearch = lineSearch;
        property.epochs = 60;
        task.lossOf = Parabola();

        optimize();

        const Values x = parametersOf(*state.arch);
        EXPECT_LE(largestDistance(x, 0.25f), 1.0e-4f);
    }
}

// The first trial goes one unit of length down the gradient. On a round parabola whose minimum lies at a
// chosen distance the searches judge it differently.
TEST_F(Lbfgs, SearchesAsTheSettingsSay) {
    struct Case {
        int lineSearch;
        bool takesSteepTrial; // the minimum is far away and the slope as steep as before
        int overshotTrials;   // until the first iteration, when the first trial has passed the minimum
        bool isOneEnough;     // with a single step allowed, the first trial at the minimum itself
    };
    const Case cases[] = {
        {LineSearch::moreThuente, false, 2, false},
        {LineSearch::armijo, true, 1, true},
        {LineSearch::wolfe, false, 1, true},
        {LineSearch::strongWolfe, false, 2, true},
    };
    for (const Case& given : cases) {
        SCOPED_TRACE(testing::Message() << "line search " << given.lineSearch);
        const auto trialsAt = [&](float distance, int lineSteps) {
            prepare();
            property.lineSearch = given.lineSearch;
            property.lineSteps = lineSteps;
            property.epochs = 1;
            task.numEvaluations = 0;
            task.epochs.clear();
            Values target = parametersOf(*state.arch);
            for (float& value : target) {
                value += distance / std::sqrt(static_cast<float>(target.size()));
            }
            task.lossOf = [target](const Values& x, Values& gradient) {
                float loss = 0.0f;
                for (std::size_t i = 0; i < x.size(); ++i) {
                    gradient[i] = x[i] - target[i];
                    loss += 0.5f * gradient[i] * gradient[i];
                }
                return loss;
            };
            optimize();
            return task.epochs.empty() ? 0 : task.numEvaluations - 1;
        };

        EXPECT_EQ(trialsAt(100.0f, 32) == 1, given.takesSteepTrial);
        EXPECT_EQ(trialsAt(0.505f, 32), given.overshotTrials);
        EXPECT_EQ(trialsAt(1.0f, 1), given.isOneEnough ? 1 : 0);
    }
}

TEST_F(Lbfgs, KeepsNoMoreHistoryThanItCanFill) {
    prepare();
    property.lbfgs = std::numeric_limits<int>::max();
    property.epochs = 10;
    task.lossOf = Parabola();

    optimize();

    EXPECT_EQ(task.epochs.size(), 10U);
    EXPECT_EQ(state.trainState, TrainState::allEpochsDone);
}

TEST_F(Lbfgs, CompleteOptimisationEndsTheTraining) {
    prepare();
    property.epochs = 100000;
    task.lossOf = Parabola();

    const std::string output = optimize();

    EXPECT_EQ(output, warning);
    EXPECT_EQ(task.numAdvances, 1);
    EXPECT_EQ(state.trainState, TrainState::converged);
    EXPECT_LT(task.epochs.size(), 1000U);
}

TEST_F(Lbfgs, TakesAllGeometriesAtOnceInRandomOrder) {
    prepare(9);
    property.epochs = 2;
    task.lossOf = Parabola();

    optimize();

    std::vector<int> sizes = task.batches.front();
    EXPECT_NE(sizes, ladderSizes(9));
    for (const std::vector<int>& batch : task.batches) {
        EXPECT_EQ(batch, sizes);
    }
    std::ranges::sort(sizes);
    EXPECT_EQ(sizes, ladderSizes(9));
    EXPECT_EQ(state.arch->getNumGeoms(), 0);
}

TEST_F(Lbfgs, TakesTheGeometriesOfTheSuperEpoch) {
    prepare(9);
    takeSuperEpoch({7, 2, 4});
    property.epochs = 1;
    task.lossOf = Parabola();

    optimize();

    EXPECT_EQ(task.batches.front(), (std::vector<int>{7, 2, 4}));
}

TEST_F(Lbfgs, OneEpochIsOneIteration) {
    prepare();
    property.epochs = 1;
    task.lossOf = Parabola();

    const std::string output = optimize();

    EXPECT_EQ(state.trainState, TrainState::allEpochsDone);
    EXPECT_EQ(task.epochs, (std::vector<int>{1}));
    EXPECT_TRUE(task.schemeUpdates.empty());
    EXPECT_EQ(output, "");
}

TEST_F(Lbfgs, ConvergenceEndsTheIteration) {
    prepare();
    property.epochs = 50;
    task.lossOf = Parabola();
    task.convergedAt = 4;

    const std::string output = optimize();

    EXPECT_EQ(state.trainState, TrainState::converged);
    EXPECT_LT(task.epochs.size(), 50U);
    EXPECT_EQ(parametersOf(*state.arch), task.printedParameters.back());
    EXPECT_EQ(output, "");
}

TEST_F(Lbfgs, ConvergenceLeavesTheStopFile) {
    prepare();
    property.epochs = 50;
    task.lossOf = Parabola();
    task.convergedAt = 2;
    task.onEvaluation = [&] { askToStop(); };

    optimize();

    EXPECT_EQ(state.trainState, TrainState::converged);
    EXPECT_TRUE(StopFile(state.stopFileName).exists());
}

TEST_F(Lbfgs, ObeysTheStopFileAfterAnIteration) {
    prepare();
    property.epochs = 50;
    property.epochsStore = 2;
    task.lossOf = Parabola();
    task.onEvaluation = [&] {
        if (task.epochs.size() == 3) {
            askToStop();
        }
    };

    const std::string output = optimize();

    EXPECT_EQ(state.trainState, TrainState::exitedByUser);
    EXPECT_EQ(task.epochs, (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(task.schemeUpdates, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(output, stored);
    EXPECT_FALSE(StopFile(state.stopFileName).exists());
}

TEST_F(Lbfgs, AStopCountsEvenInTheLastEpoch) {
    prepare();
    property.epochs = 1;
    task.lossOf = Parabola();
    task.onEvaluation = [&] { askToStop(); };

    optimize();

    EXPECT_EQ(state.trainState, TrainState::exitedByUser);
}

TEST_F(Lbfgs, StoresTheNetworkInItsEpochsButNotTheLast) {
    prepare();
    property.epochs = 6;
    property.epochsStore = 3;
    task.lossOf = Parabola();

    EXPECT_EQ(optimize(), stored);
    EXPECT_NE(test::readTextFile(network + "_e"), "");
}

TEST_F(Lbfgs, TestsWithTheWeightsOfTheIteration) {
    prepare();
    property.epochs = 3;
    state.testArch = makeArch(false, false);
    task.lossOf = Parabola();

    optimize();

    EXPECT_EQ(task.numTests, 3);
    EXPECT_EQ(parametersOf(*state.testArch), task.printedParameters.back());
}

TEST_F(Lbfgs, AChangeOfTheSchemeRestartsWithAnEmptyHistory) {
    prepare();
    property.epochs = 8;
    Parabola parabola;
    std::vector<Values> points;
    std::size_t restart = 0;
    task.lossOf = [&](const Values& x, Values& gradient) {
        points.push_back(x);
        return parabola(x, gradient);
    };
    task.schemeChangesAt = 3;
    task.onSchemeChange = [&] {
        parabola.target = -3.0f;
        restart = points.size();
    };

    const std::string output = optimize();

    ASSERT_GT(points.size(), restart + 1);
    EXPECT_LE(distanceOf(points[restart], task.printedParameters[2]), 1.0e-5f);
    // Without a history the first trial goes one unit of length down the gradient.
    Values gradient(points[restart].size());
    parabola(points[restart], gradient);
    const float length = distanceOf(gradient, Values(gradient.size(), 0.0f));
    Values expected = points[restart];
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expected[i] -= gradient[i] / length;
    }
    EXPECT_LE(distanceOf(points[restart + 1], expected), 1.0e-3f);
    EXPECT_EQ(task.epochs, (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(task.numAdvances, 0);
    EXPECT_EQ(state.trainState, TrainState::allEpochsDone);
    EXPECT_EQ(output, "");
}

TEST_F(Lbfgs, TriesOnceMoreBeforeItMovesTheSchemeOn) {
    prepare();

    const std::string output = optimize();

    EXPECT_EQ(task.numEvaluations, 2);
    EXPECT_EQ(task.numAdvances, 1);
    EXPECT_TRUE(task.epochs.empty());
    EXPECT_EQ(state.trainState, TrainState::converged);
    EXPECT_EQ(output, warning);
    EXPECT_EQ(state.arch->getNumGeoms(), 0);
}

TEST_F(Lbfgs, StallsCountAnewForEachScheme) {
    prepare();
    task.lastAdvance = 3;

    const std::string output = optimize();

    EXPECT_EQ(task.numEvaluations, 6);
    EXPECT_EQ(task.numAdvances, 3);
    EXPECT_EQ(output, warning);
}

TEST_F(Lbfgs, ProgressForgetsAStall) {
    prepare();
    property.epochs = 10;
    const Parabola parabola;
    std::size_t numEpochs = 0;
    int numFlat = 0; // evaluations since the last epoch
    // A stall at the first evaluation, then an iteration, then nothing but stalls.
    task.lossOf = [&](const Values& x, Values& gradient) {
        numFlat = task.epochs.size() == numEpochs ? numFlat + 1 : 1;
        numEpochs = task.epochs.size();
        const bool isFlat = task.numEvaluations == 1 || numEpochs > 0;
        return isFlat ? 0.0f : parabola(x, gradient);
    };

    optimize();

    EXPECT_GE(numEpochs, 1U);
    EXPECT_EQ(task.numAdvances, 1);
    EXPECT_EQ(numFlat, 2);
}

TEST_F(Lbfgs, MovingTheSchemeOnContinuesTheEpochs) {
    prepare();
    property.epochs = 400;
    Parabola parabola;
    task.lossOf = [&](const Values& x, Values& gradient) { return parabola(x, gradient); };
    task.lastAdvance = 2;
    std::size_t epochsBefore = 0;
    task.onSchemeChange = [&] {
        parabola.target = -0.5f;
        epochsBefore = task.epochs.size();
    };

    const std::string output = optimize();

    EXPECT_GT(epochsBefore, 0U);
    EXPECT_GT(task.epochs.size(), epochsBefore);
    for (std::size_t i = 0; i < task.epochs.size(); ++i) {
        EXPECT_EQ(task.epochs[i], static_cast<int>(i) + 1);
    }
    EXPECT_LE(largestDistance(parametersOf(*state.arch), -0.5f), 1.0e-4f);
    EXPECT_EQ(output, warning);
}

TEST_F(Lbfgs, WithoutASuccessfulStepTheWeightsStay) {
    prepare();
    property.lineSteps = 1; // the default search gives up before it looks at its first trial
    task.lossOf = Parabola();
    const Values before = parametersOf(*state.arch);

    const std::string output = optimize();

    const Values after = parametersOf(*state.arch);
    EXPECT_GT(task.numEvaluations, 2);
    EXPECT_TRUE(task.epochs.empty());
    EXPECT_LE(distanceOf(after, before), 1.0e-6f);
    EXPECT_EQ(output, warning);
}

// Backtracking searches take any loss that is not larger.
TEST_F(Lbfgs, ALossThatTurnsToNaNEndsTheRunWithTheLastPrintedWeights) {
    for (const int lineSearch :
         {LineSearch::moreThuente, LineSearch::armijo, LineSearch::wolfe, LineSearch::strongWolfe}) {
        SCOPED_TRACE(testing::Message() << "line search " << lineSearch);
        prepare();
        property.lineSearch = lineSearch;
        property.epochs = 50;
        task.epochs.clear();
        const Parabola parabola;
        task.lossOf = [&](const Values& x, Values& gradient) {
            if (task.epochs.size() < 3) {
                return parabola(x, gradient);
            }
            constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
            std::ranges::fill(gradient, notANumber);
            return notANumber;
        };

        const std::string message = stopMessageOf([this] { optimize(); });

        EXPECT_EQ(message, "the training diverged: loss");
        ASSERT_EQ(task.epochs.size(), 3U);
        EXPECT_EQ(parametersOf(*state.arch), task.printedParameters.back());
        EXPECT_TRUE(std::filesystem::exists(network + "_e"));
        std::filesystem::remove(network + "_e");
    }
}

TEST_F(Lbfgs, ABadStartEndsTheRunAndStoresNothing) {
    constexpr float large = 1.0e25f; // its square is beyond single precision
    for (const bool isLossFinite : {false, true}) {
        prepare();
        task.lossOf = [&](const Values& /*x*/, Values& gradient) {
            std::ranges::fill(gradient, large);
            return isLossFinite ? 1.0f : std::numeric_limits<float>::infinity();
        };

        const std::string message = stopMessageOf([this] { optimize(); });

        EXPECT_EQ(message,
                  std::string("the training diverged: ") + (isLossFinite ? "gradient of the loss" : "loss"));
        EXPECT_FALSE(std::filesystem::exists(network));
    }
}

TEST_F(Lbfgs, ALossThatTurnsToNoiseLeavesTheLastPrintedWeights) {
    for (const int lineSearch :
         {LineSearch::moreThuente, LineSearch::armijo, LineSearch::wolfe, LineSearch::strongWolfe}) {
        SCOPED_TRACE(testing::Message() << "line search " << lineSearch);
        prepare();
        property.lineSearch = lineSearch;
        property.lineSteps = 4;
        property.epochs = 200;
        task.epochs.clear();
        task.numAdvances = 0;
        std::mt19937 random(5);
        const Parabola parabola;
        task.lossOf = [&](const Values& x, Values& gradient) {
            const float loss = parabola(x, gradient);
            if (task.epochs.size() < 3) {
                return loss;
            }
            for (float& value : gradient) {
                value = static_cast<float>(random() % 2001U) - 1000.0f;
            }
            // Any trial is worse than what has been reached.
            return 1.0e6f + static_cast<float>(random() % 1000U);
        };

        optimize();

        EXPECT_EQ(task.numAdvances, 1);
        ASSERT_GE(task.epochs.size(), 3U);
        EXPECT_EQ(parametersOf(*state.arch), task.printedParameters.back());
    }
}

TEST_F(Lbfgs, StoredWeightsAreThoseOfTheEpoch) {
    prepare();
    property.epochs = 5;
    property.epochsStore = 2;
    task.lossOf = Parabola();

    optimize();

    // The file holds epoch 4, the arrangement epoch 5.
    auto stored4 = makeArch(false, false);
    outputOf([&] { restoreNN(*stored4, network, set.get(), false); });
    EXPECT_LE(distanceOf(parametersOf(*stored4), task.printedParameters[3]), 1.0e-5f);
    EXPECT_GT(distanceOf(parametersOf(*stored4), task.printedParameters[4]), 1.0e-3f);
}

} // namespace
} // namespace melta
