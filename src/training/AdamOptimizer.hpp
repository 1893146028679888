#pragma once

#include "training/TrainingState.hpp"

#include <vector>

namespace melta {

// Training by Adam over mini-batches or the full batch. Both arguments are borrowed.
class AdamOptimizer {
public:
    AdamOptimizer(TrainingState* ofRun, TrainingTask* ofTrainer) : state(ofRun), task(ofTrainer) {}

    // Runs the epochs of one super epoch and leaves the outcome in the state's trainState. With `direct`
    // symmetry functions are computed for each batch. Stops with "incorrect number of geometries." when the
    // batch is larger than the data, and with "the training diverged: loss".
    void optimize(bool fullBatch, bool direct, int batchSize);

private:
    void prepareInCore() const;
    bool runBatches(int epoch);
    bool runBatch(int position, bool isLastEpoch);
    void setBatch(int position) const;
    std::vector<Geometry*> geometriesOf(const std::vector<int>& batch) const;
    void takeFirst(const std::vector<int>& batch) const;
    bool stepOnBatch();
    void finishEpoch(int epoch, bool isStopped) const;

    TrainingState* state;
    TrainingTask* task;
    bool fullBatch = true;
    bool direct = false;
    int batchSize = 0;
    bool hasBatch = false;  // the batch of a full-batch run stays from epoch to epoch
    std::vector<int> index; // shuffled numbers of the geometries
};

} // namespace melta
