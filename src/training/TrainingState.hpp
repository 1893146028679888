#pragma once

#include "base/MyTimer.hpp"
#include "base/StopFile.hpp"
#include "config/Property.hpp"
#include "modelio/ModelStore.hpp"
#include "network/NNArch.hpp"
#include "structure/GeometrySet.hpp"
#include "training/BeginningWatch.hpp"
#include "training/BestNetworks.hpp"
#include "training/LearningCourse.hpp"
#include "training/TrainingStatus.hpp"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace melta {

// How an optimisation ended.
enum class TrainState { notConverged = 0, converged = 1, allEpochsDone = 2, exitedByUser = 3 };

class TrainingTask;

// What a training run holds while it runs: borrowed settings and data, the arrangement that is trained, that
// of the in-situ test, and where the run stands. The trainer owns it and its optimisers work on it.
struct TrainingState {
    const Property* property = nullptr;
    const GeometrySet* geometrySet = nullptr;
    const GeometrySet* testSet = nullptr; // null without in-situ test

    std::unique_ptr<NNArch> arch;
    std::unique_ptr<NNArch> testArch; // null without in-situ test
    MyTimer wallTimer;                // whole run
    MyTimer epochTimer;               // current epoch
    TrainState trainState = TrainState::notConverged;

    int superEpoch = 0;                  // the present one, from 0
    int numSuperEpochs = 1;              //
    int numGeomsSuper = 0;               // geometries of a super epoch
    std::vector<Geometry*> geomsOfSuper; // those of the present super epoch; empty when all data are used

    std::unique_ptr<ModelStore> store; // the files of the model
    std::string stopFileName;
    bool hasEpoch = false;    // any epoch of the run was made
    bool isRestored = false;  // the run goes on with stored networks
    BeginningWatch beginning; // of such a run
    LearningCourse course;    // of learning rate and weights, by Adam
    BestNetworks best;        // with keepBest
    TrainingStatus status;    // for the user of a terminal
    std::chrono::steady_clock::time_point lastStore = std::chrono::steady_clock::now(); // or the start

    // Whether another console or a signal asked to stop; takes the stop file away and notes it.
    bool pollStopFile();

    // Store the network on the way, if any epoch was made: when `epoch` is one of those, or when
    // `minutesStore` has passed; when it has; in any case. What cannot be written is told, and the training
    // goes on.
    void storeAtEpoch(int epoch, TrainingTask& task);
    void storeIfDue(TrainingTask& task);
    void storeMeanwhile(TrainingTask& task);

    // Stores the network at the end. Stops as ModelStore::storeNN.
    void storeNetwork(TrainingTask& task);

    // Tells the status line how many epochs of the present super epoch are done.
    void showProgress(double epochs);

    // The in-situ test of the present networks after an epoch, or with 0 of those of the beginning; with
    // keepBest it notes them if they are the best.
    void testNetworks(int epoch, TrainingTask& task);

private:
    [[nodiscard]] bool isStoreDue() const;
    void keepBeginningIfSpoiled(TrainingTask& task);
    void printBest() const;
    template <class Store>
    void storeBest(TrainingTask& task, const Store& storeNetworks);
};

// What is being fitted: the operations that an optimiser needs from a kind of training.
class TrainingTask {
public:
    TrainingTask() = default;
    virtual ~TrainingTask() = default;
    TrainingTask(const TrainingTask&) = delete;
    TrainingTask& operator=(const TrainingTask&) = delete;
    TrainingTask(TrainingTask&&) = delete;
    TrainingTask& operator=(TrainingTask&&) = delete;

    // Whether the symmetry functions need derivatives.
    [[nodiscard]] virtual Derivatives neededDerivatives() const = 0;

    // Loss and gradient of the present batch. True when the targets are met on it.
    virtual bool evaluateTraining() = 0;

    // Errors of the in-situ test. True when the targets are met on it; false without a test.
    virtual bool evaluateTest() = 0;

    // The measure of the networks on the in-situ test at its last evaluation: the less, the better.
    [[nodiscard]] virtual float testMeasure() const { return 0.0f; }

    // Gives the terms of the loss the weights of this position (LearningCourse), for the next evaluation.
    virtual void weighLoss(double /*position*/) {}

    // Loss of the last evaluateTraining, summed over the models.
    [[nodiscard]] virtual float lossValue() const = 0;

    // The progress line of an epoch.
    virtual void printProgress(int epoch) const = 0;

    // Moves the loss on with the epochs; below 0 at the start of a further super epoch. True when it changed.
    virtual bool updateScheme(int epoch) = 0;

    // Moves the loss on when the optimiser has stalled. False when it changed, so that it is worth going on;
    // true when the training is over.
    virtual bool advanceScheme() = 0;
};

} // namespace melta
