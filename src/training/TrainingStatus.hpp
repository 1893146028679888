#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace melta {

// What the user of a terminal sees below the lines of a training: an estimate of the time that is left if all
// epochs are made, the best errors of the in-situ test, and the largest memory so far. Elsewhere it does
// nothing (Reporting.hpp).
class TrainingStatus {
public:
    using Clock = std::chrono::steady_clock;

    TrainingStatus() = default;
    ~TrainingStatus() { finish(); }
    TrainingStatus(const TrainingStatus&) = delete;
    TrainingStatus& operator=(const TrainingStatus&) = delete;
    TrainingStatus(TrainingStatus&&) = delete;
    TrainingStatus& operator=(TrainingStatus&&) = delete;

    // The first of so many epochs begins, those of all super epochs taken together.
    void start(double numEpochs, Clock::time_point now = Clock::now());

    // So many epochs are done, with a part of the present one. Renews the line, but not many times a second.
    void advance(double epochsDone, Clock::time_point now = Clock::now());

    // An error of the in-situ test, by the symbol of its quantity.
    void noteError(std::string_view symbol, float error);

    // Removes the line.
    void finish();

    // The line for this moment.
    [[nodiscard]] std::string makeText(Clock::time_point now) const;

private:
    void measurePace(double epochsDone, Clock::time_point now);
    [[nodiscard]] std::string makeTimeText(Clock::time_point now) const;

    struct BestError {
        std::string symbol;
        float error;
    };

    bool isOn = false;
    double total = 0.0;          // epochs
    double done = 0.0;           // epochs
    double paceSeconds = 0.0;    // seconds and epochs of the recent past, whose quotient is the pace
    double paceEpochs = 0.0;     //
    Clock::time_point lastStep;  // when `done` moved
    Clock::time_point lastShown; //
    std::vector<BestError> bestErrors;
};

} // namespace melta
