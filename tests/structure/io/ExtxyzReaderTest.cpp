#include "structure/io/ExtxyzReader.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace melta {
namespace {

using test::stopMessageOf;
using Reference = ExtxyzReader::Reference;

class ExtxyzReaderTest : public testing::Test {
protected:
    std::vector<ExtxyzFrame> read(const std::string& text, Reference wish = Reference::read) {
        test::writeTextFile(name, text);
        ExtxyzReader reader(name, wish);
        std::vector<ExtxyzFrame> frames;
        ExtxyzFrame frame;
        while (reader.next(frame, static_cast<int>(frames.size()))) {
            frames.push_back(frame);
        }
        return frames;
    }

    // Without the name of the file.
    std::string stopOf(const std::string& text) {
        const std::string message = stopMessageOf([&] { read(text); });
        const std::size_t end = message.find(": " + name);
        return end == std::string::npos ? "(no file) " + message : message.substr(0, end);
    }

    test::TemporaryDirectory directory;
    std::string name = directory.file("a.xyz");
};

TEST_F(ExtxyzReaderTest, ReadsColumnsInAnyOrder) {
    const auto frames = read("2\nProperties=pos:R:3:fixed:L:1:forces:R:3:species:S:1:energies:R:1:charge:R:1 "
                             "Lattice=\"1 2 3 0 5 0 0 0 9\" energy=-1.5\n"
                             " 1 2 3 T 4 5 6 Si -1 0.5\n7 8 9 F -4 -5 -6 O1 -2 -0.5 \n");

    ASSERT_EQ(frames.size(), 1U);
    const ExtxyzFrame& frame = frames[0];
    EXPECT_EQ(frame.line, 1);
    EXPECT_EQ(frame.labels, (std::vector<std::string>{"Si", "O1"}));
    EXPECT_EQ(frame.positions, (std::vector<double>{1, 2, 3, 7, 8, 9}));
    EXPECT_EQ(frame.forces, (std::vector<double>{4, 5, 6, -4, -5, -6}));
    EXPECT_EQ(frame.energies, (std::vector<double>{-1, -2}));
    EXPECT_EQ(frame.charges, (std::vector<double>{0.5, -0.5}));
    EXPECT_EQ(frame.lattice, (std::array<double, 9>{1, 2, 3, 0, 5, 0, 0, 0, 9}));
    EXPECT_TRUE(frame.isCrystal());
    EXPECT_EQ(*frame.comment.find("energy"), "-1.5");
}

TEST_F(ExtxyzReaderTest, ReadsPlainFramesAndWindowsLines) {
    const auto frames =
        read("1\r\nit's \"water\r\nO 0 0 1 and more\r\n\r\n2\r\n\r\nH 0 0 0\r\nH 0 0 1\r\n\r\n");

    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].labels, std::vector<std::string>{"O"});
    EXPECT_FALSE(frames[0].lattice);
    EXPECT_EQ(frames[0].isPeriodic, (std::array<bool, 3>{}));
    EXPECT_EQ(frames[1].line, 5);
    EXPECT_EQ(frames[1].positions.back(), 1.0);
}

TEST_F(ExtxyzReaderTest, ReadsPeriodicDirections) {
    const std::string lattice = " Lattice=\"4 0 0 0 4 0 0 0 4\"\nH 0 0 0\n";
    using Directions = std::array<bool, 3>;

    EXPECT_EQ(read("1\npbc=\"T T F\"" + lattice)[0].isPeriodic, (Directions{true, true, false}));
    EXPECT_EQ(read("1\npbc=\"False 0 True\"" + lattice)[0].isPeriodic, (Directions{false, false, true}));
    EXPECT_EQ(read("1\n" + lattice)[0].isPeriodic, (Directions{true, true, true}));
    EXPECT_EQ(read("1\npbc=\"F F F\"\nH 0 0 0\n")[0].isPeriodic, Directions{});
    EXPECT_TRUE(read("1\npbc=\"F T T\" Lattice=\"0 0 0 0 4 0 0 0 4\"\nH 0 0 0\n")[0].lattice);
}

TEST_F(ExtxyzReaderTest, TakesLabelsBeforeSpeciesBeforeNumbers) {
    EXPECT_EQ(read("1\nProperties=Z:I:1:pos:R:3\n14 0 0 0\n")[0].labels[0], "Si");
    EXPECT_EQ(read("1\nProperties=Z:I:1:pos:R:3:species:S:1\n14 0 0 0 Fe\n")[0].labels[0], "Fe");
    EXPECT_EQ(read("1\nProperties=species:S:1:pos:R:3:labels:S:1\nFe 0 0 0 Fe2\n")[0].labels[0], "Fe2");
}

TEST_F(ExtxyzReaderTest, LooksAtReferenceDataOnlyWhenAsked) {
    const std::string text = "1\nProperties=species:S:1:pos:R:3:forces:R:3\nH 0 0 0 nan - x\n";

    EXPECT_TRUE(read(text, Reference::ignored)[0].forces.empty());
    EXPECT_EQ(stopOf(text), "a number that is not finite in line 3");
}

TEST_F(ExtxyzReaderTest, NamesTheLineOfAFault) {
    const std::string good = "1\n\nH 0 0 0\n";
    EXPECT_EQ(stopOf(good + "x\n"), "cannot read number of atoms in line 4");
    EXPECT_EQ(stopOf(good + "1 H\n"), "cannot read number of atoms in line 4");
    EXPECT_EQ(stopOf(good + "0\n\n"), "#atoms of the 1 -th geometry is not positive");
    EXPECT_EQ(stopOf("1\n"), "the file ends within a frame in line 1");
    EXPECT_EQ(stopOf("2\n\nH 0 0 0\n"), "the file ends within a frame in line 3");
    EXPECT_EQ(stopOf("1\nLattice=\"4 0 0\nH 0 0 0\n"), "quote or bracket without end in line 2");
    EXPECT_EQ(stopOf("1\nLattice=\"4 0 0 0 4 0 0 4\"\nH 0 0 0\n"), "incorrect Lattice in line 2");
    EXPECT_EQ(stopOf("1\nLattice=\"4 0 0 0 4 0 0 0 inf\"\nH 0 0 0\n"), "incorrect Lattice in line 2");
    EXPECT_EQ(stopOf("1\nLattice=\"4 0 0 0 4 0 4 4 0\"\nH 0 0 0\n"),
              "vectors of the Lattice that do not span a cell in line 2");
    EXPECT_EQ(stopOf("1\npbc=\"T T\"\nH 0 0 0\n"), "incorrect pbc in line 2");
    EXPECT_EQ(stopOf("1\npbc=\"T T X\"\nH 0 0 0\n"), "incorrect pbc in line 2");
    EXPECT_EQ(stopOf("1\npbc=\"T F F\"\nH 0 0 0\n"), "periodic directions without a Lattice in line 2");
    EXPECT_EQ(stopOf("1\nProperties=species:S\nH 0 0 0\n"), "incorrect Properties in line 2");
    EXPECT_EQ(stopOf("1\nProperties=pos:R:3\n0 0 0\n"), "no species in the Properties in line 2");
    EXPECT_EQ(stopOf("1\nProperties=species:S:1:pos:R:2\nH 0 0\n"),
              "no positions (pos:R:3) in the Properties in line 2");
    EXPECT_EQ(stopOf("1\n\nH 0 0\n"), "incorrect number of columns in line 3");
    EXPECT_EQ(stopOf("1\nProperties=species:S:1:pos:R:3\nH 0 0 0 0\n"),
              "incorrect number of columns in line 3");
    EXPECT_EQ(stopOf("1\n\nH 0 0 0x\n"), "cannot read a number in line 3");
    EXPECT_EQ(stopOf("1\n\nH 0 nan 0\n"), "a number that is not finite in line 3");
    EXPECT_EQ(stopOf("1\nProperties=Z:I:1:pos:R:3\n95 0 0 0\n"), "unknown atomic number in line 3");
    EXPECT_EQ(stopOf("4000000000\n\n"), "too large #atoms of the 0 -th geometry");
}

TEST_F(ExtxyzReaderTest, NeedsAFile) {
    EXPECT_EQ(stopMessageOf([&] { const ExtxyzReader reader(name, Reference::read); }),
              "cannot open file: " + name);
}

} // namespace
} // namespace melta
