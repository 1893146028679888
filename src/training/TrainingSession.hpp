#pragma once

#include "config/Property.hpp"
#include "driver/MyTimer.hpp"
#include "driver/StopFile.hpp"
#include "network/NNArch.hpp"
#include "structure/GeometrySet.hpp"

#include <memory>
#include <string>
#include <vector>

namespace melta {

// How an optimisation ended.
enum class TrainState { notConverged = 0, converged = 1, allEpochsDone = 2, exitedByUser = 3 };

// What a training run holds while it runs: borrowed settings and data, the arrangement that is trained, that
// of the in-situ test, and where the run stands. The trainer owns it and its optimisers work on it.
struct TrainingSession {
    const Property* property = nullptr;
    const GeometrySet* geometrySet = nullptr;
    const GeometrySet* testSet = nullptr; // null without in-situ test

    std::unique_ptr<NNArch> arch;
    std::unique_ptr<NNArch> testArch; // null without in-situ test
    MyTimer wallTimer;                // whole run
    MyTimer epochTimer;               // current epoch
    TrainState trainState = TrainState::notConverged;

    int numGeomsSuper = 0;               // geometries of a super epoch
    std::vector<Geometry*> geomsOfSuper; // those of the present super epoch; empty when all data are used

    std::string nnFileName;
    std::string stopFileName;

    // Whether another console asked to stop; takes the request away and notes it.
    bool pollStopFile();

    // Stores the network when `epoch` is one of those.
    void storeAtEpoch(int epoch) const;

    void storeNetwork() const;

    // Gives the in-situ test the present weights.
    void copyLayersToTest() const;
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
    [[nodiscard]] virtual bool needsDerivatives() const = 0;

    // Loss and gradient of the present batch. True when the targets are met on it.
    virtual bool evaluateTraining() = 0;

    // Errors of the in-situ test. True when the targets are met on it; false without a test.
    virtual bool evaluateTest() = 0;

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
