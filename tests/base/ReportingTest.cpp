#include "base/Reporting.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <barrier>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

namespace melta {
namespace {

using test::outputOf;
using test::stopMessageOf;

// Death tests see the standard error only. What the test program has printed so far stays out of it.
void showOutputOnError() {
    flushOut();
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

void ignoreStop(const std::string& /*message*/) {}

struct LoudObject {
    ~LoudObject() { printOut("destroyed\n"); }
};

class ReportingDeathTest : public testing::Test {
protected:
    // A child that is started anew has its own team of threads.
    void SetUp() override { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

TEST_F(ReportingDeathTest, StopPrintsItsMarkAndEndsWithStatusOne) {
    const auto act = [] {
        showOutputOnError();
        printOut("before\n");
        stopWithMessage("cannot open file: %s", "melta.prop");
    };

    EXPECT_EXIT(act(), testing::ExitedWithCode(1), "^before\n\\[STOP\\] cannot open file: melta.prop\n$");
}

TEST_F(ReportingDeathTest, StopDestroysNothing) {
    const auto act = [] {
        showOutputOnError();
        const LoudObject object;
        stopWithMessage("obj is null.");
    };

    EXPECT_EXIT(act(), testing::ExitedWithCode(1), "^\\[STOP\\] obj is null.\n$");
}

TEST_F(ReportingDeathTest, StopEndsTheProcessFromInsideAParallelRegion) {
    const auto act = [] {
        showOutputOnError();
#pragma omp parallel for num_threads(4)
        for (int i = 0; i < 4; ++i) {
            if (i == 3) {
                stopWithMessage("number %d", i);
            }
        }
    };

    EXPECT_EXIT(act(), testing::ExitedWithCode(1), "^\\[STOP\\] number 3\n$");
}

TEST_F(ReportingDeathTest, OfThreadsThatStopAtOnceOneSpeaks) {
    const auto act = [] {
        showOutputOnError();
        std::barrier everybody(8);
        std::vector<std::jthread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&] {
                everybody.arrive_and_wait();
                stopWithMessage("one of them");
            });
        }
    };

    for (int repetition = 0; repetition < 5; ++repetition) {
        EXPECT_EXIT(act(), testing::ExitedWithCode(1), "^\\[STOP\\] one of them\n$");
    }
}

TEST_F(ReportingDeathTest, StopBeginsALineOfItsOwn) {
    const auto act = [] {
        showOutputOnError();
        printOut("\nnumber of atoms:\n");
        printOut(">>> ");
        printOut("%s", "");
        stopWithMessage("obj is null.");
    };

    EXPECT_EXIT(act(), testing::ExitedWithCode(1), "^\nnumber of atoms:\n>>> \n\\[STOP\\] obj is null.\n$");
}

TEST_F(ReportingDeathTest, EndOfALineThatOthersMadeCounts) {
    const auto act = [] {
        showOutputOnError();
        printOut(">>> ");
        noteLineEnd();
        stopWithMessage("obj is null.");
    };

    EXPECT_EXIT(act(), testing::ExitedWithCode(1), "^>>> \\[STOP\\] obj is null.\n$");
}

TEST_F(ReportingDeathTest, HandlerThatReturnsAborts) {
    const auto act = [] {
        setStopHandler(ignoreStop);
        stopWithMessage("lost");
    };

    EXPECT_EXIT(act(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ReportingDeathTest, NullHandlerBringsBackTheDefault) {
    const auto act = [] {
        showOutputOnError();
        setStopHandler(ignoreStop);
        setStopHandler(nullptr);
        stopWithMessage("default");
    };

    EXPECT_EXIT(act(), testing::ExitedWithCode(1), "^\\[STOP\\] default\n$");
}

TEST(ReportingTest, SetStopHandlerGivesThePreviousOne) {
    const StopHandler byDefault = setStopHandler(ignoreStop);

    const StopHandler replaced = setStopHandler(byDefault);

    EXPECT_EQ(replaced, &ignoreStop);
    EXPECT_NE(byDefault, &ignoreStop);
}

TEST(ReportingTest, HandlerReceivesTheFormattedTextWithoutTheMark) {
    EXPECT_EQ(stopMessageOf([] { stopWithMessage("%s, line %d: %.2f", "file", 7, 0.5); }),
              "file, line 7: 0.50");
}

TEST(ReportingTest, LongMessagesAreComplete) {
    const std::string name(5000, 'n');

    const std::string message = stopMessageOf([&] { stopWithMessage("cannot open file: %s", name.c_str()); });

    EXPECT_EQ(message, "cannot open file: " + name);
}

TEST(ReportingTest, PercentSignsInArgumentsAreText) {
    EXPECT_EQ(stopMessageOf([] { stopWithMessage("unknown key word: %s", "%s%n%d"); }),
              "unknown key word: %s%n%d");
}

TEST(ReportingTest, PrintOutGoesToTheStandardOutput) {
    EXPECT_EQ(outputOf([] { printOut("  Cutoff = %.3f%s\n", 6.0, " Angstrom"); }),
              "  Cutoff = 6.000 Angstrom\n");
}

TEST(ReportingTest, LongTextsArePrintedWhole) {
    for (const std::size_t length : {1022U, 1023U, 1024U, 5000U}) {
        const std::string text = std::string(length, 'x') + "|";

        EXPECT_EQ(outputOf([&] { printOut("%s", text.c_str()); }), text);
    }
}

TEST(ReportingTest, FormatTextGivesWhatPrintfWouldPrint) {
    EXPECT_EQ(formatText("#.%6d %10.3e|", 12, 0.25), "#.    12  2.500e-01|");
    EXPECT_EQ(formatText("%s", ""), "");
    EXPECT_EQ(formatText("%s", std::string(3000, 'x').c_str()), std::string(3000, 'x'));
}

TEST(ReportingTest, ThereIsOneProcessWithNumberZero) {
    EXPECT_EQ(numProcesses(), 1);
    EXPECT_EQ(processRank(), 0);
    EXPECT_TRUE(isRootProcess());
}

} // namespace
} // namespace melta
