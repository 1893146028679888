#include "base/MyTimer.hpp"

#include "base/Reporting.hpp"

#include <chrono>

namespace melta {
namespace {

using Tick = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

std::int64_t readClock() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<Tick>(now).count();
}

// Whole microseconds, rounded toward zero, as milliseconds.
double millisecondsOf(std::int64_t ticks) {
    return static_cast<double>(ticks / 10) / 1000.0;
}

} // namespace

void MyTimer::start() {
    if (!running) {
        running = true;
        lastStamp = readClock();
    }
}

void MyTimer::stop() {
    if (running) {
        running = false;
        elapsed += millisecondsOf(readClock() - lastStamp);
    }
}

void MyTimer::suspend() {
    if (running) {
        const std::int64_t now = readClock();
        elapsed += millisecondsOf(now - lastStamp);
        lastStamp = now;
    }
}

void MyTimer::reset() {
    running = false;
    elapsed = 0.0;
}

std::string MyTimer::getTime() const {
    return compactTime(elapsed / 1000.0);
}

std::string MyTimer::getFullTime() const {
    return fullTime(elapsed / 1000.0);
}

std::string compactTime(double seconds) {
    struct Range {
        double limit;
        double unit;
        char letter;
    };
    constexpr Range ranges[] = {{60.0, 1.0, 's'}, {3600.0, 60.0, 'm'}, {86400.0, 3600.0, 'h'}};
    double value = seconds / 86400.0;
    char letter = 'd';
    for (const Range& range : ranges) {
        if (seconds < range.limit) {
            value = seconds / range.unit;
            letter = range.letter;
            break;
        }
    }
    // Below this threshold the two decimals do not round up to 10.00, so that a zero keeps the width.
    return formatText(value < 9.995 ? "0%.2f%c" : "%.2f%c", value, letter);
}

std::string fullTime(double seconds) {
    // Subtracting in loops keeps the exact remainder that such subtraction leaves.
    int days = 0;
    int hours = 0;
    int minutes = 0;
    for (; seconds >= 86400.0; seconds -= 86400.0) {
        ++days;
    }
    for (; seconds >= 3600.0; seconds -= 3600.0) {
        ++hours;
    }
    for (; seconds >= 60.0; seconds -= 60.0) {
        ++minutes;
    }
    return formatText("%dd %dh %dm %.2fs", days, hours, minutes, seconds);
}

} // namespace melta
