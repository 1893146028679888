#pragma once

#include <cstdint>
#include <string>

namespace melta {

// Wall clock with accumulation. A timer belongs to the thread that uses it.
class MyTimer {
public:
    virtual ~MyTimer() = default;

    void start();   // begins to run; a second start does nothing
    void stop();    // adds the time since the last start or suspend and ends the running
    void suspend(); // adds the time since the last start or suspend and keeps running
    void reset();   // not running, elapsed time 0

    // Time accumulated at the last stop or suspend, in milliseconds.
    double getElapsed() const { return elapsed; }

    // Compact text such as "09.99s", "01.00m", "02.50h", "01.00d".
    std::string getTime() const;

    // Full text such as "0d 1h 2m 3.45s".
    std::string getFullTime() const;

private:
    bool running = false;
    std::int64_t lastStamp = 0; // ticks of 100 nanoseconds since 1970-01-01 00:00 UTC
    double elapsed = 0.0;       // milliseconds
};

// The two text forms for a number of seconds.
std::string compactTime(double seconds);
std::string fullTime(double seconds);

} // namespace melta
