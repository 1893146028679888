#pragma once

#include "base/RandomSource.hpp"

#include <functional>
#include <string>
#include <string_view>

namespace melta {

// What belongs to one run of the library and to no other: where its texts go, its random numbers, and what a
// stop does. Each thread works for one run at a time, so that several hosts may use the library in one
// process, each from threads of its own.
class Run {
public:
    // Receives what is printed.
    using Sink = std::function<void(std::string_view)>;

    // A run for a host: a stop throws Error, since the process is not ours to end, and what is printed goes
    // to `output`, or nowhere if that is empty.
    explicit Run(Sink output = {});

    // The run that the calling thread works for: that of the innermost RunScope. Without any it is the run of
    // the process, which prints on the standard output and whose stops go to the stop handler.
    static Run& current() noexcept;

    [[nodiscard]] bool isOfProcess() const noexcept { return ofProcess; }

    // For runs of hosts alone.
    void print(std::string_view text) const;
    [[noreturn]] void stop(const std::string& message) const;

    RandomSource random;

private:
    struct OfProcess {};
    explicit Run(OfProcess) : ofProcess(true) {}

    bool ofProcess = false;
    Sink sink;
};

// While it lives, this thread works for the given run. Scopes may be nested.
class RunScope {
public:
    explicit RunScope(Run& run) noexcept;
    ~RunScope();
    RunScope(const RunScope&) = delete;
    RunScope& operator=(const RunScope&) = delete;

private:
    Run* previous;
};

} // namespace melta
