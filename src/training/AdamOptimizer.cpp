#include "training/AdamOptimizer.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <numeric>

namespace melta {

void AdamOptimizer::optimize(bool isFullBatch, bool isDirect, int sizeOfBatch) {
    fullBatch = isFullBatch;
    direct = isDirect;
    batchSize = sizeOfBatch;
    if (session->numGeomsSuper < batchSize) {
        stopWithMessage("incorrect number of geometries.");
    }
    const Property& property = *session->property;
    const float minScale = property.learnRateFinal / property.learnRate;
    index.resize(static_cast<std::size_t>(session->numGeomsSuper));
    std::iota(index.begin(), index.end(), 0);
    session->trainState = TrainState::notConverged;
    scale = 1.0f;
    hasBatch = false;
    const bool isPartial = !direct && !session->geomsOfSuper.empty();
    if (isPartial) {
        prepareInCore();
    }
    for (int epoch = 1; epoch <= property.epochs; ++epoch) {
        const bool isStopped = runBatches(epoch == property.epochs);
        finishEpoch(epoch, isStopped);
        // A convergence or a stop in the very last epoch counts as the end of the epochs.
        if (epoch == property.epochs) {
            session->trainState = TrainState::allEpochsDone;
        }
        scale = std::max(minScale, scale * property.learnRateDecay);
        if (isStopped) {
            break;
        }
        session->epochTimer.reset();
        session->epochTimer.start();
    }
    if (isPartial) {
        session->arch->clearGeometriesAll();
    }
}

// The statistics of the symmetry functions stay those of all data.
void AdamOptimizer::prepareInCore() const {
    NNArch& arch = *session->arch;
    arch.setGeometriesAll(session->geomsOfSuper);
    arch.calculateSymmFuncs(task->needsDerivatives(), true, true);
    arch.renormalizeSymmFuncs(true);
}

// True when the training has to end.
bool AdamOptimizer::runBatches(bool isLastEpoch) {
    if (!hasBatch) {
        sharedRandom().shuffle(index);
    }
    for (int position = 0; position < session->numGeomsSuper; position += batchSize) {
        if (position > 0) {
            session->storeIfDue(*task);
        }
        if (runBatch(position, isLastEpoch)) {
            return true;
        }
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
        session->arch->clearGeometries();
    }
    return isStopped;
}

// A last, partial batch is filled up from the start of the list.
void AdamOptimizer::setBatch(int position) const {
    NNArch& arch = *session->arch;
    std::vector<int> batch;
    for (int i = 0; i < batchSize; ++i) {
        batch.push_back(index[static_cast<std::size_t>((position + i) % session->numGeomsSuper)]);
    }
    takeFirst(batch);
    if (!direct) {
        arch.setGeometries(std::span<const int>(batch));
        return;
    }
    arch.setGeometries(geometriesOf(batch));
    arch.calculateSymmFuncs(task->needsDerivatives(), false, false);
    arch.renormalizeSymmFuncs(false);
}

std::vector<Geometry*> AdamOptimizer::geometriesOf(const std::vector<int>& batch) const {
    std::vector<Geometry*> geometries;
    for (const int g : batch) {
        geometries.push_back(session->geomsOfSuper.empty()
                                 ? &session->geometrySet->obtainGeometry(g)
                                 : session->geomsOfSuper[static_cast<std::size_t>(g)]);
    }
    return geometries;
}

// The in-core set of a part of the data does not outlive its super epoch.
void AdamOptimizer::takeFirst(const std::vector<int>& batch) const {
    if (!session->beginning.needsBatch()) {
        return;
    }
    if (direct || !session->geomsOfSuper.empty()) {
        session->beginning.takeBatch(geometriesOf(batch));
    } else {
        session->beginning.takeBatch(batch);
    }
}

// True when the targets are met or the user asks to stop.
bool AdamOptimizer::stepOnBatch() {
    const bool meetsTargets = task->evaluateTraining();
    requireFiniteLoss(task->lossValue());
    session->beginning.noteLoss(task->lossValue());
    if (meetsTargets) {
        session->trainState = TrainState::converged;
        return true;
    }
    session->arch->updateLayers(scale);
    return session->pollStopFile();
}

void AdamOptimizer::finishEpoch(int epoch, bool isStopped) const {
    session->copyLayersToTest();
    task->evaluateTest();
    session->epochTimer.stop();
    session->wallTimer.suspend();
    task->printProgress(epoch);
    session->hasEpoch = true;
    if (!isStopped) {
        session->storeAtEpoch(epoch, *task);
        task->updateScheme(epoch);
    }
}

} // namespace melta
