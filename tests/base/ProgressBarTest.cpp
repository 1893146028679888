#include "base/ProgressBar.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <string>

namespace melta {
namespace {

using test::outputOf;

const std::string frame = "    |" + std::string(95, '-') + "|\n    |";

std::string marks(int number) {
    return std::string(static_cast<std::size_t>(number), '=');
}

TEST(ProgressBarTest, BeginsWithItsFrame) {
    EXPECT_EQ(outputOf([] { const ProgressBar bar(10); }), frame);
}

TEST(ProgressBarTest, MarksAreTheWholePartOfTheDoneShare) {
    for (const int counter : {0, 1, 2, 3, 6, 7}) {
        const std::string output = outputOf([&] {
            ProgressBar bar(7);
            bar.advance(counter);
        });

        EXPECT_EQ(output, frame + marks(counter * 95 / 7)) << counter;
    }
}

TEST(ProgressBarTest, OnlyNewMarksArePrinted) {
    const std::string output = outputOf([] {
        ProgressBar bar(10);
        bar.advance(4);
        bar.advance(4);
        bar.advance(2);
        bar.advance(5);
    });

    EXPECT_EQ(output, frame + marks(47));
}

TEST(ProgressBarTest, CountersOutsideTheWorkStayInsideTheBar) {
    const std::string output = outputOf([] {
        ProgressBar bar(10);
        bar.advance(-5);
        bar.advance(1000);
        bar.advance(2147483647);
    });

    EXPECT_EQ(output, frame + marks(95));
}

TEST(ProgressBarTest, FinishFillsAndClosesTheBar) {
    const std::string output = outputOf([] {
        ProgressBar bar(3);
        bar.advance(1);
        bar.finish();
    });

    EXPECT_EQ(output, frame + marks(95) + "|\n\n");
}

} // namespace
} // namespace melta
