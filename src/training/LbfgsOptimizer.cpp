#include "training/LbfgsOptimizer.hpp"

#include "config/Codes.hpp"
#include "driver/RandomSource.hpp"
#include "driver/Reporting.hpp"
#include "network/ParameterPacking.hpp"

#include <lbfgs.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>

static_assert(sizeof(lbfgsfloatval_t) == sizeof(float), "liblbfgs has to be built in single precision");

namespace melta {
namespace {

struct FreeVector {
    void operator()(lbfgsfloatval_t* vector) const { lbfgs_free(vector); }
};
using LbfgsVector = std::unique_ptr<lbfgsfloatval_t, FreeVector>;

int codeOfLineSearch(int lineSearch) {
    switch (lineSearch) {
    case LineSearch::armijo:
        return LBFGS_LINESEARCH_BACKTRACKING_ARMIJO;
    case LineSearch::wolfe:
        return LBFGS_LINESEARCH_BACKTRACKING_WOLFE;
    case LineSearch::strongWolfe:
        return LBFGS_LINESEARCH_BACKTRACKING_STRONG_WOLFE;
    default:
        return LBFGS_LINESEARCH_MORETHUENTE;
    }
}

lbfgs_parameter_t makeParameters(const Property& property) {
    lbfgs_parameter_t parameters;
    lbfgs_parameter_init(&parameters);
    // More steps than iterations would only take memory.
    parameters.m = std::min(property.lbfgs, std::max(property.epochs, 1));
    parameters.epsilon = 1.0e-10f;
    parameters.linesearch = codeOfLineSearch(property.lineSearch);
    parameters.max_linesearch = property.lineSteps;
    parameters.min_step = 1.0e-10f;
    parameters.max_step = 1.0e+10f;
    parameters.xtol = 1.0e-7f;
    return parameters;
}

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
    if (batchSize > session->numGeomsSuper) {
        stopWithMessage("incorrect number of geometries.");
    }
    setBatch();
    const std::size_t length = getTotalDataSize(*session->arch);
    if (length < 1 || length > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        stopWithMessage("data length of L-BFGS is not positive.");
    }
    const LbfgsVector lbfgsData(lbfgs_malloc(static_cast<int>(length)));
    if (!lbfgsData) {
        stopWithMessage("cannot allocate data of L-BFGS.");
    }
    session->trainState = TrainState::notConverged;
    epochCount = 0;
    run({lbfgsData.get(), length});
    session->arch->clearGeometries();
}

void LbfgsOptimizer::setBatch() const {
    NNArch& arch = *session->arch;
    if (!session->geomsOfSuper.empty()) {
        arch.setGeometries(session->geomsOfSuper);
        arch.calculateSymmFuncs(task->needsDerivatives(), false, false);
        arch.renormalizeSymmFuncs(false);
        return;
    }
    std::vector<int> indices(static_cast<std::size_t>(session->numGeomsSuper));
    std::iota(indices.begin(), indices.end(), 0);
    sharedRandom().shuffle(indices);
    arch.setGeometries(std::span<const int>(indices));
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
    const int before = epochCount;
    convertToTotalData(*session->arch, x, false);
    accepted.assign(x.begin(), x.end());
    lbfgs_parameter_t parameters = makeParameters(*session->property);
    lbfgsfloatval_t loss = 0.0f;
    const int result = lbfgs(static_cast<int>(x.size()), x.data(), &loss, evaluateCallback, progressCallback,
                             this, &parameters);
    if (result == LBFGSERR_OUTOFMEMORY) {
        stopWithMessage("cannot allocate data of L-BFGS.");
    }
    // A failed line search leaves its last trial in the layers.
    convertFromTotalData(*session->arch, accepted);
    return lbfgsSchemeChanged || epochCount != before;
}

float LbfgsOptimizer::evaluate(std::span<const float> x, std::span<float> gradient) {
    convertFromTotalData(*session->arch, x);
    if (task->evaluateTraining()) {
        session->trainState = TrainState::converged;
    }
    convertToTotalData(*session->arch, gradient, true);
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
    session->copyLayersToTest();
    task->evaluateTest();
    session->epochTimer.stop();
    session->wallTimer.suspend();
    task->printProgress(epoch);
    if (session->trainState == TrainState::converged || session->pollStopFile()) {
        lbfgsStop = true;
        return true;
    }
    if (epoch >= session->property->epochs) {
        session->trainState = TrainState::allEpochsDone;
        lbfgsStop = true;
        return true;
    }
    session->storeAtEpoch(epoch);
    lbfgsSchemeChanged = task->updateScheme(epoch);
    session->epochTimer.reset();
    session->epochTimer.start();
    return lbfgsSchemeChanged;
}

} // namespace melta
