#include "dfttools/DataImporter.hpp"

#include "structure/GeometrySet.hpp"
#include "structure/io/ExtxyzSource.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

const char* const frames =
    "2\nProperties=species:S:1:pos:R:3:forces:R:3 Lattice=\"4 0 0 0 5 0 0 0 6\" energy=-1.5 "
    "stress=\"1 0 0 0 1 0 0 0 1\"\nO 0 0 0 1 2 3\nSi 1 2 3 -1 -2 -3\n"
    "1\nProperties=species:S:1:pos:R:3:forces:R:3 energy=-2.5\nSi 0 0 0 0 0 0\n"
    "1\nwithout values\nSi 0 0 0\n";

class DataImporterTest : public testing::Test {
protected:
    DataImporterTest() { test::writeTextFile(source, frames); }

    ImportCounts import() {
        ExtxyzSource open(source);
        return importStructures(open, source, target);
    }

    [[nodiscard]] int numFiles() const {
        return static_cast<int>(std::distance(std::filesystem::directory_iterator(directory.path()), {}));
    }

    test::TemporaryDirectory directory;
    std::string source = directory.file("a.xyz");
    std::string target = directory.file("melta.train");
};

TEST_F(DataImporterTest, WritesADataFile) {
    const ImportCounts counts = import();

    EXPECT_EQ(counts.geometries, 2);
    EXPECT_EQ(counts.atoms, 3);
    EXPECT_EQ(counts.withStress, 1);
    EXPECT_EQ(counts.withAtomEnergy, 0);
    GeometrySet set;
    set.readGeometrySet(target, false);
    ASSERT_EQ(set.numGeoms, 2);
    EXPECT_EQ(set.elemNames, (std::vector<std::string>{"O", "Si"}));
    EXPECT_NEAR(set.getGeometry(0).energyTotal, -1.5, 1e-12);
    EXPECT_NEAR(static_cast<double>(set.getGeometry(0).forces[5]), -3.0, 1e-6);
    EXPECT_NEAR(static_cast<double>(set.getGeometry(0).lattice[8]), 6.0, 1e-6);
    EXPECT_NEAR(static_cast<double>(set.getGeometry(1).lattice[0]), 13.0, 1e-5);
}

TEST_F(DataImporterTest, OverwritesNothing) {
    test::writeTextFile(target, "kept");

    EXPECT_EQ(test::stopMessageOf([this] { import(); }), "the file is there already: " + target);
    EXPECT_EQ(test::readTextFile(target), "kept");
}

TEST_F(DataImporterTest, LeavesNothingBehindAFault) {
    test::writeTextFile(source, std::string(frames) + "1\n\nSi 0 0\n");

    EXPECT_EQ(test::stopMessageOf([this] { import(); }), "incorrect number of columns in line 13: " + source);
    EXPECT_EQ(numFiles(), 1);
    test::writeTextFile(source, "1\n\nSi 0 0 0\n");
    EXPECT_EQ(test::stopMessageOf([this] { import(); }), "there are no geometries: " + source);
    EXPECT_EQ(numFiles(), 1);
}

} // namespace
} // namespace melta
