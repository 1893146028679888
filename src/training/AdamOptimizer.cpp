#include "training/AdamOptimizer.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace melta {

void AdamOptimizer::optimize(bool isFullBatch, bool isDirect, int sizeOfBatch) {
    fullBatch = isFullBatch;
    direct = isDirect;
    batchSize = sizeOfBatch;
    if (state->numGeomsSuper < batchSize) {
        stopWithMessage("incorrect number of geometries.");
    }
    const Property& property = *state->property;
    index.resize(static_cast<std::size_t>(state->numGeomsSuper));
    std::iota(index.begin(), index.end(), 0);
    state->trainState = TrainState::notConverged;
    state->course.beginSuperEpoch(property, state->superEpoch, state->numSuperEpochs);
    hasBatch = false;
    const bool isPartial = !direct && !state->geomsOfSuper.empty();
    if (isPartial) {
        prepareInCore();
    }
    for (int epoch = 1; epoch <= property.epochs; ++epoch) {
        state->course.beginEpoch(epoch);
        task->weighLoss(state->course.getPosition());
        const bool isStopped = runBatches(epoch);
        finishEpoch(epoch, isStopped);
        // A convergence or a stop in the very last epoch counts as the end of the epochs.
        if (epoch == property.epochs) {
            state->trainState = TrainState::allEpochsDone;
        }
        if (isStopped) {
            break;
        }
        state->epochTimer.reset();
        state->epochTimer.start();
    }
    if (isPartial) {
        state->arch->clearGeometriesAll();
    }
}

// The statistics of the symmetry functions stay those of all data.
void AdamOptimizer::prepareInCore() const {
    NNArch& arch = *state->arch;
    arch.setGeometriesAll(state->geomsOfSuper);
    constexpr bool isSilent = true;
    arch.computeAll(task->neededDerivatives(), isSilent);
    arch.normalizeAll();
}

// True when the training has to end.
bool AdamOptimizer::runBatches(int epoch) {
    const bool isLastEpoch = epoch == state->property->epochs;
    if (!hasBatch) {
        sharedRandom().shuffle(index);
    }
    for (int position = 0; position < state->numGeomsSuper; position += batchSize) {
        if (position > 0) {
            state->storeIfDue(*task);
        }
        if (runBatch(position, isLastEpoch)) {
            return true;
        }
        const double part = static_cast<double>(position + batchSize) / state->numGeomsSuper;
        state->showProgress(epoch - 1 + std::min(part, 1.0));
    }
    return false;
}

bool AdamOptimizer::runBatch(int position, bool isLastEpoch) {
    if (!hasBatch) {
        setBatch(position);
    }
    const bool isStopped = stepOnBatch();
    hasBatch = fullBatch && !isLastEpoch && !isStopped;
    if (!hasBatch) {
        state->arch->clearGeometries();
    }
    return isStopped;
}

// A last, partial batch is filled up from the start of the list.
void AdamOptimizer::setBatch(int position) const {
    NNArch& arch = *state->arch;
    std::vector<int> batch;
    for (int i = 0; i < batchSize; ++i) {
        batch.push_back(index[static_cast<std::size_t>((position + i) % state->numGeomsSuper)]);
    }
    takeFirst(batch);
    if (!direct) {
        arch.prepareBatch(batch);
        return;
    }
    arch.prepareBatch(geometriesOf(batch), task->neededDerivatives());
}

std::vector<Geometry*> AdamOptimizer::geometriesOf(const std::vector<int>& batch) const {
    std::vector<Geometry*> geometries;
    for (const int g : batch) {
        geometries.push_back(state->geomsOfSuper.empty() ? &state->geometrySet->getGeometry(g)
                                                         : state->geomsOfSuper[static_cast<std::size_t>(g)]);
    }
    return geometries;
}

// The in-core set of a part of the data does not outlive its super epoch.
void AdamOptimizer::takeFirst(const std::vector<int>& batch) const {
    if (!state->beginning.needsBatch()) {
        return;
    }
    if (direct || !state->geomsOfSuper.empty()) {
        state->beginning.takeBatch(geometriesOf(batch));
    } else {
        state->beginning.takeBatch(batch);
    }
}

// True when the targets are met or the user asks to stop.
bool AdamOptimizer::stepOnBatch() {
    const bool meetsTargets = task->evaluateTraining();
    const float loss = task->lossValue();
    if (!std::isfinite(loss) && !state->best.isEmpty()) {
        state->storeMeanwhile(*task);
    }
    requireFiniteLoss(loss);
    state->beginning.noteLoss(loss);
    if (meetsTargets) {
        state->trainState = TrainState::converged;
        return true;
    }
    state->arch->updateLayers(state->course.getRateScale());
    return state->pollStopFile();
}

void AdamOptimizer::finishEpoch(int epoch, bool isStopped) const {
    state->course.finishEpoch();
    state->testNetworks(epoch, *task);
    state->epochTimer.stop();
    state->wallTimer.suspend();
    task->printProgress(epoch);
    state->hasEpoch = true;
    if (!isStopped) {
        state->storeAtEpoch(epoch, *task);
        task->updateScheme(epoch);
    }
}

} // namespace melta
