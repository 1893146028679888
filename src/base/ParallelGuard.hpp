#pragma once

#include "base/Run.hpp"

#include <exception>
#include <mutex>
#include <utility>

namespace melta {

// Carries the first exception out of an OpenMP region, which an exception must not leave by itself: that of a
// stop handler that throws, or of a lack of memory.
//
//     ParallelGuard guard;
//     #pragma omp parallel for
//     for (...) { guard.run([&] { work(i); }); }
//     guard.rethrow();
class ParallelGuard {
public:
    template <class Work>
    void run(Work&& work) noexcept {
        try {
            const RunScope scope(team);
            std::forward<Work>(work)();
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex);
            if (!first) {
                first = std::current_exception();
            }
        }
    }

    void rethrow() const {
        if (first) {
            std::rethrow_exception(first);
        }
    }

private:
    Run& team = Run::current(); // of the thread that makes the region, for all of its threads
    std::mutex mutex;
    std::exception_ptr first;
};

} // namespace melta
