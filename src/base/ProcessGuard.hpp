#pragma once

#include "base/Reporting.hpp"

#include <string>

namespace melta {

// What cannot share its work among processes. A run is one process (numProcesses), so that these stops do not
// occur; they stand, in this one place, as the rules for a build that has more.

// For a mode. Stops with "MPI does not support the option: %s" (the command word).
inline void requireSingleProcess(const std::string& commandWord, int processes = numProcesses()) {
    if (processes > 1) {
        stopWithMessage("MPI does not support the option: %s", commandWord.c_str());
    }
}

// For a training that takes its geometries in batches. Stops with "cannot use MPI for Mini-batch algorithm.".
inline void requireSingleProcessForBatches(int processes = numProcesses()) {
    if (processes > 1) {
        stopWithMessage("cannot use MPI for Mini-batch algorithm.");
    }
}

} // namespace melta
