#include "sampling/MetropolisSummary.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

const std::string settingsText = "  Metropolis Method:\n"
                                 "    Maximum Steps of M.C.   = 100000\n"
                                 "    Number of Geometries    = 1000\n"
                                 "    Type of Geometries      = Only-Unknown\n"
                                 "    Temperature of Atoms    = 300.00 K\n"
                                 "    Upper Bound of Energy   = 5.0000 eV/Atom\n"
                                 "    Lower Bound of Energy   = 5.0000 eV/Atom\n";

std::string summaryOf(const MetropolisInput& input) {
    return outputOf([&input] { printMetropolisSummary(input); });
}

TEST(MetropolisSummaryTest, Defaults) {
    EXPECT_EQ(summaryOf(MetropolisInput{}), settingsText + "    Using Atomic Shift      = Yes\n"
                                                           "    Length of Atomic Shift  = 0.2000 Angstrom\n"
                                                           "    Initial Shift for Atoms = Yes\n"
                                                           "    Length of Initial Shift = 0.1000 Angstrom\n"
                                                           "    Number of Vacancy Atoms = 0\n"
                                                           "    #Swapping Element-Pairs = 0\n"
                                                           "\n");
}

TEST(MetropolisSummaryTest, NoInitialShift) {
    MetropolisInput input;
    input.shiftInit = 0;

    EXPECT_EQ(summaryOf(input), settingsText + "    Using Atomic Shift      = Yes\n"
                                               "    Length of Atomic Shift  = 0.2000 Angstrom\n"
                                               "    Initial Shift for Atoms = No\n"
                                               "    Number of Vacancy Atoms = 0\n"
                                               "    #Swapping Element-Pairs = 0\n"
                                               "\n");
}

TEST(MetropolisSummaryTest, PairsWithoutShift) {
    MetropolisInput input;
    input.withShift = 0;
    input.numVacancies = 2;
    input.numSwaps = 4;
    input.swapPairs = {{"Si", "O"}, {"Si345678", "X"}, {"O", "Si"}, {"H", "C"}};
    input.swapTemps = {1000.0f, -1.0f, 0.0f, 123456.789f};

    EXPECT_EQ(summaryOf(input), settingsText + "    Using Atomic Shift      = No\n"
                                               "    Number of Vacancy Atoms = 2\n"
                                               "    #Swapping Element-Pairs = 4\n"
                                               "    List of Element-Pairs:\n"
                                               "        Si    <-->    O     (T =  1000.00 K)\n"
                                               "        Si345678<-->    X\n"
                                               "        O     <-->    Si\n"
                                               "        H     <-->    C     (T = 123456.79 K)\n"
                                               "\n");
}

TEST(MetropolisSummaryTest, OtherSettings) {
    MetropolisInput input;
    input.maxSteps = 1;
    input.numGeoms = 2;
    input.unknownGeoms = 0;
    input.temperature = 0.125f;
    input.upperEnergy = 0.25f;
    input.lowerEnergy = 12.5f;
    input.shiftCoord = 1.5f;
    input.shiftCoordInit = 0.03125f;

    EXPECT_EQ(summaryOf(input), "  Metropolis Method:\n"
                                "    Maximum Steps of M.C.   = 1\n"
                                "    Number of Geometries    = 2\n"
                                "    Type of Geometries      = All\n"
                                "    Temperature of Atoms    = 0.12 K\n"
                                "    Upper Bound of Energy   = 0.2500 eV/Atom\n"
                                "    Lower Bound of Energy   = 12.5000 eV/Atom\n"
                                "    Using Atomic Shift      = Yes\n"
                                "    Length of Atomic Shift  = 1.5000 Angstrom\n"
                                "    Initial Shift for Atoms = Yes\n"
                                "    Length of Initial Shift = 0.0312 Angstrom\n"
                                "    Number of Vacancy Atoms = 0\n"
                                "    #Swapping Element-Pairs = 0\n"
                                "\n");
}

TEST(MetropolisSummaryTest, NothingWithoutMoves) {
    MetropolisInput input;
    input.withShift = 0;

    EXPECT_EQ(summaryOf(input), "");
}

} // namespace
} // namespace melta::test
