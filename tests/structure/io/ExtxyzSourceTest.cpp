#include "structure/io/ExtxyzSource.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <string>

namespace melta {
namespace {

const std::string columns = "Properties=species:S:1:pos:R:3:forces:R:3 ";
const std::string cell = "Lattice=\"4 0 0 0 5 0 0 0 6\" ";
const std::string atom = "\nSi 0.1 0.2 0.3 3 0 -4\n";

class ExtxyzSourceTest : public testing::Test {
protected:
    bool readFirst(const std::string& text) {
        test::writeTextFile(name, text);
        ExtxyzSource source(name);
        const bool isThere = source.next(structure, 0, [](const std::string&) { return 7; });
        numPassed = source.getNumPassed();
        return isThere;
    }

    std::string stopOf(const std::string& text) {
        return test::stopMessageOf([&] { static_cast<void>(readFirst(text)); });
    }

    test::TemporaryDirectory directory;
    std::string name = directory.file("a.xyz");
    Structure structure;
    int numPassed = 0;
};

TEST_F(ExtxyzSourceTest, KeepsUnits) {
    ASSERT_TRUE(readFirst("1\n" + columns + cell + "energy=-3.25 stress=\"1 2 3 2 5 6 3 8 9\"" + atom));

    EXPECT_EQ(structure.lattice, (std::array<double, 9>{4, 0, 0, 0, 5, 0, 0, 0, 6}));
    EXPECT_EQ(structure.energyTotal, -3.25);
    EXPECT_FALSE(structure.hasAtomEnergy);
    EXPECT_EQ(structure.largestForce, 5.0f);
    EXPECT_EQ(*structure.stress, (std::array<double, 6>{1, 5, 9, 7, 3, 2}));
    ASSERT_EQ(structure.atoms.size(), 1U);
    EXPECT_EQ(structure.atoms[0].kind, 7);
    EXPECT_EQ(structure.atoms[0].position, (std::array<double, 3>{0.1, 0.2, 0.3}));
    EXPECT_EQ(structure.atoms[0].force, (std::array<double, 3>{3, 0, -4}));
}

TEST_F(ExtxyzSourceTest, TakesTheEnergyOfTheForcesAndAtomicValues) {
    ASSERT_TRUE(
        readFirst("1\nProperties=species:S:1:pos:R:3:force:R:3:energies:R:1:initial_charges:R:1 energy=-3 "
                  "free_energy=-3.5\nSi 0 0 0 0 0 0 -2 0.5\n"));

    EXPECT_EQ(structure.energyTotal, -3.5);
    EXPECT_TRUE(structure.hasAtomEnergy);
    EXPECT_EQ(structure.atoms[0].energy, -2.0);
    EXPECT_EQ(structure.atoms[0].charge, 0.5);
    EXPECT_EQ(structure.lattice, (std::array<double, 9>{13, 0, 0, 0, 13, 0, 0, 0, 13}));
}

TEST_F(ExtxyzSourceTest, MakesStressOfTheVirialInCrystalsOnly) {
    const std::string virial = "energy=0 virial=\"12 24 36 -12 -24 -36\" ";

    ASSERT_TRUE(readFirst("1\n" + columns + cell + virial + atom));
    ASSERT_TRUE(structure.stress);
    const std::array<double, 6> expected{-0.1, -0.2, -0.3, 0.1, 0.2, 0.3};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_DOUBLE_EQ((*structure.stress)[i], expected[i]) << i;
    }

    ASSERT_TRUE(readFirst("1\npbc=\"T T F\" " + columns + cell + virial + atom));
    EXPECT_FALSE(structure.stress);
}

TEST_F(ExtxyzSourceTest, PassesOverFramesWithoutValues) {
    const std::string bare = "1\nenergy=1\nH 0 0 0\n";

    EXPECT_TRUE(readFirst(bare + "1\n" + columns + atom + "1\n" + columns + "energy=2" + atom));
    EXPECT_EQ(structure.energyTotal, 2.0);
    EXPECT_EQ(numPassed, 2);

    EXPECT_FALSE(readFirst(bare));
    EXPECT_EQ(numPassed, 1);
}

TEST_F(ExtxyzSourceTest, RefusesWhatIsNoValue) {
    const std::string head = "1\n" + columns + cell;

    EXPECT_EQ(stopOf(head + "energy=x" + atom), "incorrect energy in line 2: " + name);
    EXPECT_EQ(stopOf(head + "energy=\"1 2\"" + atom), "incorrect energy in line 2: " + name);
    EXPECT_EQ(stopOf(head + "energy=1 stress=1" + atom), "incorrect stress in line 2: " + name);
    EXPECT_EQ(stopOf(head + "energy=1 virial=\"1 2 3 4 5 nan\"" + atom),
              "incorrect virial in line 2: " + name);
    EXPECT_EQ(stopOf(head + "energy=1\nXx 0 0 0 0 0 0\n"), "unknown element in line 3: " + name);
    EXPECT_EQ(stopOf(head + "energy=1\nSilicium1 0 0 0 0 0 0\n"), "unknown element in line 3: " + name);
}

} // namespace
} // namespace melta
