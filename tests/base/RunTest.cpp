#include "base/Run.hpp"

#include "base/ParallelGuard.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "melta/Error.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
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

TEST(RunTest, StopsOfAHostThrow) {
    const auto stop = [] { stopWithMessage("no %s.", "file"); };
    EXPECT_TRUE(melta::Run::current().isOfProcess());
    EXPECT_EQ(errorOf([&] {
                  melta::Run outer;
                  const RunScope scope(outer);
                  {
                      melta::Run inner;
                      const RunScope innerScope(inner);
                      EXPECT_EQ(&melta::Run::current(), &inner);
                  }
                  EXPECT_EQ(&melta::Run::current(), &outer);
                  stop();
              }),
              "no file.");
    EXPECT_TRUE(melta::Run::current().isOfProcess());
    EXPECT_EQ(stopMessageOf(stop), "no file.");
}

TEST(RunTest, OtherThreadsKeepTheirs) {
    melta::Run run;
    const RunScope scope(run);
    bool isOfProcess = false;

    std::thread([&] { isOfProcess = melta::Run::current().isOfProcess(); }).join();

    EXPECT_TRUE(isOfProcess);
}

TEST(RunTest, TextsGoToTheSinkAndNowhereElse) {
    std::string heard;
    melta::Run run([&heard](std::string_view text) { heard += text; });
    const std::string printed = outputOf([&] {
        const RunScope scope(run);
        printOut("%d atoms\n", 3);
        flushOut();
    });

    EXPECT_EQ(heard, "3 atoms\n");
    EXPECT_EQ(printed, "");
}

TEST(RunTest, WithoutSinkNothingIsPrinted) {
    melta::Run run;

    const std::string printed = outputOf([&] {
        const RunScope scope(run);
        printOut("nobody listens\n");
    });

    EXPECT_EQ(printed, "");
}

TEST(RunTest, EachRunDrawsNumbersOfItsOwn) {
    sharedRandom().seed(11);
    const int first = sharedRandom().draw();
    const int second = sharedRandom().draw();
    sharedRandom().seed(11);
    EXPECT_EQ(sharedRandom().draw(), first);
    melta::Run run;
    {
        const RunScope scope(run);
        sharedRandom().seed(11);
        EXPECT_EQ(sharedRandom().draw(), first);
        EXPECT_EQ(sharedRandom().draw(), second);
        sharedRandom().draw();
    }

    EXPECT_EQ(sharedRandom().draw(), second);
}

TEST(RunTest, GuardedRegionsWorkForTheRunThatMadeThem) {
    std::string heard;
    melta::Run run([&heard](std::string_view text) { heard += text; });
    const RunScope scope(run);
    ParallelGuard guard;
    int numStopped = 0;

#pragma omp parallel for reduction(+ : numStopped) num_threads(4)
    for (int i = 0; i < 64; ++i) {
        guard.run([&] {
#pragma omp critical
            printOut(".");
            ++numStopped;
            stopWithMessage("stopped.");
        });
    }

    EXPECT_EQ(numStopped, 64);
    EXPECT_EQ(heard, std::string(64, '.'));
    EXPECT_EQ(errorOf([&] { guard.rethrow(); }), "stopped.");
}

} // namespace
} // namespace melta::test
