#pragma once

#include "base/Reporting.hpp"
#include "base/Run.hpp"
#include "melta/Error.hpp"

#include <string>
#include <utility>

namespace melta {

// Does the work and gives its result. A stop in it, or an Error of the library, first destroys what the work
// has made, such as files that are not complete, and then ends the run with its message: a stop by itself
// destroys nothing. The work prints nothing.
template <class Work>
decltype(auto) stopCleanly(Work&& work) {
    std::string message;
    try {
        Run run;
        const RunScope scope(run);
        return std::forward<Work>(work)();
    } catch (const Error& error) {
        message = error.what();
    }
    stopWithMessage("%s", message.c_str());
}

} // namespace melta
