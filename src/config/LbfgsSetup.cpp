#include "config/LbfgsSetup.hpp"

#include "base/Reporting.hpp"
#include "config/Codes.hpp"
#include "config/Property.hpp"

#include <algorithm>
#include <limits>

namespace melta {
namespace {

constexpr int defaultHistory = 32;

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

} // namespace

lbfgs_parameter_t makeLbfgsParameters(const Property& property, float epsilon) {
    lbfgs_parameter_t parameters;
    lbfgs_parameter_init(&parameters);
    const int history = property.lbfgs > 0 ? property.lbfgs : defaultHistory;
    // More steps than iterations would only take memory.
    parameters.m = std::min(history, std::max(property.epochs, 1));
    parameters.epsilon = epsilon;
    parameters.linesearch = codeOfLineSearch(property.lineSearch);
    parameters.max_linesearch = property.lineSteps;
    parameters.min_step = 1.0e-10f;
    parameters.max_step = 1.0e+10f;
    parameters.xtol = 1.0e-7f;
    return parameters;
}

LbfgsVector allocateLbfgsVector(std::size_t length) {
    if (length < 1 || length > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        stopWithMessage("data length of L-BFGS is not positive.");
    }
    LbfgsVector vector(lbfgs_malloc(static_cast<int>(length)));
    if (!vector) {
        stopWithMessage("cannot allocate data of L-BFGS.");
    }
    return vector;
}

void requireLbfgsMemory(int returnCode) {
    if (returnCode == LBFGSERR_OUTOFMEMORY) {
        stopWithMessage("cannot allocate data of L-BFGS.");
    }
}

} // namespace melta
