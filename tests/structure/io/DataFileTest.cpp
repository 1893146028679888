#include "structure/io/DataFile.hpp"

#include "base/LineReader.hpp"
#include "structure/DataFileText.hpp"
#include "structure/Units.hpp"
#include "structure/io/StructureFormats.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace melta {
namespace {

using test::atomLine;
using test::blockOf;
using test::cubicCell;
using test::plainFields;
using test::stopMessageOf;
using test::TemporaryDirectory;
using test::writeTextFile;

class DataFileTest : public testing::Test {
protected:
    DataFileReader open(const std::string& text, bool withCharge = false) {
        writeTextFile(name, text);
        return DataFileReader(name, withCharge);
    }

    // Numbers the labels in the order in which they come.
    int number(const std::string& label) {
        labels.push_back(label);
        return static_cast<int>(labels.size()) + 10;
    }

    bool readNext(StructureSource& source, int igeom = 0) {
        return source.next(structure, igeom, [this](const std::string& label) { return number(label); });
    }

    TemporaryDirectory directory;
    std::string name = directory.file("melta.train");
    std::vector<std::string> labels;
    Structure structure;
};

TEST_F(DataFileTest, GivesWhatTheFileHasInOurUnits) {
    DataFileReader reader =
        open("2 0 -2.5\n" + cubicCell() + atomLine("Fe_1", plainFields()) + atomLine("12", plainFields()));

    ASSERT_TRUE(readNext(reader));

    EXPECT_EQ(labels, (std::vector<std::string>{"Fe_1", "12"}));
    EXPECT_FALSE(structure.hasAtomEnergy);
    EXPECT_EQ(structure.energyTotal, -2.5 * units::rydbergOfTotal);
    EXPECT_EQ(structure.lattice[4], 10.0f * units::bohr);
    ASSERT_EQ(structure.atoms.size(), 2U);
    const StructureAtom& atom = structure.atoms[1];
    EXPECT_EQ(atom.kind, 12);
    EXPECT_EQ(atom.position[1], 2.0f * units::bohr);
    EXPECT_EQ(atom.force[2], -0.3f * units::rydbergPerBohr);
    EXPECT_EQ(atom.energy, -0.5 * units::rydbergOfAtoms);
    EXPECT_EQ(atom.charge, 0.25f);
}

TEST_F(DataFileTest, ReadsTheStressBehindTheTotal) {
    DataFileReader reader = open(blockOf("0 -2.5 1 2 3 4e-1 5 -6.0 7", {"H"}));

    ASSERT_TRUE(readNext(reader));

    ASSERT_TRUE(structure.stress);
    const std::array<double, 6> expected{1, 2, 3, 0.4, 5, -6};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_DOUBLE_EQ((*structure.stress)[i], expected[i] * units::rydbergPerCubicBohr) << i;
    }
    EXPECT_NEAR(units::rydbergPerCubicBohr * units::gigapascal, 14710.5, 0.1); // 1 Ry/Bohr^3
    EXPECT_EQ(structure.energyTotal, -2.5 * units::rydbergOfTotal);
}

// As before there was a stress: what else stands there is no number of ours.
TEST_F(DataFileTest, TakesNothingButSixNumbersForAStress) {
    DataFileReader reader =
        open(blockOf("0 -1 1 2 3 4 5 6", {"H"}) + blockOf("0 -1", {"H"}) + blockOf("0 -1 1 2 3 4 5", {"H"}) +
             blockOf("0 -1 # 2 3 4 5 6 7", {"H"}) + blockOf("", {"H"}) + blockOf("0 x 1 2 3 4 5 6", {"H"}));

    ASSERT_TRUE(readNext(reader));
    EXPECT_TRUE(structure.stress);
    for (int igeom = 1; igeom < 6; ++igeom) {
        ASSERT_TRUE(readNext(reader, igeom)) << igeom;
        EXPECT_FALSE(structure.stress) << igeom;
    }
}

TEST_F(DataFileTest, HasNoStressWithoutTheShareOfTheCharges) {
    DataFileReader reader = open(blockOf("0 -1 1 2 3 4 5 6", {"H"}), true);

    ASSERT_TRUE(readNext(reader));

    EXPECT_FALSE(structure.stress);
}

TEST_F(DataFileTest, RefusesAStressThatIsNotFinite) {
    for (const char* const text : {"nan", "-inf", "1e999"}) {
        DataFileReader reader = open(blockOf(std::string("0 -1 1 2 3 4 5 ") + text, {"H"}));

        EXPECT_EQ(stopMessageOf([&] { (void)readNext(reader, 3); }),
                  "NaN at the stress of the 3 -th geometry: " + name);
    }
}

TEST_F(DataFileTest, MeasuresTheFullForce) {
    DataFileReader reader = open("1 0 -1\n" + cubicCell() + "H 0 0 0 0 0.3 0 -0.4 0 0 0.3 0 -0.4\n", true);

    ASSERT_TRUE(readNext(reader));

    EXPECT_EQ(structure.atoms[0].force, (std::array<double, 3>{}));
    EXPECT_FLOAT_EQ(structure.largestForce, 0.5f * units::rydbergPerBohr);
}

TEST_F(DataFileTest, ForgetsTheStructureBefore) {
    DataFileReader reader =
        open(blockOf("0 -1", {"H", "O"}) + "1\n" + cubicCell() + "H 0 0 0 0 0 0 0 0 0 0 0 0\n");

    ASSERT_TRUE(readNext(reader));
    ASSERT_TRUE(readNext(reader, 1));

    EXPECT_EQ(structure.atoms.size(), 1U);
    EXPECT_TRUE(structure.hasAtomEnergy);
    EXPECT_EQ(structure.energyTotal, 0.0);
    EXPECT_EQ(structure.largestForce, 0.0f);
    EXPECT_FALSE(readNext(reader, 2));
    EXPECT_FALSE(reader.hasRest());
}

TEST_F(DataFileTest, NamesTheStructureAsTold) {
    DataFileReader reader = open("0\n");

    EXPECT_EQ(stopMessageOf([&] { (void)readNext(reader, 7); }),
              "#atoms of the 7 -th geometry is not positive: " + name);
}

TEST_F(DataFileTest, ReadsWhatItHasWritten) {
    const std::array<float, 9> lattice{4, 0, 0.5f, 0, 5, 0, -0.25f, 0, 6};
    const std::array<float, 6> positions{7, 7.1f, 1.3f, -0.1f, 0, 7.25f};
    {
        FilePointer file = openForWriting(name);
        writeBareStructure(file.get(), lattice, std::array<std::string, 2>{"O", "Si"}, positions);
        closeWritten(std::move(file), name);
    }
    DataFileReader reader(name, false);

    ASSERT_TRUE(readNext(reader));

    EXPECT_EQ(labels, (std::vector<std::string>{"O", "Si"}));
    EXPECT_FALSE(structure.hasAtomEnergy);
    EXPECT_EQ(structure.energyTotal, 0.0);
    for (std::size_t i = 0; i < lattice.size(); ++i) {
        EXPECT_EQ(structure.lattice[i], lattice[i] / units::bohr * units::bohr) << i;
    }
    ASSERT_EQ(structure.atoms.size(), 2U);
    for (std::size_t i = 0; i < positions.size(); ++i) {
        EXPECT_EQ(structure.atoms[i / 3].position[i % 3], positions[i] / units::bohr * units::bohr) << i;
    }
    EXPECT_FALSE(readNext(reader, 1));
}

TEST_F(DataFileTest, TellsWhichLengthsItHolds) {
    EXPECT_TRUE(isWritableLength(-1.5e38f));
    EXPECT_FALSE(isWritableLength(2.0e38f)); // finite in Angstrom only
    EXPECT_FALSE(isWritableLength(std::numeric_limits<float>::quiet_NaN()));
}

TEST_F(DataFileTest, IsTheFormatOfFilesOfAnyName) {
    for (const char* other : {"melta.test", "data", ".metropolis.geom"}) {
        writeTextFile(directory.file(other), blockOf("0 -1", {"H"}));
        const auto source = openStructures(directory.file(other), false);

        EXPECT_TRUE(readNext(*source)) << other;
    }
    EXPECT_EQ(stopMessageOf([&] { (void)openStructures(directory.file("none"), false); }),
              "cannot open file: " + directory.file("none"));
}

TEST_F(DataFileTest, WhatIsWrittenIsReadAgain) {
    structure.lattice = {5.0, 0.25, 0.0, 0.0, 6.0, 0.0, 0.125, 0.0, 7.0};
    structure.energyTotal = -12.3456789012345;
    structure.stress = {0.1, -0.2, 0.3, 0.01, -0.02, 0.03};
    structure.atoms = {{0, {1.1, -2.2, 3.3}, {0.5, -0.25, 4.0}, 0.0, 0.75}, {1, {4, 5, 6}, {}, 0.0, 0.0}};
    const std::vector<std::string> kinds{"Fe1", "O"};
    {
        const FilePointer file = openForWriting(name);
        writeStructure(file.get(), structure, kinds);
    }
    const Structure written = structure;
    DataFileReader reader(name, false);

    ASSERT_TRUE(readNext(reader));

    EXPECT_EQ(labels, kinds);
    EXPECT_FALSE(structure.hasAtomEnergy);
    EXPECT_NEAR(structure.energyTotal, written.energyTotal, 1e-13);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(structure.lattice[i], written.lattice[i], 1e-6) << i;
    }
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR((*structure.stress)[i], (*written.stress)[i], 1e-14) << i;
    }
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_NEAR(structure.atoms[0].position[c], written.atoms[0].position[c], 1e-6) << c;
        EXPECT_NEAR(structure.atoms[0].force[c], written.atoms[0].force[c], 1e-6) << c;
    }
    EXPECT_EQ(structure.atoms[0].charge, 0.75);
    EXPECT_FALSE(readNext(reader, 1));
}

} // namespace
} // namespace melta
