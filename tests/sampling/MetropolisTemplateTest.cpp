#include "sampling/MetropolisTemplate.hpp"

#include "sampling/TextFixture.hpp"
#include "structure/GeometrySet.hpp"
#include "support/FileSizeLimit.hpp"

#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace melta::test {
namespace {

const std::string defaultHead = "maxSteps        100000\n"
                                "numGeoms        1000\n"
                                "unknownGeoms    1\n"
                                "temperature     300.0\n"
                                "upperEnergy     5.000\n"
                                "lowerEnergy     5.000\n"
                                "withShift       1\n"
                                "shiftCoord      0.200\n"
                                "shiftInit       1\n"
                                "shiftCoordInit  0.100\n";
const std::string geometryText = "\n"
                                 "GEOMETRY\n"
                                 "  2\n"
                                 "  4.00000000   0.00000000   0.12500000\n"
                                 "  0.00000000   5.00000000   0.00000000\n"
                                 " -0.25000000   0.00000000   6.00000000\n";

class MetropolisTemplateTest : public TextFixture {
protected:
    MetropolisTemplateTest() {
        const std::array<float, 9> lattice = {4, 0, 0.125f, 0, 5, 0, -0.25f, 0, 6};
        set.numElems = 2;
        set.elemNames = {"Si", "O"};
        set.numGeoms = 1;
        set.geometries.push_back(std::make_unique<Geometry>(lattice, 2, true));
        set.geometries[0]->setAtom(0, 1, 8, 1.5f, 2, 3, 0, 0, 0, 0, 0);
        set.geometries[0]->setAtom(1, 0, 14, -10.25f, 0, 1234.5f, 0, 0, 0, 0, 0);
    }

    std::string writtenText() {
        writeMetropolisTemplate("melta.metro", input, set);
        return readTextFile("melta.metro");
    }

    std::string message() {
        return stopMessageOf([this] { writtenText(); });
    }

    MetropolisInput input;
    GeometrySet set;
};

TEST_F(MetropolisTemplateTest, TwoElements) {
    EXPECT_EQ(writtenText(), defaultHead +
                                 "\n#SWAPPING\n#  2\n#  Si  O  1000.0\n#  Si  X  #X is vacancy atom\n" +
                                 geometryText +
                                 "  O        1.500000   2.000000   3.000000\n"
                                 "  Si     -10.250000   0.000000 1234.500000\n");
}

TEST_F(MetropolisTemplateTest, OneElement) {
    set.numElems = 1;
    set.elemNames = {"O1234567"};
    set.geometries[0]->elements = {0, 0};

    EXPECT_EQ(writtenText(), defaultHead +
                                 "\n#SWAPPING\n#  2\n#  O1234567  O1234567  1000.0\n"
                                 "#  O1234567  X  #X is vacancy atom\n" +
                                 geometryText +
                                 "  O1234567   1.500000   2.000000   3.000000\n"
                                 "  O1234567 -10.250000   0.000000 1234.500000\n");
}

TEST_F(MetropolisTemplateTest, PresentSettings) {
    input.maxSteps = 1;
    input.numGeoms = 2;
    input.unknownGeoms = 0;
    input.withShift = 3;
    input.shiftInit = 0;
    input.shiftCoord = 1.5f;
    input.shiftCoordInit = 0.0625f;
    input.temperature = 1234.56f;
    input.upperEnergy = 0.25f;
    input.lowerEnergy = 12.5f;

    EXPECT_TRUE(writtenText().starts_with("maxSteps        1\n"
                                          "numGeoms        2\n"
                                          "unknownGeoms    0\n"
                                          "temperature     1234.6\n"
                                          "upperEnergy     0.250\n"
                                          "lowerEnergy     12.500\n"
                                          "withShift       3\n"
                                          "shiftCoord      1.500\n"
                                          "shiftInit       0\n"
                                          "shiftCoordInit  0.062\n"
                                          "\n#SWAPPING\n"));
}

TEST_F(MetropolisTemplateTest, NoGeometries) {
    set.geometries.clear();
    set.numGeoms = 0;

    EXPECT_EQ(message(), "index of geometry is out of range.");
    EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(MetropolisTemplateTest, ElementOutOfRange) {
    set.geometries[0]->elements[1] = 2;
    EXPECT_EQ(message(), "index of element is out of range.");

    set.geometries[0]->elements[1] = -1;
    EXPECT_EQ(message(), "index of element is out of range.");
    EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(MetropolisTemplateTest, UnwritableFile) {
    fs::create_directory("melta.metro");

    EXPECT_EQ(message(), "cannot open file: melta.metro");
}

TEST_F(MetropolisTemplateTest, FullDiskKeepsTheOlderFile) {
    writeTextFile("melta.metro", "older\n");
    const FileSizeLimit limit(100);

    EXPECT_EQ(message(), "cannot write file: melta.metro");
    EXPECT_EQ(readTextFile("melta.metro"), "older\n");
}

} // namespace
} // namespace melta::test
