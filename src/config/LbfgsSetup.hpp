// What every use of liblbfgs shares: its settings, and the memory of its variables.
#pragma once

#include <lbfgs.h>

#include <cstddef>
#include <memory>

static_assert(sizeof(lbfgsfloatval_t) == sizeof(float), "liblbfgs has to be built in single precision");

namespace melta {

class Property;

// The settings of a run. The library calls a point a minimum where the length of the gradient is below
// `epsilon` times that of the variables, or times 1 if that is larger.
lbfgs_parameter_t makeLbfgsParameters(const Property& property, float epsilon);

struct LbfgsVectorDeleter {
    void operator()(lbfgsfloatval_t* vector) const { lbfgs_free(vector); }
};
using LbfgsVector = std::unique_ptr<lbfgsfloatval_t, LbfgsVectorDeleter>;

// Memory for so many variables. Stops with "data length of L-BFGS is not positive.", also for a length that
// the library cannot count, and "cannot allocate data of L-BFGS.".
LbfgsVector allocateLbfgsVector(std::size_t length);

// Stops with "cannot allocate data of L-BFGS." if the library's return code says so.
void requireLbfgsMemory(int returnCode);

} // namespace melta
