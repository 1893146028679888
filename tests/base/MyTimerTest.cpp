#include "base/MyTimer.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

namespace melta {
namespace {

constexpr int pauseMilliseconds = 20;

void pause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(pauseMilliseconds));
}

TEST(MyTimerTest, BeginsAtZero) {
    const MyTimer timer;

    EXPECT_EQ(timer.getElapsed(), 0.0);
    EXPECT_EQ(timer.getTime(), "00.00s");
    EXPECT_EQ(timer.getFullTime(), "0d 0h 0m 0.00s");
}

TEST(MyTimerTest, StopAddsTheTimeSinceTheStart) {
    MyTimer timer;

    timer.start();
    pause();
    timer.stop();

    EXPECT_GE(timer.getElapsed(), pauseMilliseconds);
}

TEST(MyTimerTest, SecondStartKeepsTheFirstStamp) {
    MyTimer timer;

    timer.start();
    pause();
    timer.start();
    timer.stop();

    EXPECT_GE(timer.getElapsed(), pauseMilliseconds);
}

TEST(MyTimerTest, TimerThatDoesNotRunIsNeitherStoppedNorSuspended) {
    MyTimer timer;
    timer.start();
    timer.stop();
    const double before = timer.getElapsed();

    pause();
    timer.stop();
    timer.suspend();

    EXPECT_EQ(timer.getElapsed(), before);
}

TEST(MyTimerTest, SuspendBringsTheSumUpToDateAndRunsOn) {
    MyTimer timer;

    timer.start();
    pause();
    timer.suspend();
    const double first = timer.getElapsed();
    pause();
    timer.suspend();
    const double second = timer.getElapsed();

    EXPECT_GE(first, pauseMilliseconds);
    EXPECT_GE(second, first + pauseMilliseconds);
}

TEST(MyTimerTest, SuspendCountsNoTimeTwice) {
    using Clock = std::chrono::system_clock;
    const auto before = Clock::now();
    MyTimer timer;

    timer.start();
    pause();
    timer.suspend();
    timer.suspend();
    timer.stop();

    const std::chrono::duration<double, std::milli> sinceBefore = Clock::now() - before;
    EXPECT_LE(timer.getElapsed(), sinceBefore.count());
}

TEST(MyTimerTest, RunningTimerShowsTheStateOfTheLastSuspend) {
    MyTimer timer;

    timer.start();
    pause();

    EXPECT_EQ(timer.getElapsed(), 0.0);
}

TEST(MyTimerTest, IntervalsAddUpWithoutThePausesBetween) {
    MyTimer timer;

    timer.start();
    pause();
    timer.stop();
    const double first = timer.getElapsed();
    timer.start();
    pause();
    timer.stop();

    EXPECT_GE(timer.getElapsed(), first + pauseMilliseconds);
}

TEST(MyTimerTest, ResetEndsTheRunAndForgets) {
    MyTimer timer;
    timer.start();
    pause();
    timer.suspend();

    timer.reset();
    pause();
    timer.stop();

    EXPECT_EQ(timer.getElapsed(), 0.0);
}

TEST(MyTimerTest, ElapsedTimeIsInWholeMicroseconds) {
    MyTimer timer;

    timer.start();
    pause();
    timer.stop();

    const double microseconds = timer.getElapsed() * 1000.0;
    EXPECT_LE(std::abs(microseconds - std::round(microseconds)), 1e-6);
}

TEST(MyTimerTest, CompactTimeKeepsTwoDigitsBeforeThePoint) {
    EXPECT_EQ(compactTime(0.0), "00.00s");
    EXPECT_EQ(compactTime(9.994), "09.99s");
    EXPECT_EQ(compactTime(9.9949), "09.99s");
    EXPECT_EQ(compactTime(10.0), "10.00s");
}

TEST(MyTimerTest, CompactTimeDropsTheZeroFromTheThresholdOn) {
    EXPECT_EQ(compactTime(9.995), "9.99s");
    EXPECT_EQ(compactTime(9.996), "10.00s");
    EXPECT_EQ(compactTime(60.0 * 9.996), "10.00m");
    EXPECT_EQ(compactTime(3600.0 * 9.994), "09.99h");
    EXPECT_EQ(compactTime(86400.0 * 9.996), "10.00d");
}

TEST(MyTimerTest, CompactTimeChangesItsUnitAtTheFullNextOne) {
    EXPECT_EQ(compactTime(59.999), "60.00s");
    EXPECT_EQ(compactTime(60.0), "01.00m");
    EXPECT_EQ(compactTime(3599.999), "60.00m");
    EXPECT_EQ(compactTime(3600.0), "01.00h");
    EXPECT_EQ(compactTime(86399.999), "24.00h");
    EXPECT_EQ(compactTime(86400.0), "01.00d");
    EXPECT_EQ(compactTime(86400.0 * 123.0), "123.00d");
}

TEST(MyTimerTest, FullTimeTakesTheTimeApart) {
    EXPECT_EQ(fullTime(86400.0), "1d 0h 0m 0.00s");
    EXPECT_EQ(fullTime(90061.25), "1d 1h 1m 1.25s");
    EXPECT_EQ(fullTime(3600.0), "0d 1h 0m 0.00s");
    EXPECT_EQ(fullTime(60.0), "0d 0h 1m 0.00s");
    EXPECT_EQ(fullTime(59.999), "0d 0h 0m 60.00s");
    EXPECT_EQ(fullTime(86399.5), "0d 23h 59m 59.50s");
}

} // namespace
} // namespace melta
