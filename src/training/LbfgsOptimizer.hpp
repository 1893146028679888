#pragma once

#include "training/TrainingState.hpp"

#include <span>
#include <vector>

namespace melta {

// Training by limited-memory BFGS (Liu and Nocedal, Math. Program. 45, 503 (1989)) on the full batch. The
// library is started anew, with an empty history, whenever the loss changes or it returns without progress.
// Both arguments are borrowed.
class LbfgsOptimizer {
public:
    LbfgsOptimizer(TrainingState* ofRun, TrainingTask* ofTrainer) : state(ofRun), task(ofTrainer) {}

    // Runs the epochs of one super epoch and leaves the outcome in the state's trainState. Stops with
    // "L-BFGS does not support Mini-batch algorithm.", "L-BFGS does not support DIRECT algorithm.",
    // "incorrect number of geometries.", "data length of L-BFGS is not positive.", "cannot allocate data of
    // L-BFGS.", and with "the training diverged: %s" (loss, or gradient of the loss) where a start is not
    // finite; the networks of the last epoch are stored before.
    void optimize(bool fullBatch, bool direct, int batchSize);

    // What the library asks back: loss and gradient at x, and after each iteration whether to end its loop.
    float evaluate(std::span<const float> x, std::span<float> gradient);
    bool progress(std::span<const float> x, float loss);

private:
    void setBatch() const;
    void run(std::span<float> x);
    bool runLibrary(std::span<float> x);
    void noteStart(float loss, std::span<const float> gradient);
    void requireFiniteStart() const;

    TrainingState* state;
    TrainingTask* task;
    int epochCount = 0;              // iterations over the whole optimisation; they stand for epochs
    bool lbfgsStop = false;          // the optimisation has to end
    bool lbfgsSchemeChanged = false; // the last iteration changed the loss
    bool hasEvaluated = false;       // in this run of the library
    float startLoss = 0.0f;          // of this run of the library
    float startNorm = 0.0f;          // square of the length of the gradient there, as the library forms it
    std::vector<float> accepted;     // the library's last good point, as total data
};

} // namespace melta
