#include "base/ThrowingStops.hpp"

#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "melta/Error.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace melta::test {
namespace {

std::string errorOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const Error& error) {
        return error.what();
    }
    return "(none)";
}

TEST(ThrowingStopsTest, stopsThrowWhileOneLives) {
    const auto stop = [] { stopWithMessage("no %s.", "file"); };
    EXPECT_FALSE(ThrowingStops::areActive());
    EXPECT_EQ(errorOf([&] {
                  const ThrowingStops outer;
                  { const ThrowingStops inner; }
                  EXPECT_TRUE(ThrowingStops::areActive());
                  stop();
              }),
              "no file.");
    EXPECT_FALSE(ThrowingStops::areActive());
    EXPECT_EQ(stopMessageOf(stop), "no file.");
}

TEST(ThrowingStopsTest, otherThreadsKeepTheirHandler) {
    const ThrowingStops stops;
    bool isActiveThere = true;

    std::thread([&] { isActiveThere = ThrowingStops::areActive(); }).join();

    EXPECT_FALSE(isActiveThere);
}

TEST(ThrowingStopsTest, guardedRegionsThrowInTheThreadThatMadeThem) {
    const ThrowingStops stops;
    ParallelGuard guard;
    int numStopped = 0;

#pragma omp parallel for reduction(+ : numStopped)
    for (int i = 0; i < 64; ++i) {
        guard.run([&] {
            ++numStopped;
            stopWithMessage("stopped.");
        });
    }

    EXPECT_EQ(numStopped, 64);
    EXPECT_EQ(errorOf([&] { guard.rethrow(); }), "stopped.");
}

} // namespace
} // namespace melta::test
