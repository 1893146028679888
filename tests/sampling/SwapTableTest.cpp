#include "sampling/SwapTable.hpp"

#include "sampling/WalkFixture.hpp"

namespace melta::test {
namespace {

class SwapTableTest : public WalkFixture {
protected:
    SwapTableTest() {
        addAtom(input, "Si");
        addAtom(input, "O", true);
        addAtom(input, "O");
        addAtom(input, "Si");
        addAtom(input, "Fe", true);
        addVacancy(input, 1.0f);
        addVacancy(input, 2.0f);
    }

    std::string messageOf(const std::string& first, const std::string& second) {
        input.numSwaps = 0;
        input.swapPairs.clear();
        addPair(input, first, second);
        return stopMessageOf([this] { SwapTable{input}; });
    }
};

TEST_F(SwapTableTest, ListsTheMobileAtomsOfEachElement) {
    addPair(input, "O", "Si");
    addPair(input, "X", "O");
    addPair(input, "Si", "X");
    const SwapTable table(input);

    EXPECT_EQ(table.indicesOf(0), (std::array<int, 2>{1, 0}));
    EXPECT_EQ(table.indicesOf(1), (std::array<int, 2>{SwapTable::vacancy, 1}));
    EXPECT_EQ(table.indicesOf(2), (std::array<int, 2>{0, SwapTable::vacancy}));
    EXPECT_EQ(table.countOf(0), 2);
    EXPECT_EQ(table.countOf(1), 1);
    EXPECT_EQ(table.countOf(2), 0);
    EXPECT_EQ(table.countOf(SwapTable::vacancy), 2);
    EXPECT_EQ(table.atomOf(0, 0), 0);
    EXPECT_EQ(table.atomOf(0, 1), 3);
    EXPECT_EQ(table.atomOf(1, 0), 2);
}

TEST_F(SwapTableTest, ElementsThatAreNotThere) {
    EXPECT_EQ(messageOf("Si", "O"), "(no stop)");
    EXPECT_EQ(messageOf("N", "O"), "a swapping element is not contained in the geometry: N");
    EXPECT_EQ(messageOf("O", "si"), "a swapping element is not contained in the geometry: si");
    EXPECT_EQ(messageOf("N", "P"), "a swapping element is not contained in the geometry: N");
}

TEST_F(SwapTableTest, VacanciesThatAreNotThere) {
    input.numVacancies = 0;

    EXPECT_EQ(messageOf("X", "O"), "a swapping element is not contained in the geometry: X");
    EXPECT_EQ(messageOf("O", "X"), "a swapping element is not contained in the geometry: X");
}

TEST_F(SwapTableTest, ElementsWhoseAtomsAreFixed) {
    EXPECT_EQ(messageOf("Fe", "O"), "all swapping atoms are fixed: Fe");
    EXPECT_EQ(messageOf("O", "Fe"), "all swapping atoms are fixed: Fe");
    EXPECT_EQ(messageOf("Fe", "X"), "all swapping atoms are fixed: Fe");
    EXPECT_EQ(messageOf("Fe", "N"), "all swapping atoms are fixed: Fe");
    EXPECT_EQ(messageOf("N", "Fe"), "a swapping element is not contained in the geometry: N");
}

TEST_F(SwapTableTest, WithoutPairsFixedElementsDoNotMatter) {
    EXPECT_EQ(stopMessageOf([this] { SwapTable{input}; }), "(no stop)");
}

} // namespace
} // namespace melta::test
