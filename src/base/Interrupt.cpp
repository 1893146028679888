#include "base/Interrupt.hpp"

#include "base/Reporting.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace melta {
namespace {

constexpr std::array<int, 3> interruptSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr std::int64_t burstTime = 50'000'000; // nanoseconds

// Of the first signal; 0 without one.
std::atomic<std::int64_t> requestTime{0};
static_assert(std::atomic<std::int64_t>::is_always_lock_free, "a signal handler must not wait for a lock");

std::array<struct sigaction, interruptSignals.size()> formerActions;
bool isInstalled = false;

// Never 0.
std::int64_t readClock() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec + 1;
}

extern "C" void noteInterrupt(int signalNumber) {
    const int errorBefore = errno;
    const std::int64_t now = readClock();
    std::int64_t first = 0;
    if (!requestTime.compare_exchange_strong(first, now) && now - first > burstTime) {
        // The signal is blocked while its handler runs, and acts when that has returned.
        removeStatusAtSignal();
        std::signal(signalNumber, SIG_DFL);
        std::raise(signalNumber);
    }
    errno = errorBefore;
}

bool isIgnored(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

void installInterruptHandlers() {
    if (isInstalled) {
        return;
    }
    isInstalled = true;
    for (std::size_t i = 0; i < interruptSignals.size(); ++i) {
        sigaction(interruptSignals[i], nullptr, &formerActions[i]);
        if (interruptSignals[i] == SIGHUP && isIgnored(formerActions[i])) {
            continue;
        }
        struct sigaction action {};
        action.sa_handler = noteInterrupt;
        // Reading and writing go on.
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(interruptSignals[i], &action, nullptr);
    }
}

void removeInterruptHandlers() noexcept {
    if (isInstalled) {
        for (std::size_t i = 0; i < interruptSignals.size(); ++i) {
            sigaction(interruptSignals[i], &formerActions[i], nullptr);
        }
    }
    isInstalled = false;
    requestTime = 0;
}

bool isInterrupted() noexcept {
    return requestTime.load(std::memory_order_relaxed) != 0;
}

} // namespace melta
