#include "baseline/classical/ClassicalOptimizer.hpp"

#include "base/Interrupt.hpp"
#include "base/Reporting.hpp"
#include "config/LbfgsSetup.hpp"
#include "config/Property.hpp"

#include <cmath>
#include <utility>

namespace melta {
namespace {

constexpr float smallestGradient = 1.0e-6f;
constexpr float smallestPenalty = 1.0e-6f;

lbfgsfloatval_t evaluateCallback(void* instance, const lbfgsfloatval_t* x, lbfgsfloatval_t* g, int n,
                                 lbfgsfloatval_t /*step*/) {
    const auto length = static_cast<std::size_t>(n);
    return static_cast<ClassicalOptimizer*>(instance)->evaluateLoss({x, length}, {g, length});
}

int progressCallback(void* instance, const lbfgsfloatval_t* /*x*/, const lbfgsfloatval_t* /*g*/,
                     lbfgsfloatval_t fx, lbfgsfloatval_t /*xnorm*/, lbfgsfloatval_t /*gnorm*/,
                     lbfgsfloatval_t /*step*/, int /*n*/, int /*k*/, int /*ls*/) {
    return static_cast<ClassicalOptimizer*>(instance)->reportProgress(fx) ? 1 : 0;
}

} // namespace

bool ClassicalOptimizer::Results::isFinite() const {
    return std::isfinite(loss) && std::isfinite(penalty) && std::isfinite(rmseE) && std::isfinite(rmseF);
}

ClassicalOptimizer::ClassicalOptimizer(ClassicalParameters* ofFit, const Property* ofRun,
                                       ClassicalLoss* ofData, const PairCutoff& cutoff, StopFile ofUser,
                                       FitTimers* ofRunTimers)
    : parameters(ofFit), property(ofRun), loss(ofData), penalty(cutoff, ofRun->classicalLower),
      stopFile(std::move(ofUser)), timers(ofRunTimers), accepted{*ofFit, {}} {}

FitStatus ClassicalOptimizer::runLBFGS() {
    const std::size_t length = numVariablesOf(parameters->numElems());
    const LbfgsVector variables = allocateLbfgsVector(length);
    status = FitStatus::notConverged;
    epochCount = 0;
    while (runLibrary({variables.get(), length})) {
    }
    if (!parameters->isFinite() || !results.isFinite()) {
        status = FitStatus::illegalValues;
    }
    if (epochCount == 0) {
        printProgress(1);
    }
    return status;
}

// One run of the library. True when another one is worth it.
bool ClassicalOptimizer::runLibrary(std::span<float> variables) {
    const ClassicalParameters saved = *parameters;
    const int before = epochCount;
    hasEvaluated = false;
    packVariables(*parameters, variables);
    lbfgs_parameter_t settings = makeLbfgsParameters(*property, smallestGradient);
    lbfgsfloatval_t value = 0.0f;
    const int result = lbfgs(static_cast<int>(variables.size()), variables.data(), &value, evaluateCallback,
                             progressCallback, this, &settings);
    requireLbfgsMemory(result);
    if (result == LBFGS_SUCCESS || result == LBFGS_ALREADY_MINIMIZED) {
        status = FitStatus::converged;
        return false;
    }
    // A failed line search leaves its last trial behind.
    results = accepted.results;
    if (epochCount == before) {
        *parameters = saved;
        status = FitStatus::converged;
        return false;
    }
    *parameters = accepted.parameters;
    return status == FitStatus::notConverged;
}

float ClassicalOptimizer::evaluateLoss(std::span<const float> x, std::span<float> gradient) {
    unpackVariables(x, *parameters);
    loss->deriveParametersForLossFunc(*parameters);
    if (isRootProcess()) {
        penalty.addLowerPenalty(*parameters, loss->gradients);
    }
    results = {loss->loss, penalty.penalty, loss->rmseE, loss->rmseF};
    if (!std::exchange(hasEvaluated, true)) {
        accepted.results = results;
    }
    if (meetsTargets()) {
        status = FitStatus::converged;
    }
    packGradients(loss->gradients, x, gradient);
    return results.loss + results.penalty;
}

bool ClassicalOptimizer::meetsTargets() const {
    return results.penalty <= smallestPenalty &&
           (property->hasEnergyCoef == 0 || results.rmseE <= property->rmseEnergy) &&
           (property->hasForceCoef == 0 || results.rmseF <= property->rmseForce);
}

bool ClassicalOptimizer::reportProgress(float lossAndPenalty) {
    // At a minimum, steps too short to change the gradient make the library's next direction NaN, and the
    // backtracking searches take every loss that is not larger, NaN as well.
    if (!std::isfinite(lossAndPenalty)) {
        return true;
    }
    accepted = {*parameters, results};
    printProgress(++epochCount);
    if (status == FitStatus::converged) {
        return true;
    }
    if (isRootProcess() && (stopFile.consume() || isInterrupted())) {
        status = FitStatus::exitedByUser;
        return true;
    }
    if (epochCount >= property->epochs) {
        status = FitStatus::allEpochsDone;
        return true;
    }
    timers->epoch.reset();
    timers->epoch.start();
    return false;
}

void ClassicalOptimizer::printProgress(int epoch) {
    timers->epoch.stop();
    timers->wall.suspend();
    printOut("  #.%6d  RMSE(E):%10.3e  RMSE(F):%10.3e  Loss:%10.3e  Time[ wall=%s epoch=%s ]\n", epoch,
             static_cast<double>(results.rmseE), static_cast<double>(results.rmseF),
             static_cast<double>(results.loss), timers->wall.getTime().c_str(),
             timers->epoch.getTime().c_str());
    flushOut();
}

} // namespace melta
