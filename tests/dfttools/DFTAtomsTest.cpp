#include "dfttools/DFTAtoms.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using test::outputOf;

class AtomsOfJobs : public testing::Test {
protected:
    std::string parse(const std::vector<std::string>& atomLines) {
        return outputOf([&] { isRead = parseDFTAtoms(atomLines, atoms); });
    }

    bool isRead = false;
    std::vector<DFTAtom> atoms;
};

} // namespace

TEST_F(AtomsOfJobs, HaveANameAndAPosition) {
    const std::string output = parse({"Si 0.25 -1.5 1e-3", "  O1\t1 2 3 0 0 0 ! fixed"});

    EXPECT_TRUE(isRead);
    ASSERT_EQ(atoms.size(), 2U);
    EXPECT_EQ(atoms[0].name, "Si");
    EXPECT_EQ(atoms[0].position, (std::array<double, 3>{0.25, -1.5, 1e-3}));
    EXPECT_EQ(atoms[1].name, "O1");
    EXPECT_EQ(atoms[1].position, (std::array<double, 3>{1.0, 2.0, 3.0}));
    EXPECT_EQ(output, "\n  * There are 2 atoms.\n\n  * There are 2 elements.\n"
                      "        Si    ->     1 atoms\n        O1    ->     1 atoms\n");
}

TEST_F(AtomsOfJobs, AreCountedInTheOrderOfTheirElements) {
    const std::string output = parse({"H 0 0 0", "O 0 0 1", "H 0 1 0", "Oxygen 1 0 0", "H 1 1 1"});

    EXPECT_EQ(output, "\n  * There are 5 atoms.\n\n  * There are 3 elements.\n"
                      "        H     ->     3 atoms\n        O     ->     1 atoms\n"
                      "        Oxygen->     1 atoms\n");
}

TEST_F(AtomsOfJobs, MayBeOne) {
    EXPECT_EQ(parse({"Fe 0 0 0"}),
              "\n  * There is 1 atom.\n\n  * There is 1 element.\n        Fe    ->     1 atoms\n");
}

TEST_F(AtomsOfJobs, NeedFourFields) {
    for (const std::string line : {"", "Si", "Si 0 0", "  Si 0 0 here", "0.1 0.2 0.3", "Si 1.0d0 2.0d0 3.0d0",
                                   "Si nan 0 0", "Si 0 0 inf"}) {
        EXPECT_EQ(parse({"Si 0 0 0", line}), "\nincorrect line in ATOMIC_POSITIONS:\n  " + line + "\n\n");
        EXPECT_FALSE(isRead) << line;
    }
}

} // namespace melta
