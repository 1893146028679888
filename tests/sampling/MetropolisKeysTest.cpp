#include "sampling/MetropolisKeys.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

const char* const integerKeys[] = {"maxSteps", "numGeoms", "unknownGeoms", "withShift", "shiftInit"};
const char* const realKeys[] = {"shiftCoord", "shiftCoordInit", "temperature", "upperEnergy", "lowerEnergy"};
const char* const positiveKeys[] = {"maxSteps",    "numGeoms",    "shiftCoord", "shiftCoordInit",
                                    "temperature", "upperEnergy", "lowerEnergy"};
const char* const flagKeys[] = {"unknownGeoms", "withShift", "shiftInit"};

MetropolisInput inputAfter(const std::string& line) {
    MetropolisInput input;
    readMetropolisKey(input, line, "melta.metro");
    return input;
}

std::string messageOf(const std::string& line) {
    return stopMessageOf([&line] { inputAfter(line); });
}

TEST(MetropolisKeysTest, DefaultsOfTheSettings) {
    const MetropolisInput input;

    EXPECT_EQ(input.maxSteps, 100000);
    EXPECT_EQ(input.numGeoms, 1000);
    EXPECT_EQ(input.unknownGeoms, 1);
    EXPECT_EQ(input.withShift, 1);
    EXPECT_EQ(input.shiftInit, 1);
    EXPECT_EQ(input.shiftCoord, 0.2f);
    EXPECT_EQ(input.shiftCoordInit, 0.1f);
    EXPECT_EQ(input.temperature, 300.0f);
    EXPECT_EQ(input.upperEnergy, 5.0f);
    EXPECT_EQ(input.lowerEnergy, 5.0f);
    EXPECT_EQ(input.numAtoms, 0);
    EXPECT_EQ(input.numElems, 0);
    EXPECT_EQ(input.numVacancies, 0);
    EXPECT_EQ(input.numSwaps, 0);
}

TEST(MetropolisKeysTest, EachKeyHasItsOwnValue) {
    EXPECT_EQ(inputAfter("maxSteps 7").maxSteps, 7);
    EXPECT_EQ(inputAfter("numGeoms 7").numGeoms, 7);
    EXPECT_EQ(inputAfter("unknownGeoms 0").unknownGeoms, 0);
    EXPECT_EQ(inputAfter("withShift 0").withShift, 0);
    EXPECT_EQ(inputAfter("shiftInit 0").shiftInit, 0);
    EXPECT_EQ(inputAfter("shiftCoord 0.5").shiftCoord, 0.5f);
    EXPECT_EQ(inputAfter("shiftCoordInit 0.5").shiftCoordInit, 0.5f);
    EXPECT_EQ(inputAfter("temperature 0.5").temperature, 0.5f);
    EXPECT_EQ(inputAfter("upperEnergy 0.5").upperEnergy, 0.5f);
    EXPECT_EQ(inputAfter("lowerEnergy 0.5").lowerEnergy, 0.5f);
}

TEST(MetropolisKeysTest, BlanksAroundAndTextBehind) {
    EXPECT_EQ(inputAfter(" \tmaxSteps\t 7 steps\r").maxSteps, 7);
    EXPECT_EQ(inputAfter("maxSteps 7.9").maxSteps, 7);
    EXPECT_EQ(inputAfter("temperature 1e3K").temperature, 1000.0f);
}

TEST(MetropolisKeysTest, ValueThatCannotBeRead) {
    for (const std::string key : integerKeys) {
        for (const std::string value : {"", " ", " x", " 3000000000", " nan", " .5", " #1"}) {
            EXPECT_EQ(messageOf(key + value), "incorrect '" + key + "'") << value;
        }
    }
    for (const std::string key : realKeys) {
        for (const std::string value : {"", " ", " x", " nan", " inf", " -inf", " 1e999", " #1"}) {
            EXPECT_EQ(messageOf(key + value), "incorrect '" + key + "'") << value;
        }
    }
}

TEST(MetropolisKeysTest, ValueThatIsNotPositive) {
    for (const std::string key : positiveKeys) {
        for (const std::string value : {" 0", " -1", " -0.0"}) {
            EXPECT_EQ(messageOf(key + value), key + " is not positive: melta.metro") << value;
        }
    }
}

TEST(MetropolisKeysTest, FlagsMayBeAnyNumber) {
    for (const std::string key : flagKeys) {
        EXPECT_EQ(messageOf(key + " -1"), "(no stop)");
        EXPECT_EQ(messageOf(key + " 0"), "(no stop)");
    }
    EXPECT_EQ(inputAfter("withShift -3").withShift, -3);
}

TEST(MetropolisKeysTest, UnknownKey) {
    for (const std::string key : {"maxsteps", "maxStep", "maxSteps1", "geometry", "X", "0", "numAtoms"}) {
        EXPECT_EQ(messageOf(key + " 1"), "unknown key word: " + key);
    }
    EXPECT_EQ(messageOf(std::string(300, 'x')), "unknown key word: " + std::string(300, 'x'));
}

} // namespace
} // namespace melta::test
