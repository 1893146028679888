#include "driver/CommandLine.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace melta {
namespace {

using Words = std::vector<std::string>;

CommandLine parse(const Words& arguments) {
    return parseCommandLine(arguments);
}

TEST(CommandLineTest, NoWordsGiveAnEmptyList) {
    const CommandLine line = parse({});

    EXPECT_EQ(line.numThreads, 0);
    EXPECT_EQ(line.numArgs(), 0);
}

TEST(CommandLineTest, WordsKeepTheirOrder) {
    const CommandLine line = parse({"--debug", "0.01", "my.prop"});

    EXPECT_EQ(line.numThreads, 0);
    EXPECT_EQ(line.numArgs(), 3);
    EXPECT_EQ(line.words, (Words{"--debug", "0.01", "my.prop"}));
}

TEST(CommandLineTest, OptionMayStandAtAnyPlace) {
    for (const Words& arguments :
         {Words{"--omp", "4", "--train", "my.prop"}, Words{"--train", "--omp", "4", "my.prop"},
          Words{"--train", "my.prop", "--omp", "4"}, Words{"--cpu", "4", "--train", "my.prop"}}) {
        const CommandLine line = parse(arguments);

        EXPECT_EQ(line.numThreads, 4);
        EXPECT_EQ(line.words, (Words{"--train", "my.prop"}));
    }
}

TEST(CommandLineTest, OptionInTheLastPlaceIsIgnored) {
    EXPECT_EQ(parse({"--omp"}).numArgs(), 0);
    EXPECT_EQ(parse({"--train", "--cpu"}).words, Words{"--train"});
    EXPECT_EQ(parse({"--omp", "4", "--omp"}).numThreads, 4);
}

TEST(CommandLineTest, NextWordThatIsNoNumberStaysInTheList) {
    for (const std::string word : {"x", "", "-", "four", ".5", "x4"}) {
        const CommandLine line = parse({"--omp", word, "--train"});

        EXPECT_EQ(line.numThreads, 0) << word;
        EXPECT_EQ(line.words, (Words{word, "--train"})) << word;
    }
}

TEST(CommandLineTest, WordThatBeginsWithANumberIsConsumed) {
    for (const std::string word : {"4", "+4", " 4", "04", "4x", "4.9", "4 5"}) {
        const CommandLine line = parse({"--omp", word, "--train"});

        EXPECT_EQ(line.numThreads, 4) << word;
        EXPECT_EQ(line.words, Words{"--train"}) << word;
    }
}

TEST(CommandLineTest, ZeroAndNegativeNumbersAreConsumed) {
    const CommandLine zero = parse({"--omp", "0", "--train"});
    const CommandLine negative = parse({"--omp", "-2", "--train"});

    EXPECT_EQ(zero.numThreads, 0);
    EXPECT_EQ(zero.words, Words{"--train"});
    EXPECT_EQ(negative.numThreads, -2);
    EXPECT_EQ(negative.words, Words{"--train"});
}

TEST(CommandLineTest, NumberBeyond32BitsStaysInTheList) {
    const CommandLine line = parse({"--omp", "99999999999", "--train"});

    EXPECT_EQ(line.numThreads, 0);
    EXPECT_EQ(line.words, (Words{"99999999999", "--train"}));
}

TEST(CommandLineTest, OfSeveralOptionsTheLastReadingCounts) {
    EXPECT_EQ(parse({"--omp", "2", "--cpu", "8", "--train"}).numThreads, 8);
    EXPECT_EQ(parse({"--omp", "2", "--train", "--omp", "x"}).numThreads, 0);
    EXPECT_EQ(parse({"--omp", "2", "--train", "--omp", "x"}).words, (Words{"--train", "x"}));
}

TEST(CommandLineTest, OptionBehindAnOptionIsAnOption) {
    const CommandLine line = parse({"--omp", "--cpu", "3", "--train"});

    EXPECT_EQ(line.numThreads, 3);
    EXPECT_EQ(line.words, Words{"--train"});
}

TEST(CommandLineTest, OptionIsAnExactWord) {
    const Words arguments = {"--OMP", "4", "--omp=4", "-omp", "--cpus", "4"};

    const CommandLine line = parse(arguments);

    EXPECT_EQ(line.numThreads, 0);
    EXPECT_EQ(line.words, arguments);
}

TEST(CommandLineTest, LongListsAreSafe) {
    Words arguments(1000, "word");
    arguments.insert(arguments.begin() + 500, {"--omp", "4"});

    const CommandLine line = parse(arguments);

    EXPECT_EQ(line.numThreads, 4);
    EXPECT_EQ(line.words, Words(1000, "word"));
}

} // namespace
} // namespace melta
