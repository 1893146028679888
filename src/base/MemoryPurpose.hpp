#pragma once

#include "base/Reporting.hpp"

#include <new>
#include <stdexcept>
#include <utility>

namespace melta {

// Does the work and gives its result. Stops with "cannot allocate memory: %s", which says what for, when the
// memory does not suffice or a size is beyond all memory. Of nested purposes the innermost one speaks.
template <class Work>
decltype(auto) allocateFor(const char* purpose, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const std::bad_alloc&) {
        stopWithMessage("cannot allocate memory: %s", purpose);
    } catch (const std::length_error&) {
        stopWithMessage("cannot allocate memory: %s", purpose);
    }
}

} // namespace melta
