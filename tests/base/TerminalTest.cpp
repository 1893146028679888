// The line of status, on a terminal of its own.

#include "base/Interrupt.hpp"
#include "base/Reporting.hpp"
#include "base/Run.hpp"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

namespace melta {
namespace {

constexpr const char* eraser = "\r\x1b[K";

class TerminalTest : public testing::Test {
protected:
    // What a child writes to a terminal of so many columns; `status` becomes how it ended.
    std::string writtenBy(const std::function<void()>& action, unsigned short columns = 80) {
        winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        int terminal = -1;
        std::fflush(nullptr); // or the child writes it once more
        const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            setenv("TERM", kind.c_str(), 1);
            noteLineEnd(); // whatever tests before this one have printed
            action();
            flushOut();
            _exit(0);
        }
        std::string text;
        std::array<char, 4096> block{};
        for (ssize_t count = 0; (count = read(terminal, block.data(), block.size())) > 0;) {
            text.append(block.data(), static_cast<std::size_t>(count));
        }
        close(terminal);
        waitpid(child, &status, 0);
        return text;
    }

    std::string kind = "xterm";
    int status = 0;
};

TEST_F(TerminalTest, StatusStandsBelowAllLines) {
    const std::string written = writtenBy([] {
        printOut("one\n");
        showStatus("first");
        showStatus("second");
        printOut("two\n");
        removeStatus();
        printOut("three\n");
    });

    EXPECT_EQ(written, std::string("one\r\nfirst") + eraser + "second" + eraser + "two\r\nsecond" + eraser +
                           "three\r\n");
}

TEST_F(TerminalTest, StatusDoesNotBreakALine) {
    const std::string written = writtenBy([] {
        showStatus("status");
        printOut("a");
        showStatus("other");
        printOut("b");
        printOut("c\n");
        removeStatus();
    });

    EXPECT_EQ(written, std::string("status") + eraser + "abc\r\nother" + eraser);
}

TEST_F(TerminalTest, StatusFitsIntoTheTerminal) {
    EXPECT_EQ(writtenBy([] { showStatus("0123456789"); }, 8), "0123456");
}

TEST_F(TerminalTest, StopsRemoveIt) {
    const std::string written = writtenBy([] {
        showStatus("status");
        stopWithMessage("it is over");
    });

    EXPECT_EQ(written, std::string("status") + eraser + "[STOP] it is over\r\n");
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST_F(TerminalTest, TheSecondSignalRemovesIt) {
    const std::string written = writtenBy([] {
        installInterruptHandlers();
        showStatus("status");
        std::raise(SIGINT);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::raise(SIGINT);
    });

    EXPECT_EQ(written, std::string("status") + eraser);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}

TEST_F(TerminalTest, IsForTerminalsThatCanEraseOnly) {
    const auto show = [] { showStatus("status"); };
    EXPECT_EQ(writtenBy(show), "status");
    EXPECT_EQ(writtenBy([] {
                  melta::Run run;
                  const RunScope scope(run);
                  showStatus("status");
              }),
              "");
    for (const char* other : {"dumb", ""}) {
        kind = other;
        EXPECT_EQ(writtenBy(show), "") << other;
    }
}

TEST_F(TerminalTest, NeedsBothStreams) {
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        const std::string written = writtenBy([stream] {
            close(stream);
            showStatus("status");
        });
        EXPECT_EQ(written, "") << stream;
    }
}

} // namespace
} // namespace melta
