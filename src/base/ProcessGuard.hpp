#pragma once

#include "base/Reporting.hpp"

#include <string>

namespace melta {

// Keeps a mode that cannot share its work from running in several processes. Stops with "MPI does not support
// the option: %s" (the command word) if there is more than one.
inline void requireSingleProcess(const std::string& commandWord, int processes = numProcesses()) {
    if (processes > 1) {
        stopWithMessage("MPI does not support the option: %s", commandWord.c_str());
    }
}

} // namespace melta
