#include "training/BeginningWatch.hpp"

#include "base/Reporting.hpp"
#include "network/NNArch.hpp"
#include "training/TrainingState.hpp"

#include <cmath>

namespace melta {

void BeginningWatch::takeBatch(const std::vector<int>& batch) {
    indices = batch;
    isWaiting = false;
}

void BeginningWatch::takeBatch(const std::vector<Geometry*>& batch) {
    geometries = batch;
    isWaiting = false;
}

void BeginningWatch::noteLoss(float loss) {
    const bool hasBatch = !indices.empty() || !geometries.empty();
    if (hasBatch && !beginLoss) {
        beginLoss = loss;
    }
}

bool BeginningWatch::isSpoiled(NNArch& arch, TrainingTask& task) const {
    if (!beginLoss) {
        return false;
    }
    const float loss = lossOfFirstBatch(arch, task);
    requireFiniteLoss(loss);
    return loss > limit * *beginLoss;
}

float BeginningWatch::lossOfFirstBatch(NNArch& arch, TrainingTask& task) const {
    const bool isSet = arch.getNumGeoms() > 0;
    if (!isSet && !indices.empty()) {
        arch.prepareBatch(indices);
    } else if (!isSet) {
        arch.prepareBatch(geometries, task.neededDerivatives());
    }
    task.evaluateTraining();
    if (!isSet) {
        arch.clearGeometries();
    }
    return task.lossValue();
}

void requireFiniteLoss(float loss) {
    if (!std::isfinite(loss)) {
        stopWithMessage("the training diverged: loss");
    }
}

} // namespace melta
