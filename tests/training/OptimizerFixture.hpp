// What the tests of both optimisers share: a state over geometries that are known by their sizes, and a
// task that notes what an optimiser asks of it and answers from a script.
#pragma once

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "training/SmallData.hpp"
#include "training/TrainingState.hpp"

#include <fstream>
#include <functional>
#include <memory>
#include <vector>

namespace melta::test {

class ScriptedTask final : public TrainingTask {
public:
    explicit ScriptedTask(TrainingState* ofRun) : state(ofRun) {}

    melta::Derivatives neededDerivatives() const override { return melta::Derivatives::no; }

    bool evaluateTraining() override {
        NNArch& arch = *state->arch;
        ++numEvaluations;
        std::vector<int> sizes;
        for (int g = 0; g < arch.getNumGeoms(); ++g) {
            sizes.push_back(static_cast<int>(arch.obtainEnergies(g).size()));
        }
        batches.push_back(sizes);
        arch.clearWeightGrads();
        const std::vector<float> x = parametersOf(arch);
        std::vector<float> gradient(x.size(), 0.0f);
        loss = lossOf ? lossOf(x, gradient) : 0.0f;
        addTotalGradient(arch, gradient);
        if (onEvaluation) {
            onEvaluation();
        }
        return numEvaluations == convergedAt;
    }

    bool evaluateTest() override {
        ++numTests;
        return false;
    }

    float lossValue() const override { return loss; }

    void printProgress(int epoch) const override {
        epochs.push_back(epoch);
        printedLoss.push_back(loss);
        printedParameters.push_back(parametersOf(*state->arch));
    }

    bool updateScheme(int epoch) override {
        schemeUpdates.push_back(epoch);
        if (epoch != schemeChangesAt) {
            return false;
        }
        if (onSchemeChange) {
            onSchemeChange();
        }
        return true;
    }

    bool advanceScheme() override {
        ++numAdvances;
        if (numAdvances < lastAdvance) {
            if (onSchemeChange) {
                onSchemeChange();
            }
            return false;
        }
        state->trainState = TrainState::converged;
        return true;
    }

    // The script.
    int convergedAt = -1;     // number of the evaluation that meets the targets
    int schemeChangesAt = -1; // epoch whose updateScheme changes the loss
    int lastAdvance = 1;      // number of the advanceScheme that ends the training
    std::function<void()> onEvaluation;
    std::function<void()> onSchemeChange;
    // Loss and its gradient at the total data x; zero when there is none.
    std::function<float(const std::vector<float>& x, std::vector<float>& gradient)> lossOf;

    // What has been asked.
    int numEvaluations = 0;
    int numTests = 0;
    int numAdvances = 0;
    std::vector<std::vector<int>> batches; // sizes of the geometries of each evaluation
    std::vector<int> schemeUpdates;        // their epochs
    mutable std::vector<int> epochs;       // those that were printed
    mutable std::vector<float> printedLoss;
    mutable std::vector<std::vector<float>> printedParameters; // at the time of each progress line

private:
    TrainingState* state;
    float loss = 0.0f;
};

// Sizes 1 to `count` in ascending order.
inline std::vector<int> ladderSizes(int count) {
    std::vector<int> sizes;
    for (int size = 1; size <= count; ++size) {
        sizes.push_back(size);
    }
    return sizes;
}

class OptimizerFixture : public testing::Test {
protected:
    OptimizerFixture() : property(makeSmallProperty()) { sharedRandom().seed(20240229); }

    // A state over a set with geometries of 1, 2, ... atoms, all of them in a super epoch and in core.
    void prepare(int numGeoms, bool useAdam) {
        set = makeSet(property, makeLadderText(numGeoms));
        state.property = &property;
        state.geometrySet = set.get();
        state.arch = makeArch(true, useAdam);
        state.numGeomsSuper = numGeoms;
        state.store = std::make_unique<ModelStore>(network, set.get());
        state.stopFileName = directory.file("melta.EXIT");
        state.wallTimer.start();
        state.epochTimer.start();
        registerInCore();
    }

    std::unique_ptr<NNArch> makeArch(bool isMain, bool useAdam) const {
        auto arch = std::make_unique<NNArch>(NNArch::onlyEnergy, set->numElems, &property, isMain, useAdam);
        outputOf([&] { arch->initLayers(set.get()); });
        arch->getSymmStatistics().symmAve.assign(1, 0.0f);
        arch->getSymmStatistics().symmDev.assign(1, 1.0f);
        return arch;
    }

    void registerInCore() const {
        state.arch->setGeometriesAll(set.get());
        state.arch->calculateSymmFuncs(false, true, true);
        state.arch->renormalizeSymmFuncs(true);
    }

    // Makes the geometries of these sizes the super epoch, as a training with a part of its data does.
    void takeSuperEpoch(const std::vector<int>& sizes) {
        state.arch->clearGeometriesAll();
        state.geomsOfSuper.clear();
        for (const int size : sizes) {
            state.geomsOfSuper.push_back(&set->getGeometry(size - 1));
        }
        state.numGeomsSuper = static_cast<int>(sizes.size());
    }

    void askToStop() const { std::ofstream(state.stopFileName).put('\n'); }

    TemporaryDirectory directory;
    std::string network = directory.file("melta.data");
    Property property;
    std::unique_ptr<GeometrySet> set;
    TrainingState state;
};

} // namespace melta::test
