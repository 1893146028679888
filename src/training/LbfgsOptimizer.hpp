#pragma once

#include "training/TrainingSession.hpp"

#include <span>
#include <vector>

namespace melta {

// Training by limited-memory BFGS (Liu and Nocedal, Math. Program. 45, 503 (1989)) on the full batch. The
// library is started anew, with an empty history, whenever the loss changes or it returns without progress.
// Both arguments are borrowed.
class LbfgsOptimizer {
public:
    LbfgsOptimizer(TrainingSession* ofRun, TrainingTask* ofTrainer) : session(ofRun), task(ofTrainer) {}

    // Runs the epochs of one super epoch and leaves the outcome in the session's trainState. Stops with
    // "L-BFGS does not support Mini-batch algorithm.", "L-BFGS does not support DIRECT algorithm.",
    // "incorrect number of geometries.", "data length of L-BFGS is not positive.", "cannot allocate data of
    // L-BFGS.".
    void optimize(bool fullBatch, bool direct, int batchSize);

    // What the library asks back: loss and gradient at x, and after each iteration whether to end its loop.
    float evaluate(std::span<const float> x, std::span<float> gradient);
    bool progress(std::span<const float> x, float loss);

private:
    void setBatch() const;
    void run(std::span<float> x);
    bool runLibrary(std::span<float> x);

    TrainingSession* session;
    TrainingTask* task;
    int epochCount = 0;              // iterations over the whole optimisation; they stand for epochs
    bool lbfgsStop = false;          // the optimisation has to end
    bool lbfgsSchemeChanged = false; // the last iteration changed the loss
    std::vector<float> accepted;     // the library's last good point, as total data
};

} // namespace melta
