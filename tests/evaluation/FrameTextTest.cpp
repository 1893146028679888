#include "evaluation/FrameText.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

class FrameTextTest : public testing::Test {
protected:
    FrameTextTest() {
        frame.labels = {"Si", "O"};
        frame.positions = {0.1, 0.2, 0.3, 4, 5, -6};
        results = {.energy = -1.5,
                   .energies = {-1, -0.5},
                   .forces = {1, 2, 3, -1, -2, -3},
                   .charges = {},
                   .stress = {},
                   .energyDeviation = {},
                   .energyDeviations = {},
                   .forceDeviations = {},
                   .novelty = {0, 1},
                   .excess = 0.25};
    }

    void setComment(const std::string& line) { frame.comment = ExtxyzComment::parse(line).value(); }

    ExtxyzFrame frame;
    FrameResults results;
};

TEST_F(FrameTextTest, WritesAClusterOfAPlainModel) {
    EXPECT_EQ(writeFrame(frame, results),
              "2\nProperties=species:S:1:pos:R:3:forces:R:3:energies:R:1:novelty:L:1 energy=-1.5 excess=0.25 "
              "pbc=\"F F F\"\nSi 0.1 0.2 0.3 1 2 3 -1 F\nO 4 5 -6 -1 -2 -3 -0.5 T\n");
}

TEST_F(FrameTextTest, WritesAllThatACommitteeWithChargesSays) {
    frame.lattice = {4, 0, 0, 0, 5, 0, 0, 0.5, 6};
    frame.isPeriodic = {true, true, true};
    results.stress = {1, 2, 3, 2, 4, 5, 3, 5, 6};
    results.charges = {0.5, -0.5};
    results.energyDeviation = 0.125;
    results.energyDeviations = {0.01, 0.02};
    results.forceDeviations = {0.1, 0.2};

    EXPECT_EQ(writeFrame(frame, results),
              "2\nLattice=\"4 0 0 0 5 0 0 0.5 6\" "
              "Properties=species:S:1:pos:R:3:forces:R:3:energies:R:1:charges:R:1:"
              "energies_std:R:1:forces_std:R:1:novelty:L:1 energy=-1.5 stress=\"1 2 3 2 4 5 3 5 6\" "
              "energy_std=0.125 excess=0.25 pbc=\"T T T\"\n"
              "Si 0.1 0.2 0.3 1 2 3 -1 0.5 0.01 0.1 F\nO 4 5 -6 -1 -2 -3 -0.5 -0.5 0.02 0.2 T\n");
}

TEST_F(FrameTextTest, KeepsOtherEntries) {
    setComment(
        "name=\"a b\" Energy=7 lattice=\"1 0 0 0 1 0 0 0 1\" stress=\"1 1 1\" flag free_energy=2 t=1 PBC=T");

    const std::string text = writeFrame(frame, results);

    EXPECT_NE(text.find("pbc=\"F F F\" name=\"a b\" flag t=1\nSi"), std::string::npos) << text;
}

TEST_F(FrameTextTest, GivesLabelsAColumn) {
    frame.labels = {"Si2", "O"};

    const std::string text = writeFrame(frame, results);

    EXPECT_NE(text.find(":novelty:L:1:labels:S:1 energy"), std::string::npos) << text;
    EXPECT_NE(text.find("\nSi 0.1 0.2 0.3 1 2 3 -1 F Si2\nO 4 5 -6 -1 -2 -3 -0.5 T O\n"), std::string::npos)
        << text;
}

} // namespace
} // namespace melta
