#include "sampling/SwappingCard.hpp"

#include "sampling/TextFixture.hpp"

namespace melta::test {
namespace {

using Pairs = std::vector<std::array<std::string, 2>>;

class SwappingCardTest : public TextFixture {
protected:
    static SwappingCard cardOf(const std::string& text) {
        writeTextFile("melta.metro", text);
        LineReader reader("melta.metro");
        return readSwappingCard(reader, "melta.metro");
    }

    static std::string messageOf(const std::string& text) {
        return stopMessageOf([&text] { cardOf(text); });
    }
};

TEST_F(SwappingCardTest, PairsWithAndWithoutTemperature) {
    const SwappingCard card = cardOf("5\nSi O 1000.5\n Si\tX\nX O #X is vacancy atom\nO Si 0\nSi Si1 -7 K\n");

    EXPECT_EQ(card.pairs, (Pairs{{"Si", "O"}, {"Si", "X"}, {"X", "O"}, {"O", "Si"}, {"Si", "Si1"}}));
    EXPECT_EQ(card.temperatures, (std::vector<float>{1000.5f, -1.0f, -1.0f, 0.0f, -7.0f}));
}

TEST_F(SwappingCardTest, ReadsItsOwnLinesOnly) {
    writeTextFile("melta.metro", "1\nSi O\nrest");
    LineReader reader("melta.metro");

    readSwappingCard(reader, "melta.metro");

    ASSERT_TRUE(reader.next());
    EXPECT_EQ(reader.line(), "rest");
}

TEST_F(SwappingCardTest, LineEnds) {
    const std::string text = "2\nSi O 1000\nSi X\n";
    for (const std::string& written : {withoutLastCharacter(text), withCarriageReturns(text),
                                       withoutLastCharacter(withCarriageReturns(text))}) {
        const SwappingCard card = cardOf(written);

        EXPECT_EQ(card.pairs, (Pairs{{"Si", "O"}, {"Si", "X"}}));
        EXPECT_EQ(card.temperatures, (std::vector<float>{1000.0f, -1.0f}));
    }
}

TEST_F(SwappingCardTest, NumberOfPairs) {
    EXPECT_EQ(messageOf(""), "cannot read #swapping: melta.metro");
    for (const std::string count : {"", "x", "0", "-1", "3000000000", "#2"}) {
        EXPECT_EQ(messageOf(count + "\nSi O\n"), "incorrect #swapping: melta.metro") << count;
    }
}

TEST_F(SwappingCardTest, Pairs) {
    EXPECT_EQ(messageOf("1\n"), "cannot read swapping pair: melta.metro");
    EXPECT_EQ(messageOf("2\nSi O\n"), "cannot read swapping pair: melta.metro");
    for (const std::string bad :
         {"", " ", "Si", "Si3456789 O", "Si Si3456789", "Si O nan", "Si O inf", "Si O 1e999", "Si Si -inf"}) {
        EXPECT_EQ(messageOf("1\n" + bad + "\n"), "incorrect swapping pair: melta.metro") << bad;
    }
}

TEST_F(SwappingCardTest, LongestName) {
    EXPECT_EQ(cardOf("1\nSi345678 O2345678\n").pairs, (Pairs{{"Si345678", "O2345678"}}));
}

TEST_F(SwappingCardTest, EqualNames) {
    EXPECT_EQ(messageOf("2\nSi O\nSi Si 300\n"), "same-element swapping: melta.metro");
    EXPECT_EQ(messageOf("1\nX X\n"), "same-element swapping: melta.metro");
}

TEST_F(SwappingCardTest, HugeNumberOfPairs) {
    EXPECT_EQ(messageOf("2000000000\nSi O\n"), "cannot read swapping pair: melta.metro");
}

} // namespace
} // namespace melta::test
