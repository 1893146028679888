#include "structure/ElementSymbols.hpp"

#include "support/StopCatcher.hpp"

#include <set>

namespace melta {
namespace {

using test::stopMessageOf;

std::string regular(std::string label) {
    regularizeElement(label);
    return label;
}

TEST(ElementSymbols, ReduceLabels) {
    EXPECT_EQ(regular("Fe2"), "Fe");
    EXPECT_EQ(regular("O_1"), "O");
    EXPECT_EQ(regular("C"), "C");
    EXPECT_EQ(regular("Carbon"), "Ca");
    EXPECT_EQ(regular("12"), "");
    EXPECT_EQ(regular(""), "");
    for (const char mark : std::string("0123456789 #*+-:_~")) {
        EXPECT_EQ(regular(std::string("H") + mark), "H") << mark;
        EXPECT_EQ(regular(std::string("Si") + mark + "x"), "Si") << mark;
    }
    EXPECT_EQ(regular("H.x"), "H.");
}

TEST(ElementSymbols, CountFromHydrogenToPlutonium) {
    EXPECT_EQ(atomicNumberOf("H"), 1);
    EXPECT_EQ(atomicNumberOf("C"), 6);
    EXPECT_EQ(atomicNumberOf("Ca"), 20);
    EXPECT_EQ(atomicNumberOf("Fe"), 26);
    EXPECT_EQ(atomicNumberOf("Kr"), 36);
    EXPECT_EQ(atomicNumberOf("Xe"), 54);
    EXPECT_EQ(atomicNumberOf("La"), 57);
    EXPECT_EQ(atomicNumberOf("Lu"), 71);
    EXPECT_EQ(atomicNumberOf("Rn"), 86);
    EXPECT_EQ(atomicNumberOf("Pu"), 94);
    EXPECT_EQ(atomicNumberOf("Fe_surface"), 26);
}

TEST(ElementSymbols, AreAllDifferent) {
    const std::set<std::string_view> symbols(elementSymbols.begin(), elementSymbols.end());

    EXPECT_EQ(symbols.size(), 94U);
    EXPECT_EQ(symbols.count(""), 0U);
}

TEST(ElementSymbols, AreFoundOrNot) {
    EXPECT_EQ(findAtomicNumber("H"), 1);
    EXPECT_EQ(findAtomicNumber("Fe2"), 26);
    EXPECT_EQ(findAtomicNumber("Pu"), 94);
    EXPECT_EQ(findAtomicNumber("X"), 0);
    EXPECT_EQ(findAtomicNumber(""), 0);
}

TEST(ElementSymbols, RefuseWhatIsNone) {
    for (const char* label : {"X", "12", "", "fe", "FE", "Am", "h", "Carbonxyz_"}) {
        const std::string message = stopMessageOf([&] { EXPECT_EQ(atomicNumberOf(label), 20); });

        if (std::string(label) == "Carbonxyz_") {
            EXPECT_EQ(message, "(no stop)");
        } else {
            EXPECT_EQ(message, std::string("cannot resolve the atomic number of the element: ") + label);
        }
    }
}

} // namespace
} // namespace melta
