#include "base/Interrupt.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace melta {
namespace {

class InterruptTest : public testing::Test {
protected:
    void TearDown() override { removeInterruptHandlers(); }
};

using InterruptDeathTest = InterruptTest;

void pauseBeyondABurst() {
    std::this_thread::sleep_for(std::chrono::milliseconds(80));
}

TEST_F(InterruptTest, NothingIsRequestedAtFirst) {
    installInterruptHandlers();

    EXPECT_FALSE(isInterrupted());
}

TEST_F(InterruptTest, EachSignalIsARequest) {
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        installInterruptHandlers();
        std::raise(signalNumber);

        EXPECT_TRUE(isInterrupted()) << signalNumber;
        removeInterruptHandlers();
        EXPECT_FALSE(isInterrupted()) << signalNumber;
    }
}

TEST_F(InterruptTest, RequestStands) {
    installInterruptHandlers();
    std::raise(SIGTERM);

    installInterruptHandlers();

    EXPECT_TRUE(isInterrupted());
    EXPECT_TRUE(isInterrupted());
}

TEST_F(InterruptTest, BurstIsOneRequest) {
    installInterruptHandlers();

    std::raise(SIGTERM);
    std::raise(SIGTERM);
    std::raise(SIGHUP);

    EXPECT_TRUE(isInterrupted());
}

TEST_F(InterruptTest, IgnoredHangUpStaysIgnored) {
    const auto before = std::signal(SIGHUP, SIG_IGN);
    installInterruptHandlers();

    std::raise(SIGHUP);

    EXPECT_FALSE(isInterrupted());
    std::raise(SIGINT);
    EXPECT_TRUE(isInterrupted());
    removeInterruptHandlers();
    EXPECT_EQ(std::signal(SIGHUP, before), SIG_IGN);
}

TEST_F(InterruptTest, RemovingBringsTheFormerActionsBack) {
    const auto before = std::signal(SIGINT, SIG_IGN);

    installInterruptHandlers();
    removeInterruptHandlers();

    EXPECT_EQ(std::signal(SIGINT, before), SIG_IGN);
}

TEST_F(InterruptDeathTest, SecondSignalEndsTheProcessWithItsDefaultAction) {
    EXPECT_EXIT(
        {
            installInterruptHandlers();
            std::raise(SIGTERM);
            pauseBeyondABurst();
            std::raise(SIGINT);
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGINT), "");
}

TEST_F(InterruptDeathTest, WithoutHandlersASignalEndsTheProcess) {
    EXPECT_EXIT(
        {
            installInterruptHandlers();
            removeInterruptHandlers();
            std::raise(SIGTERM);
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGTERM), "");
}

} // namespace
} // namespace melta
