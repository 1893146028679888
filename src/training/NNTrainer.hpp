#pragma once

#include "network/LossTerm.hpp"
#include "training/TrainingPlan.hpp"
#include "training/TrainingState.hpp"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace melta {

// One training from the settings and the data to the stored network: it prepares the arrangements, runs the
// super epochs and reports. What is fitted is left to the subclasses; how, to the optimisers. It can also
// check the gradient that a training would follow.
class NNTrainer : protected TrainingTask {
public:
    // All borrowed; `testSet` null without in-situ test. Stops with "property is null." and "geometrySet is
    // null.".
    NNTrainer(const Property* property, const GeometrySet* geometrySet, const GeometrySet* testSet);

    // Trains and stores the network in `nnFile`, with the distributions of the symmetry functions in
    // `distrFile`; ends early when `stopFile` is there, which a run takes away before it begins. A run
    // without any epoch stores nothing. Stops with "there are no geometries.", "cannot open file: %s" if the
    // network cannot be written, "the training diverged: %s", and "incorrect %s of energy's neural network:
    // %s"
    // ("charge's") for a shape that the settings took from `nnFile`.
    virtual void performTraining(const std::string& nnFile, const std::string& distrFile,
                                 const std::string& stopFile);

    // Prints the analytic gradient of the loss beside finite differences with `shift`, for every parameter of
    // fresh networks or, with `restart`, of those in `nnFile`, on all geometries in one batch. Writes no
    // files. Stops with "weight/bias shift is zero.", "#all-geometries is not positive." and as
    // GradientCheck.
    virtual void performDebug(const std::string& nnFile, float shift);

protected:
    // Optimises the present super epoch.
    virtual void optimize(bool fullBatch, bool direct, int batchSize);

    // The terms of the loss, in the order in which their errors are shown; also terms without scales, whose
    // errors are shown only. Called for each super epoch or check, and where weights have moved; the
    // arrangement has its networks by then.
    [[nodiscard]] virtual std::vector<LossTerm> makeLossTerms() const = 0;

    // Weight of a term between its first and its final value, at the present position.
    [[nodiscard]] float weightNow(float first, float last) const {
        return hasMovingWeights(getProperty()) ? weightAt(weightPosition, first, last) : first;
    }

    // What is left to do with the networks when the optimiser is done, where all data are kept.
    virtual void settle(int /*batchSize*/) {}

    // The check itself, with the arrangement ready for batches.
    virtual void debugGradients(float shift);

    // Mode of the arrangements, see NNArch.
    [[nodiscard]] virtual int archModeOfTrainer() const = 0;

    bool evaluateTraining() override;
    bool evaluateTest() override;
    [[nodiscard]] float testMeasure() const override;
    void weighLoss(double place) override;
    [[nodiscard]] float lossValue() const override;
    void printProgress(int epoch) const override;
    bool updateScheme(int epoch) override;
    bool advanceScheme() override;

    const Property& getProperty() const { return *state.property; }
    const GeometrySet& getGeometrySet() const { return *state.geometrySet; }
    TrainingState state;

private:
    [[nodiscard]] NetworkTarget targetOfTrainer() const;
    // Root mean squares of the terms, in the units of the quantities; none where the batch has no values of a
    // quantity or, on training data, where it is watched only.
    using Errors = std::vector<std::optional<float>>; // [numTerms]

    [[nodiscard]] Errors errorsOf(const NNArch& arch, bool isTest) const;
    [[nodiscard]] bool meetsTargets(const Errors& errors) const;
    void requireShape(const std::string& nnFile) const;
    bool prepare(const TrainingPlan& plan, const std::string& nnFile);
    void prepareArchs(const TrainingPlan& plan, const std::string& nnFile);
    void prepareTrainingData(const TrainingPlan& plan);
    void prepareTestData();
    bool restoreIfAsked(const std::string& nnFile);
    void prepareLoss();
    void restoreCourse();
    void runSuperEpochs(const TrainingPlan& plan);
    void chooseGeometries();
    void printResult() const;
    void storeResult();

    std::vector<LossTerm> terms;    // of the loss
    double weightPosition = 0.0;    // of their weights, see LearningCourse
    std::vector<LossTerm> endTerms; // those of the end of the course, by which keepBest measures
    Errors trainErrors;
    Errors testErrors;

    std::vector<int> permutation; // random order of all geometries, from which super epochs take their share
    int position = 0;             // how much of it has been taken
};

} // namespace melta
