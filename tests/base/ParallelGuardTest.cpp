#include "base/ParallelGuard.hpp"

#include "base/Reporting.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace melta {
namespace {

TEST(ParallelGuardTest, QuietWorkLeavesNothingToRethrow) {
    ParallelGuard guard;
    int count = 0;

    guard.run([&] { ++count; });

    EXPECT_NO_THROW(guard.rethrow());
    EXPECT_EQ(count, 1);
}

TEST(ParallelGuardTest, ExceptionComesOutAtTheEnd) {
    ParallelGuard guard;

    EXPECT_NO_THROW(guard.run([] { throw std::runtime_error("inside"); }));

    EXPECT_THROW(guard.rethrow(), std::runtime_error);
}

TEST(ParallelGuardTest, FirstExceptionWins) {
    ParallelGuard guard;
    guard.run([] { throw std::logic_error("first"); });
    guard.run([] { throw std::runtime_error("second"); });

    EXPECT_THROW(guard.rethrow(), std::logic_error);
}

TEST(ParallelGuardTest, StopLeavesAParallelRegionAsAnException) {
    const test::StopCatcher catcher;
    ParallelGuard guard;
    std::atomic<int> numFinished = 0;

#pragma omp parallel for num_threads(4)
    for (int i = 0; i < 100; ++i) {
        guard.run([&] {
            if (i % 10 == 3) {
                stopWithMessage("atom is bad");
            }
            ++numFinished;
        });
    }

    EXPECT_EQ(numFinished, 90);
    EXPECT_EQ(test::stopMessageOf([&] { guard.rethrow(); }), "atom is bad");
}

} // namespace
} // namespace melta
