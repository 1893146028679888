#include "sampling/GeometryCard.hpp"

#include "sampling/TextFixture.hpp"

#include <vector>

namespace melta::test {
namespace {

const std::string cell = "4 0 0.5\n0 5 0\n0 0.25 6\n";

class GeometryCardTest : public TextFixture {
protected:
    static GeometryCard cardOf(const std::string& text) {
        writeTextFile("melta.metro", text);
        LineReader reader("melta.metro");
        return readGeometryCard(reader, "melta.metro");
    }

    static std::string messageOf(const std::string& text) {
        return stopMessageOf([&text] { cardOf(text); });
    }
};

TEST_F(GeometryCardTest, AtomsOfSeveralElements) {
    const GeometryCard card =
        cardOf("4\n" + cell + "O 1 2 3\nSi -1 0.5 1e1 fix\nO 0 0 0 mobile\nSi1 7 8 9\n");

    EXPECT_EQ(card.lattice, (std::array<float, 9>{4, 0, 0.5f, 0, 5, 0, 0, 0.25f, 6}));
    EXPECT_EQ(card.elemNames, (std::vector<std::string>{"O", "Si", "Si1"}));
    EXPECT_EQ(card.elemAtoms, (std::vector<std::int32_t>{0, 1, 0, 2}));
    EXPECT_EQ(card.fixAtoms, (std::vector<std::int32_t>{0, 1, 0, 0}));
    EXPECT_EQ(card.positions, (std::vector<float>{1, 2, 3, -1, 0.5f, 10, 0, 0, 0, 7, 8, 9}));
    EXPECT_TRUE(card.vacancyCoords.empty());
}

TEST_F(GeometryCardTest, OnlyFixHoldsAnAtom) {
    const GeometryCard card = cardOf("7\n" + cell +
                                     "O 1 2 3 free\nO 1 2 3 fixed\nO 1 2 3 FIX\nO 1 2 3 #fix\n"
                                     "O 1 2 3 x fix\nO 1 2 3 fix x\nO 1 2 3\tfix\n");

    EXPECT_EQ(card.fixAtoms, (std::vector<std::int32_t>{0, 0, 0, 0, 0, 1, 1}));
}

TEST_F(GeometryCardTest, VacanciesAreNoAtoms) {
    const GeometryCard card = cardOf("4\n" + cell + "X 1 2 3\nO 4 5 6\nX 7 8 9 mobile\nx 0 0 0\n");

    EXPECT_EQ(card.vacancyCoords, (std::vector<float>{1, 2, 3, 7, 8, 9}));
    EXPECT_EQ(card.positions, (std::vector<float>{4, 5, 6, 0, 0, 0}));
    EXPECT_EQ(card.elemAtoms, (std::vector<std::int32_t>{0, 1}));
    EXPECT_EQ(card.elemNames, (std::vector<std::string>{"O", "x"}));
    EXPECT_EQ(card.fixAtoms.size(), 2U);
}

TEST_F(GeometryCardTest, ReadsItsOwnLinesOnly) {
    writeTextFile("melta.metro", "1\n" + cell + "O 1 2 3\nrest");
    LineReader reader("melta.metro");

    readGeometryCard(reader, "melta.metro");

    ASSERT_TRUE(reader.next());
    EXPECT_EQ(reader.line(), "rest");
}

TEST_F(GeometryCardTest, LineEnds) {
    const std::string text = "2\n" + cell + "Si1 1 2 3\nO 4 5 6 fix\n";
    const std::vector<std::string> names = {"Si1", "O"};
    for (const std::string& written : {withoutLastCharacter(text), withCarriageReturns(text),
                                       withoutLastCharacter(withCarriageReturns(text))}) {
        const GeometryCard card = cardOf(written);

        EXPECT_EQ(card.elemNames, names);
        EXPECT_EQ(card.positions, (std::vector<float>{1, 2, 3, 4, 5, 6}));
        EXPECT_EQ(card.fixAtoms, (std::vector<std::int32_t>{0, 1}));
    }
}

TEST_F(GeometryCardTest, NumberOfAtoms) {
    EXPECT_EQ(messageOf(""), "cannot read #atom: melta.metro");
    for (const std::string count : {"", "x", "0", "-2", "3000000000", "#1", ".5"}) {
        EXPECT_EQ(messageOf(count + "\n" + cell + "O 1 2 3\n"), "incorrect #atom: melta.metro") << count;
    }
}

TEST_F(GeometryCardTest, Lattice) {
    for (const std::string lines : {"", "1 0 0\n", "1 0 0\n0 1 0\n"}) {
        EXPECT_EQ(messageOf("1\n" + lines), "cannot read lattice: melta.metro") << lines;
        for (const std::string bad :
             {"", "1 2", "x 1 2", "1 2 x", "nan 0 0", "0 0 inf", "0 1e999 0", "3e38 0 0", "# 1 2 3"}) {
            EXPECT_EQ(messageOf("1\n" + lines + bad + "\n"), "incorrect lattice: melta.metro") << bad;
        }
    }
}

TEST_F(GeometryCardTest, Atoms) {
    EXPECT_EQ(messageOf("1\n" + cell), "cannot read atoms: melta.metro");
    EXPECT_EQ(messageOf("2\n" + cell + "O 1 2 3\n"), "cannot read atoms: melta.metro");
    for (const std::string bad : {"", "O", "O 1 2", "1 2 3", "O x 2 3", "O 1 2 y", "O nan 2 3", "O 1 -inf 3",
                                  "O 1 2 1e999", "O 3e38 0 0", "X 1 2", "Si3456789 1 2 3"}) {
        EXPECT_EQ(messageOf("1\n" + cell + bad + "\n"), "incorrect atoms@ 0: melta.metro") << bad;
        EXPECT_EQ(messageOf("3\n" + cell + "X 1 2 3\nO 1 2 3\n" + bad + "\n"),
                  "incorrect atoms@ 2: melta.metro")
            << bad;
    }
}

TEST_F(GeometryCardTest, LongestName) {
    EXPECT_EQ(cardOf("1\n" + cell + "Si345678 1 2 3\n").elemNames[0], "Si345678");
}

TEST_F(GeometryCardTest, FixedVacancy) {
    EXPECT_EQ(messageOf("2\n" + cell + "O 1 2 3 fix\nX 1 2 3 fix\n"), "cannot fix vacancy atom: melta.metro");
}

TEST_F(GeometryCardTest, VacanciesAlone) {
    EXPECT_EQ(messageOf("2\n" + cell + "X 1 2 3\nX 4 5 6\n"), "there are no real atoms: melta.metro");
}

TEST_F(GeometryCardTest, HugeNumberOfAtoms) {
    EXPECT_EQ(messageOf("2000000000\n" + cell + "O 1 2 3\n"), "cannot read atoms: melta.metro");
}

} // namespace
} // namespace melta::test
