#include "training/TrainingStatus.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cmath>
#include <sys/resource.h>

namespace melta {
namespace {

constexpr std::chrono::milliseconds shortestInterval(200);

// The pace is that of about so many epochs and seconds, whichever is longer: epochs become dearer when the
// exact gradient of the forces comes in.
constexpr double epochsOfPace = 10.0;
constexpr double secondsOfPace = 10.0;

double secondsBetween(TrainingStatus::Clock::time_point first, TrainingStatus::Clock::time_point last) {
    return std::chrono::duration<double>(last - first).count();
}

// Hours, minutes and seconds; days where there are many.
std::string durationText(double seconds) {
    constexpr double hour = 3600.0;
    constexpr double day = 24.0 * hour;
    if (seconds >= 100.0 * hour) {
        return formatText("%.0f days", seconds / day);
    }
    const auto whole = static_cast<int>(std::lround(seconds));
    return formatText("%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
}

// Of this process so far.
double peakMebibytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0; // the system counts in KiB
}

} // namespace

void TrainingStatus::start(double numEpochs, Clock::time_point now) {
    isOn = canShowStatus();
    total = numEpochs;
    done = 0.0;
    paceSeconds = 0.0;
    paceEpochs = 0.0;
    lastStep = now;
    lastShown = {};
    bestErrors.clear();
}

void TrainingStatus::advance(double epochsDone, Clock::time_point now) {
    measurePace(epochsDone, now);
    if (isOn && now - lastShown >= shortestInterval) {
        lastShown = now;
        showStatus(makeText(now));
    }
}

void TrainingStatus::measurePace(double epochsDone, Clock::time_point now) {
    const double epochs = epochsDone - done;
    if (epochs <= 0.0) {
        return;
    }
    const double seconds = secondsBetween(lastStep, now);
    const double fading = std::exp(-std::min(epochs / epochsOfPace, seconds / secondsOfPace));
    paceSeconds = fading * paceSeconds + seconds;
    paceEpochs = fading * paceEpochs + epochs;
    done = epochsDone;
    lastStep = now;
}

void TrainingStatus::noteError(std::string_view symbol, float error) {
    const auto found = std::ranges::find(bestErrors, symbol, &BestError::symbol);
    if (found == bestErrors.end()) {
        bestErrors.push_back({std::string(symbol), error});
    } else if (error < found->error || std::isnan(found->error)) {
        found->error = error;
    }
}

void TrainingStatus::finish() {
    if (isOn) {
        removeStatus();
    }
    isOn = false;
}

std::string TrainingStatus::makeText(Clock::time_point now) const {
    std::string text = formatText("  %s | %.0f MiB", makeTimeText(now).c_str(), peakMebibytes());
    text += bestErrors.empty() ? "" : " | best test:";
    for (const BestError& best : bestErrors) {
        text += formatText(" %s %.3e", best.symbol.c_str(), static_cast<double>(best.error));
    }
    return text;
}

std::string TrainingStatus::makeTimeText(Clock::time_point now) const {
    if (paceEpochs <= 0.0) {
        return "time left: unknown";
    }
    const double atLastStep = (total - done) * paceSeconds / paceEpochs;
    const double left = std::max(atLastStep - secondsBetween(lastStep, now), 0.0);
    return formatText("time left: %s (%.0f%%)", durationText(left).c_str(), 100.0 * done / total);
}

} // namespace melta
