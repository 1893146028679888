#include "sampling/GeometryWriter.hpp"

#include "sampling/TextFixture.hpp"
#include "sampling/WalkFixture.hpp"
#include "structure/GeometrySet.hpp"
#include "support/FileSizeLimit.hpp"

#include <filesystem>

namespace fs = std::filesystem;

namespace melta::test {
namespace {

const std::string cards = "CELL_PARAMETERS {angstrom}\n"
                          "  5.25000000   0.00000000   0.00000000\n"
                          " -0.12500000   6.00000000   0.00000000\n"
                          "  0.00000000   0.33333334   7.00000000\n"
                          "\n"
                          "ATOMIC_POSITIONS {angstrom}\n"
                          "  Si       0.100000   0.200000   0.300000\n"
                          "  O        4.123456  -0.000001   1.000000\n"
                          "\n";
const std::string frame = "2\n"
                          "Lattice:   5.25000000   0.00000000   0.00000000  -0.12500000   6.00000000   "
                          "0.00000000   0.00000000   0.33333334   7.00000000\n"
                          "  Silicon12   0.100000   0.200000   0.300000\n"
                          "  O        4.123456  -0.000001   1.000000\n";

// Silicon with a long name in the card, and oxygen; one of them fixed, and a vacancy.
class GeometryWriterTest : public TextFixture {
protected:
    GeometryWriterTest() {
        addAtom(input, "Silicon12");
        addAtom(input, "O", true);
        addVacancy(input, 3.0f);
        set.numElems = 2;
        set.elemNames = {"Si", "O"};
        geometry.setAtom(0, 0, 14, 0.1f, 0.2f, 0.3f, 0, 0, 0, 0, 0);
        geometry.setAtom(1, 1, 8, 4.123456f, -1.0e-6f, 1.0f, 0, 0, 0, 0, 0);
    }

    StopCatcher stopCatcher;
    MetropolisInput input;
    GeometrySet set;
    Geometry geometry =
        Geometry(std::array<float, 9>{5.25f, 0, 0, -0.125f, 6, 0, 0, 1.0f / 3.0f, 7}, 2, false);
    GeometryWriter writer{set, input, 0};
};

TEST_F(GeometryWriterTest, MakesMissingDirectories) {
    writer.makeDirectories();

    EXPECT_TRUE(fs::is_directory("dft_geom"));
    EXPECT_TRUE(fs::is_directory("movie"));
    EXPECT_TRUE(fs::is_empty("dft_geom"));
    EXPECT_TRUE(fs::is_empty("movie"));
}

TEST_F(GeometryWriterTest, KeepsDirectoriesThatAreThere) {
    fs::create_directory("dft_geom");
    writeTextFile("dft_geom/geom.7", "older\n");

    writer.makeDirectories();

    EXPECT_EQ(readTextFile("dft_geom/geom.7"), "older\n");
    EXPECT_TRUE(fs::is_directory("movie"));
}

TEST_F(GeometryWriterTest, OnlyTheFirstWalkMakesThem) {
    GeometryWriter(set, input, 1).makeDirectories();

    EXPECT_FALSE(fs::exists("dft_geom"));
    EXPECT_FALSE(fs::exists("movie"));
}

TEST_F(GeometryWriterTest, DirectoriesThatCannotBeMade) {
    fs::create_symlink("nowhere/at/all", "movie");
    EXPECT_EQ(stopMessageOf([this] { writer.makeDirectories(); }), "cannot make directory: movie");

    fs::remove("dft_geom");
    fs::create_symlink("nowhere/at/all", "dft_geom");
    EXPECT_EQ(stopMessageOf([this] { writer.makeDirectories(); }), "cannot make directory: dft_geom");
}

TEST_F(GeometryWriterTest, CardsForTheDFTCode) {
    writer.makeDirectories();

    writer.writeGeometryForDFT(geometry, 0);
    writer.writeGeometryForDFT(geometry, 11);

    EXPECT_EQ(readTextFile("dft_geom/geom.1"), cards);
    EXPECT_EQ(readTextFile("dft_geom/geom.12"), cards);
}

TEST_F(GeometryWriterTest, ReplacesAnOlderGeometry) {
    writer.makeDirectories();
    writeTextFile("dft_geom/geom.1", "older\n" + cards + cards);

    writer.writeGeometryForDFT(geometry, 0);

    EXPECT_EQ(readTextFile("dft_geom/geom.1"), cards);
    EXPECT_EQ(std::distance(fs::directory_iterator("dft_geom"), fs::directory_iterator()), 1);
}

TEST_F(GeometryWriterTest, FramesFollowEachOther) {
    writer.makeDirectories();
    writeTextFile("movie/metro_1.xyz", "older\n");

    writer.writeGeometryToMovie(geometry, 0);
    EXPECT_EQ(readTextFile("movie/metro_1.xyz"), frame);

    geometry.positions[0] = 0.5f;
    writer.writeGeometryToMovie(geometry, 1);
    std::string moved = frame;
    moved.replace(moved.find("0.100000"), 8, "0.500000");
    EXPECT_EQ(readTextFile("movie/metro_1.xyz"), frame + moved);
}

TEST_F(GeometryWriterTest, EachWalkHasItsMovie) {
    writer.makeDirectories();

    GeometryWriter(set, input, 4).writeGeometryToMovie(geometry, 0);

    EXPECT_EQ(readTextFile("movie/metro_5.xyz"), frame);
}

TEST_F(GeometryWriterTest, FilesThatCannotBeOpened) {
    writeTextFile("dft_geom", "no directory\n");
    fs::create_directories("movie/metro_1.xyz");

    EXPECT_EQ(stopMessageOf([this] { writer.writeGeometryForDFT(geometry, 2); }),
              "cannot open file: dft_geom/geom.3");
    EXPECT_EQ(stopMessageOf([this] { writer.writeGeometryToMovie(geometry, 0); }),
              "cannot open file: movie/metro_1.xyz");
    EXPECT_EQ(stopMessageOf([this] { writer.writeGeometryToMovie(geometry, 1); }),
              "cannot open file: movie/metro_1.xyz");
}

TEST_F(GeometryWriterTest, FullDisk) {
    writer.makeDirectories();
    writer.writeGeometryToMovie(geometry, 0);
    const FileSizeLimit limit(cards.size() - 1);

    EXPECT_EQ(stopMessageOf([this] { writer.writeGeometryForDFT(geometry, 0); }),
              "cannot write file: dft_geom/geom.1");
    EXPECT_EQ(stopMessageOf([this] { writer.writeGeometryToMovie(geometry, 1); }),
              "cannot write file: movie/metro_1.xyz");
    EXPECT_TRUE(fs::is_empty("dft_geom"));
    EXPECT_EQ(readTextFile("movie/metro_1.xyz"), frame) << "no half frame";
}

TEST_F(GeometryWriterTest, UnknownElement) {
    writer.makeDirectories();
    geometry.elements[1] = 2;

    EXPECT_EQ(stopMessageOf([this] { writer.writeGeometryForDFT(geometry, 0); }),
              "index of element is out of range.");
    EXPECT_TRUE(fs::is_empty("dft_geom"));
}

} // namespace
} // namespace melta::test
