#include "training/TrainingStatus.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace melta {
namespace {

using std::chrono::milliseconds;

class TrainingStatusTest : public testing::Test {
protected:
    void advance(double epochs, milliseconds time) {
        now += time;
        status.advance(epochs, now);
    }

    // Without the memory, which is another one each time.
    std::string text() {
        std::string text = status.makeText(now);
        const std::size_t begin = text.find(" | ");
        const std::size_t unit = text.find(" MiB");
        const std::string memory = text.substr(begin + 3, unit - begin - 3);
        EXPECT_GT(std::stoi(memory), 0) << text;
        EXPECT_EQ(memory.find_first_not_of("0123456789"), std::string::npos) << text;
        return text.erase(begin, unit + 4 - begin);
    }

    TrainingStatus status;
    TrainingStatus::Clock::time_point now{std::chrono::hours(1000)};
};

TEST_F(TrainingStatusTest, ExtrapolatesThePace) {
    status.start(100.0, now);
    EXPECT_EQ(text(), "  time left: unknown");

    advance(0.5, milliseconds(1000));
    EXPECT_EQ(text(), "  time left: 0:03:19 (0%)");

    for (int epoch = 1; epoch <= 50; ++epoch) {
        advance(epoch, milliseconds(2000));
    }
    EXPECT_EQ(text(), "  time left: 0:01:40 (50%)");

    now += milliseconds(30000); // within a long epoch
    EXPECT_EQ(text(), "  time left: 0:01:10 (50%)");
    now += milliseconds(300000);
    EXPECT_EQ(text(), "  time left: 0:00:00 (50%)");
}

TEST_F(TrainingStatusTest, FollowsAPaceThatChanges) {
    status.start(1000.0, now);
    for (int epoch = 1; epoch <= 100; ++epoch) {
        advance(epoch, milliseconds(100));
    }
    for (int epoch = 101; epoch <= 300; ++epoch) {
        advance(epoch, milliseconds(10000));
    }

    EXPECT_EQ(text(), "  time left: 1:56:40 (30%)");
}

TEST_F(TrainingStatusTest, TellsManyHoursAsDays) {
    status.start(1.0e6, now);

    advance(1.0, std::chrono::minutes(1));

    EXPECT_EQ(text(), "  time left: 694 days (0%)");
}

TEST_F(TrainingStatusTest, KeepsTheBestErrors) {
    status.start(10.0, now);
    status.noteError("E", std::numeric_limits<float>::quiet_NaN());
    for (const float error : {0.5f, 0.25f, 0.75f, std::numeric_limits<float>::quiet_NaN()}) {
        status.noteError("E", error);
        status.noteError("F", 2.0f - error);
    }

    EXPECT_EQ(text(), "  time left: unknown | best test: E 2.500e-01 F 1.250e+00");
}

TEST_F(TrainingStatusTest, SaysNothingWithoutATerminal) {
    const std::string output = test::outputOf([this] {
        status.start(10.0, now);
        advance(1.0, milliseconds(1000));
        status.finish();
    });

    EXPECT_EQ(output, "");
}

} // namespace
} // namespace melta
