#include "training/LbfgsOptimizer.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "config/LbfgsSetup.hpp"
#include "network/ParameterPacking.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace melta {
namespace {

constexpr float smallestGradient = 1.0e-10f;

lbfgsfloatval_t evaluateCallback(void* instance, const lbfgsfloatval_t* x, lbfgsfloatval_t* g, int n,
                                 lbfgsfloatval_t /*step*/) {
    const auto length = static_cast<std::size_t>(n);
    return static_cast<LbfgsOptimizer*>(instance)->evaluate({x, length}, {g, length});
}

int progressCallback(void* instance, const lbfgsfloatval_t* x, const lbfgsfloatval_t* /*g*/,
                     lbfgsfloatval_t fx, lbfgsfloatval_t /*xnorm*/, lbfgsfloatval_t /*gnorm*/,
                     lbfgsfloatval_t /*step*/, int n, int /*k*/, int /*ls*/) {
    const auto length = static_cast<std::size_t>(n);
    return static_cast<LbfgsOptimizer*>(instance)->progress({x, length}, fx) ? 1 : 0;
}

} // namespace

void LbfgsOptimizer::optimize(bool fullBatch, bool direct, int batchSize) {
    if (!fullBatch) {
        stopWithMessage("L-BFGS does not support Mini-batch algorithm.");
    }
    if (direct) {
        stopWithMessage("L-BFGS does not support DIRECT algorithm.");
    }
    if (batchSize > state->numGeomsSuper) {
        stopWithMessage("incorrect number of geometries.");
    }
    setBatch();
    const std::size_t length = getTotalDataSize(*state->arch);
    const LbfgsVector lbfgsData = allocateLbfgsVector(length);
    state->trainState = TrainState::notConverged;
    epochCount = 0;
    run({lbfgsData.get(), length});
    state->arch->clearGeometries();
}

void LbfgsOptimizer::setBatch() const {
    NNArch& arch = *state->arch;
    if (!state->geomsOfSuper.empty()) {
        arch.prepareBatch(state->geomsOfSuper, task->neededDerivatives());
        return;
    }
    std::vector<int> indices(static_cast<std::size_t>(state->numGeomsSuper));
    std::iota(indices.begin(), indices.end(), 0);
    sharedRandom().shuffle(indices);
    arch.prepareBatch(indices);
}

void LbfgsOptimizer::run(std::span<float> x) {
    int stalled = 0;
    for (;;) {
        const bool hasMoved = runLibrary(x);
        if (lbfgsStop) {
            return;
        }
        if (hasMoved) {
            stalled = 0;
            continue;
        }
        if (++stalled < 2) {
            continue;
        }
        if (task->advanceScheme()) {
            printOut("\n  WARNNING: THIS NEURAL NETWORK WAS COMPLETELY OPTIMIZED.\n");
            flushOut();
            return;
        }
        stalled = 0;
    }
}

// One run of the library from the present weights. True when it made progress or the loss has changed.
bool LbfgsOptimizer::runLibrary(std::span<float> x) {
    lbfgsStop = false;
    lbfgsSchemeChanged = false;
    hasEvaluated = false;
    const int before = epochCount;
    convertToTotalData(*state->arch, x, false);
    accepted.assign(x.begin(), x.end());
    lbfgs_parameter_t parameters = makeLbfgsParameters(*state->property, smallestGradient);
    lbfgsfloatval_t loss = 0.0f;
    const int result = lbfgs(static_cast<int>(x.size()), x.data(), &loss, evaluateCallback, progressCallback,
                             this, &parameters);
    requireLbfgsMemory(result);
    // A failed line search leaves its last trial in the layers.
    convertFromTotalData(*state->arch, accepted);
    const bool hasMoved = lbfgsSchemeChanged || epochCount != before;
    if (!hasMoved) {
        requireFiniteStart();
    }
    return hasMoved;
}

// A line search that meets numbers that are not finite is shortened or given up, and the run goes on from the
// last good point; only where this point itself is without a finite loss, there is no way on. By then it is
// back in the layers.
void LbfgsOptimizer::requireFiniteStart() const {
    if (std::isfinite(startLoss) && std::isfinite(startNorm)) {
        return;
    }
    if (state->hasEpoch) {
        state->storeMeanwhile(*task);
    }
    stopWithMessage("the training diverged: %s", std::isfinite(startLoss) ? "gradient of the loss" : "loss");
}

void LbfgsOptimizer::noteStart(float loss, std::span<const float> gradient) {
    if (!std::exchange(hasEvaluated, true)) {
        startLoss = loss;
        startNorm = std::inner_product(gradient.begin(), gradient.end(), gradient.begin(), 0.0f);
    }
}

float LbfgsOptimizer::evaluate(std::span<const float> x, std::span<float> gradient) {
    convertFromTotalData(*state->arch, x);
    if (task->evaluateTraining()) {
        state->trainState = TrainState::converged;
    }
    convertToTotalData(*state->arch, gradient, true);
    noteStart(task->lossValue(), gradient);
    state->showProgress(epochCount);
    return task->lossValue();
}

bool LbfgsOptimizer::progress(std::span<const float> x, float loss) {
    // At a minimum, steps too short to change the gradient make the library's next direction NaN, and the
    // backtracking searches take every loss that is not larger, NaN as well.
    if (!std::isfinite(loss)) {
        return true;
    }
    std::ranges::copy(x, accepted.begin());
    const int epoch = ++epochCount;
    state->testNetworks(epoch, *task);
    state->epochTimer.stop();
    state->wallTimer.suspend();
    task->printProgress(epoch);
    state->showProgress(epoch);
    state->hasEpoch = true;
    if (state->trainState == TrainState::converged || state->pollStopFile()) {
        lbfgsStop = true;
        return true;
    }
    if (epoch >= state->property->epochs) {
        state->trainState = TrainState::allEpochsDone;
        lbfgsStop = true;
        return true;
    }
    state->storeAtEpoch(epoch, *task);
    lbfgsSchemeChanged = task->updateScheme(epoch);
    state->epochTimer.reset();
    state->epochTimer.start();
    return lbfgsSchemeChanged;
}

} // namespace melta
