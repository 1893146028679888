#include "base/FieldScanner.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace melta {
namespace {

using namespace std::string_literals;

// Inputs with a defined result of sscanf, good and bad. Torn numbers such as "0xg" are missing:
// implementations differ about them.
const char* const numberTexts[] = {
    "0",
    "7",
    "-7",
    "+7",
    "  \t42",
    "42abc",
    "4 2",
    "007",
    "2147483647",
    "-2147483648",
    "",
    "   ",
    "abc",
    "-",
    "+",
    "--1",
    "+-1",
    ".",
    ".5",
    "5.",
    "-.5",
    "1.25",
    "1.25e2",
    "1.25E-2",
    "1.5d3",
    "1e40",
    "-1e40",
    "1e-50",
    "1e400",
    "1e-400",
    "nan",
    "NaN",
    "-nan",
    "inf",
    "-inf",
    "Infinity",
    "INF",
    "nanny",
    "infx",
    "0x1f",
    "0x1.8p1",

    "x1",
    "1,5",
    "3.4028235e38",
    "1.17549435e-38",
    "16777217",
    "0.1",
    "1.9999999403953552",
    "\v\f\r\n3",
    "e5",
    "1e5e5",
    "#1",
};

template <class Number>
bool areSame(Number a, Number b) {
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

TEST(FieldScannerTest, WholeNumbersAreReadAsByTheLibrary) {
    for (const std::string text : numberTexts) {
        int expected = -99;
        int value = -99;

        const bool isExpected = std::sscanf(text.c_str(), "%d", &expected) == 1;
        const bool isRead = FieldScanner(text).readInt(value);

        EXPECT_EQ(isRead, isExpected) << '"' << text << '"';
        EXPECT_EQ(value, expected) << '"' << text << '"';
    }
}

TEST(FieldScannerTest, FloatsAreReadAsByTheLibrary) {
    for (const std::string text : numberTexts) {
        float expected = -99.0f;
        float value = -99.0f;

        const bool isExpected = std::sscanf(text.c_str(), "%f", &expected) == 1;
        const bool isRead = FieldScanner(text).readFloat(value);

        EXPECT_EQ(isRead, isExpected) << '"' << text << '"';
        EXPECT_TRUE(areSame(value, expected)) << '"' << text << "\" " << value << ' ' << expected;
    }
}

TEST(FieldScannerTest, DoublesAreReadAsByTheLibrary) {
    for (const std::string text : numberTexts) {
        double expected = -99.0;
        double value = -99.0;

        const bool isExpected = std::sscanf(text.c_str(), "%lf", &expected) == 1;
        const bool isRead = FieldScanner(text).readDouble(value);

        EXPECT_EQ(isRead, isExpected) << '"' << text << '"';
        EXPECT_TRUE(areSame(value, expected)) << '"' << text << "\" " << value << ' ' << expected;
    }
}

TEST(FieldScannerTest, WordsAreReadAsByTheLibrary) {
    for (const std::string text :
         {"", "  ", "word", "  word", "two words", "\tword\r\n", "#", "a\vb", "\xe4\xff z"}) {
        char expected[32] = "";
        std::string word;

        const bool isExpected = std::sscanf(text.c_str(), "%31s", expected) == 1;
        const bool isRead = FieldScanner(text).readWord(word);

        EXPECT_EQ(isRead, isExpected) << '"' << text << '"';
        EXPECT_EQ(word, expected) << '"' << text << '"';
    }
}

TEST(FieldScannerTest, FieldsFollowOneAnotherAsByTheLibrary) {
    const std::string text = " Si  14 1.5e1-2.25 0x10 tail";
    char expectedWord[32] = "";
    int expectedInt = 0;
    float expectedFloat = 0.0f;
    double expectedDouble = 0.0;
    float expectedHex = 0.0f;
    ASSERT_EQ(std::sscanf(text.c_str(), "%31s %d %f %lf %f", expectedWord, &expectedInt, &expectedFloat,
                          &expectedDouble, &expectedHex),
              5);

    FieldScanner scanner(text);
    std::string word;
    int intValue = 0;
    float floatValue = 0.0f;
    double doubleValue = 0.0;
    float hexValue = 0.0f;
    std::string tail;

    EXPECT_TRUE(scanner.readWord(word) && scanner.readInt(intValue) && scanner.readFloat(floatValue));
    EXPECT_TRUE(scanner.readDouble(doubleValue) && scanner.readFloat(hexValue) && scanner.readWord(tail));
    EXPECT_EQ(word, expectedWord);
    EXPECT_EQ(intValue, expectedInt);
    EXPECT_EQ(floatValue, expectedFloat);
    EXPECT_EQ(doubleValue, expectedDouble);
    EXPECT_EQ(hexValue, expectedHex);
    EXPECT_EQ(tail, "tail");
}

TEST(FieldScannerTest, WholeNumbersBeyond32BitsAreUnreadable) {
    for (const std::string text :
         {"2147483648", "-2147483649", "99999999999999999999", "-99999999999999999999"}) {
        int value = 5;

        EXPECT_FALSE(FieldScanner(text).readInt(value)) << text;
        EXPECT_EQ(value, 5) << text;
    }
}

TEST(FieldScannerTest, LongNumbersAreReadAndCutToTheirRange) {
    const std::vector<std::pair<std::string, long long>> cases = {
        {"-7", -7},
        {" 2147483648 x", 2147483648},
        {"99999999999999999999", std::numeric_limits<long long>::max()},
        {"-99999999999999999999", std::numeric_limits<long long>::min()}};
    for (const auto& [text, expected] : cases) {
        long long value = 5;

        EXPECT_TRUE(FieldScanner(text).readLong(value)) << text;
        EXPECT_EQ(value, expected) << text;
    }
    long long value = 5;
    const std::string word = "x 1";
    FieldScanner scanner(word);
    EXPECT_FALSE(scanner.readLong(value));
    EXPECT_FALSE(scanner.readLong(value));
    EXPECT_EQ(value, 5);
}

TEST(FieldScannerTest, TooLargeNumbersAreInfinities) {
    float floatValue = 0.0f;
    double doubleValue = 0.0;

    EXPECT_TRUE(FieldScanner("1e39"s).readFloat(floatValue));
    EXPECT_TRUE(FieldScanner("-1e309"s).readDouble(doubleValue));

    EXPECT_EQ(floatValue, std::numeric_limits<float>::infinity());
    EXPECT_EQ(doubleValue, -std::numeric_limits<double>::infinity());
}

TEST(FieldScannerTest, TornNumbersGiveTheirReadableBeginning) {
    for (const std::string text : {"0xg", "1e+", "1ex", "infin"}) {
        float value = -99.0f;
        FieldScanner scanner(text);
        std::string rest;

        EXPECT_TRUE(scanner.readFloat(value)) << text;
        EXPECT_TRUE(scanner.readWord(rest)) << text;
        EXPECT_EQ(value, text[0] == 'i' ? INFINITY : static_cast<float>(text[0] - '0')) << text;
        EXPECT_EQ(rest, text.substr(text[0] == 'i' ? 3 : 1)) << text;
    }
}

TEST(FieldScannerTest, EverythingFailsBehindTheFirstUnreadableField) {
    const std::string text = "x 1 2.5 word";
    int intValue = 5;
    float floatValue = 5.0f;
    double doubleValue = 5.0;
    std::string word = "kept";
    FieldScanner scanner(text);

    EXPECT_FALSE(scanner.readInt(intValue));
    EXPECT_FALSE(scanner.readWord(word));
    EXPECT_FALSE(scanner.readInt(intValue));
    EXPECT_FALSE(scanner.readFloat(floatValue));
    EXPECT_FALSE(scanner.readDouble(doubleValue));
    EXPECT_EQ(intValue, 5);
    EXPECT_EQ(floatValue, 5.0f);
    EXPECT_EQ(doubleValue, 5.0);
    EXPECT_EQ(word, "kept");
}

TEST(FieldScannerTest, LineEndsAtItsFirstNul) {
    const std::string text = "1\0 2"s;
    FieldScanner scanner(text);
    int first = 0;
    int second = 0;

    EXPECT_TRUE(scanner.readInt(first));
    EXPECT_FALSE(scanner.readInt(second));
}

TEST(FieldScannerTest, LongWordsAreReadWhole) {
    const std::string text(100000, 'w');
    std::string word;

    EXPECT_TRUE(FieldScanner(text).readWord(word));

    EXPECT_EQ(word, text);
}

TEST(FieldScannerTest, ReadsAllFloatsOrFails) {
    const std::string text = "1 2.5 -3 x 4";
    FieldScanner scanner(text);
    std::array<float, 3> values{};
    std::array<float, 1> more{};

    EXPECT_TRUE(scanner.readFloats(values));
    EXPECT_EQ(values, (std::array<float, 3>{1.0f, 2.5f, -3.0f}));
    EXPECT_FALSE(scanner.readFloats(more));
    EXPECT_FALSE(scanner.readFloats(more));
}

} // namespace
} // namespace melta
