#include "base/ConsoleInput.hpp"

#include "base/LineReader.hpp"
#include "support/StandardInput.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace melta {
namespace {

using namespace std::string_literals;
using Answers = std::vector<std::optional<std::string>>;

// As many answers as asked for from a standard input with this text.
Answers answersOf(const std::string& text, std::size_t numAnswers) {
    const test::StandardInput input(text);
    Answers answers;
    test::outputOf([&] {
        while (answers.size() < numAnswers) {
            answers.push_back(readAnswer());
        }
    });
    return answers;
}

TEST(ConsoleInputTest, EachAnswerIsOneLineBehindThePrompt) {
    const test::StandardInput input("first\nsecond\n");
    std::optional<std::string> first;
    std::optional<std::string> second;

    const std::string firstOutput = test::outputOf([&] { first = readAnswer(); });
    const std::string secondOutput = test::outputOf([&] { second = readAnswer(); });

    EXPECT_EQ(first, "first");
    EXPECT_EQ(second, "second");
    EXPECT_EQ(firstOutput, ">>> ");
    EXPECT_EQ(secondOutput, ">>> ");
}

TEST(ConsoleInputTest, EmptyLineIsAnEmptyAnswer) {
    EXPECT_EQ(answersOf("\n\nthird\n", 3), (Answers{"", "", "third"}));
}

TEST(ConsoleInputTest, AnswersAreKeptAsTheyStand) {
    EXPECT_EQ(answersOf("  two words\t\nwindows\r\n\xff\xfe\n", 3),
              (Answers{"  two words\t", "windows\r", "\xff\xfe"}));
    EXPECT_EQ(answersOf("a\0b\n"s, 1), Answers{"a\0b"s});
}

TEST(ConsoleInputTest, LastLineNeedsNoLineEnd) {
    EXPECT_EQ(answersOf("only", 2), (Answers{"only", std::nullopt}));
}

TEST(ConsoleInputTest, EndedInputGivesNoAnswerAgainAndAgain) {
    EXPECT_EQ(answersOf("", 3), (Answers{std::nullopt, std::nullopt, std::nullopt}));
    EXPECT_EQ(answersOf("only\n", 3), (Answers{"only", std::nullopt, std::nullopt}));
}

TEST(ConsoleInputTest, PromptIsPrintedWithoutInputToo) {
    const test::StandardInput input("");

    EXPECT_EQ(test::outputOf([] { readAnswer(); }), ">>> ");
}

TEST(ConsoleInputTest, LongLineIsCutAndItsRestSkipped) {
    const std::string longest(LineReader::maxLineLength, 'x');

    EXPECT_EQ(answersOf(longest + "\nnext\n", 2), (Answers{longest, "next"}));
    EXPECT_EQ(answersOf(longest + "yz\nnext\n", 2), (Answers{longest, "next"}));
}

} // namespace
} // namespace melta
