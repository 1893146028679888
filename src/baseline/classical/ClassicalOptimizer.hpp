#pragma once

#include "base/MyTimer.hpp"
#include "base/StopFile.hpp"
#include "baseline/classical/ClassicalLoss.hpp"
#include "baseline/classical/ClassicalPenalty.hpp"

#include <span>

namespace melta {

// How a try of the fit, or the fit, ended.
enum class FitStatus {
    notConverged = 0,
    converged = 1,
    allEpochsDone = 2,
    illegalValues = 3,
    exitedByUser = 4
};

// The clocks of a fit.
struct FitTimers {
    MyTimer wall;  // whole fit
    MyTimer epoch; // current epoch
};

// One try of the fit: minimises loss and penalty by L-BFGS over all geometries. Parameters, settings, loss
// and clocks are borrowed.
class ClassicalOptimizer {
public:
    ClassicalOptimizer(ClassicalParameters* ofFit, const Property* ofRun, ClassicalLoss* ofData,
                       const PairCutoff& cutoff, StopFile ofUser, FitTimers* ofRunTimers);

    // Starts from the present parameters and leaves them at the last point that the optimiser has accepted
    // and reported. The library is started anew, with an empty history, each time it returns with progress
    // but without an end. Prints a line for each iteration. Stops with "data length of L-BFGS is not
    // positive.", "cannot allocate data of L-BFGS.".
    FitStatus runLBFGS();

    // What the library asks back: loss, penalty and their gradient at x, and after each iteration whether to
    // end its loop.
    float evaluateLoss(std::span<const float> x, std::span<float> gradient);
    bool reportProgress(float lossAndPenalty);

private:
    // Numbers of an evaluation, for the progress line and the checks.
    struct Results {
        float loss = 0.0f;
        float penalty = 0.0f;
        float rmseE = 0.0f;
        float rmseF = 0.0f;

        [[nodiscard]] bool isFinite() const;
    };
    struct Point {
        ClassicalParameters parameters;
        Results results;
    };

    bool runLibrary(std::span<float> variables);
    [[nodiscard]] bool meetsTargets() const;
    void printProgress(int epoch);

    ClassicalParameters* parameters;
    const Property* property;
    ClassicalLoss* loss;
    ClassicalPenalty penalty;
    StopFile stopFile;
    FitTimers* timers;
    FitStatus status = FitStatus::notConverged;
    int epochCount = 0;        // iterations of this try
    Results results;           // of the last evaluation
    Point accepted;            // where the library stood last
    bool hasEvaluated = false; // in this run of the library
};

} // namespace melta
