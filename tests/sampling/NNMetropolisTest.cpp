#include "sampling/NNMetropolis.hpp"

#include "config/Property.hpp"
#include "sampling/TextFixture.hpp"

#include <filesystem>

namespace fs = std::filesystem;

namespace melta::test {
namespace {

const std::string trainText = "3 1 -1.5\n"
                              "10 0 0\n"
                              "0 12 0\n"
                              "1 0 14\n"
                              "Fe1 1 2 3 0 900 0 0 0 0 0 0 0\n"
                              "O -1 2 3 0 0 0 0 0 0 0 0 0\n"
                              "Fe2 100 2 3 0 0 0 0 0 0 0 0 0\n"
                              "next block\n";
const std::string templateText = "maxSteps        100000\n"
                                 "numGeoms        1000\n"
                                 "unknownGeoms    1\n"
                                 "temperature     300.0\n"
                                 "upperEnergy     5.000\n"
                                 "lowerEnergy     5.000\n"
                                 "withShift       1\n"
                                 "shiftCoord      0.200\n"
                                 "shiftInit       1\n"
                                 "shiftCoordInit  0.100\n"
                                 "\n"
                                 "#SWAPPING\n"
                                 "#  2\n"
                                 "#  Fe1  O  1000.0\n"
                                 "#  Fe1  X  #X is vacancy atom\n"
                                 "\n"
                                 "GEOMETRY\n"
                                 "  3\n"
                                 "  5.29177189   0.00000000   0.00000000\n"
                                 "  0.00000000   6.35012627   0.00000000\n"
                                 "  0.52917719   0.00000000   7.40848064\n"
                                 "  Fe1      0.529177   1.058354   1.587532\n"
                                 "  O       -0.529177   1.058354   1.587532\n"
                                 "  Fe2     52.917717   1.058354   1.587532\n";
const std::string summaryText = "  Metropolis Method:\n"
                                "    Maximum Steps of M.C.   = 100000\n"
                                "    Number of Geometries    = 1000\n"
                                "    Type of Geometries      = Only-Unknown\n"
                                "    Temperature of Atoms    = 300.00 K\n"
                                "    Upper Bound of Energy   = 5.0000 eV/Atom\n"
                                "    Lower Bound of Energy   = 5.0000 eV/Atom\n"
                                "    Using Atomic Shift      = Yes\n"
                                "    Length of Atomic Shift  = 0.2000 Angstrom\n"
                                "    Initial Shift for Atoms = Yes\n"
                                "    Length of Initial Shift = 0.1000 Angstrom\n"
                                "    Number of Vacancy Atoms = 0\n"
                                "    #Swapping Element-Pairs = 0\n"
                                "\n";

class NNMetropolisTest : public TextFixture {
protected:
    NNMetropolisTest() {
        writeTextFile("melta.train", trainText);
        writeTextFile("melta.gdist", "2 10 1\nFe 0.5 0\nO 0.5 0\n");
    }

    void writeTemplate(bool overwrite) { sampler.writeTemplate("melta.metro", "melta.train", overwrite); }

    void readFile() { sampler.readMetropolisFile("melta.metro", "melta.train", "melta.gdist"); }

    Property property;
    NNMetropolis sampler{&property};
};

TEST_F(NNMetropolisTest, NullProperty) {
    EXPECT_EQ(stopMessageOf([] { NNMetropolis{nullptr}; }), "property is null.");
}

TEST_F(NNMetropolisTest, TemplateOfTheFirstGeometry) {
    writeTemplate(true);

    EXPECT_EQ(readTextFile("melta.metro"), templateText);
}

TEST_F(NNMetropolisTest, TemplateOverAnExistingFile) {
    writeTextFile("melta.metro", "older\n");

    writeTemplate(false);
    EXPECT_EQ(readTextFile("melta.metro"), "older\n");

    writeTemplate(true);
    EXPECT_EQ(readTextFile("melta.metro"), templateText);
}

TEST_F(NNMetropolisTest, TemplateThatIsNotWantedNeedsNoData) {
    fs::remove("melta.train");
    writeTextFile("melta.metro", "older\n");

    EXPECT_EQ(stopMessageOf([this] { writeTemplate(false); }), "(no stop)");
}

TEST_F(NNMetropolisTest, TemplateWithoutData) {
    fs::remove("melta.train");
    EXPECT_EQ(stopMessageOf([this] { writeTemplate(true); }), "cannot open file: melta.train");

    writeTextFile("melta.train", "");
    EXPECT_EQ(stopMessageOf([this] { writeTemplate(true); }), "there are no geometries: melta.train");
    EXPECT_FALSE(fs::exists("melta.metro"));
}

TEST_F(NNMetropolisTest, FirstRunMakesItsInput) {
    EXPECT_EQ(outputOf([this] { readFile(); }), summaryText);

    EXPECT_EQ(readTextFile("melta.metro"), templateText);
    EXPECT_EQ(sampler.input.numAtoms, 3);
    EXPECT_EQ(sampler.input.elemNames, (std::vector<std::string>{"Fe1", "O", "Fe2"}));
    EXPECT_TRUE(readTextFile(".metropolis.geom").starts_with("3 0 0.00000000e+00\n"));
    EXPECT_NE(readTextFile(".metropolis.geom").find("\nFe 9.99999642e-01 "), std::string::npos)
        << readTextFile(".metropolis.geom");
}

TEST_F(NNMetropolisTest, ExistingInputIsKept) {
    const std::string text = "maxSteps 7\nGEOMETRY\n1\n4 0 0\n0 5 0\n0 0 6\nO 1 2 3\n";
    writeTextFile("melta.metro", text);
    fs::remove("melta.train");

    outputOf([this] { readFile(); });

    EXPECT_EQ(readTextFile("melta.metro"), text);
    EXPECT_EQ(sampler.input.maxSteps, 7);
    EXPECT_EQ(sampler.input.numAtoms, 1);
}

TEST_F(NNMetropolisTest, NoSummaryOfABadInput) {
    writeTextFile("melta.metro", "maxSteps 0\n");
    std::string message;

    EXPECT_EQ(outputOf([&] { message = stopMessageOf([this] { readFile(); }); }), "");
    EXPECT_EQ(message, "maxSteps is not positive: melta.metro");
    EXPECT_FALSE(fs::exists(".metropolis.geom"));
}

TEST_F(NNMetropolisTest, InputThatIsADirectory) {
    fs::create_directory("melta.metro");

    EXPECT_EQ(stopMessageOf([this] { readFile(); }), "cannot open file: melta.metro");
}

} // namespace
} // namespace melta::test
