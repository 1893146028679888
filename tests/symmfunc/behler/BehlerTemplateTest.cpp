#include "symmfunc/behler/BehlerTemplate.hpp"

#include "support/FileSizeLimit.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <vector>

namespace melta::test {
namespace {

class BehlerTemplateTest : public testing::Test {
protected:
    // The file of a grid that is written over whatever is there.
    std::string writtenText(int numRadius, int numG3, float rcutRadius, float rcutAngle) {
        writeBehlerTemplate(name, numRadius, numG3, rcutRadius, rcutAngle, true);
        return readTextFile(name);
    }

    std::string stopOf(int numRadius, int numG3, float rcutRadius, float rcutAngle) {
        return stopMessageOf([&] { writtenText(numRadius, numG3, rcutRadius, rcutAngle); });
    }

    TemporaryDirectory directory;
    std::string name = directory.file("melta.behler");
};

// The numbers of the lines between a header and the next empty line.
std::vector<std::vector<double>> sectionNumbers(const std::string& text, const std::string& header) {
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line) && line != header) {
    }
    std::vector<std::vector<double>> rows;
    while (std::getline(stream, line) && !line.empty()) {
        std::istringstream fields(line);
        rows.emplace_back();
        for (double value = 0; fields >> value;) {
            rows.back().push_back(value);
        }
    }
    return rows;
}

// Half a unit of the last printed digit, and the rounding of single precision.
void expectPrinted(double printed, double exact) {
    EXPECT_LE(std::abs(printed - exact), 0.5e-6 + 4e-7 * std::abs(exact)) << printed << " for " << exact;
}

TEST_F(BehlerTemplateTest, TwoOfEachKind) {
    EXPECT_EQ(writtenText(2, 2, 6.0f, 6.0f), "Rcut # for G2 and G3\n"
                                             "6.000000  6.000000\n"
                                             "\n"
                                             "G2 # eta rs\n"
                                             "0.020000  0.500000\n"
                                             "0.020000  5.500000\n"
                                             "\n"
                                             "G3 # eta zeta rs\n"
                                             "0.500000  1.000000  0.000000\n"
                                             "0.016529  1.000000  0.000000\n");
}

TEST_F(BehlerTemplateTest, EachKindHasItsOwnCutoff) {
    EXPECT_EQ(writtenText(3, 3, 5.0f, 4.5f), "Rcut # for G2 and G3\n"
                                             "5.000000  4.500000\n"
                                             "\n"
                                             "G2 # eta rs\n"
                                             "0.125000  0.500000\n"
                                             "0.125000  2.500000\n"
                                             "0.125000  4.500000\n"
                                             "\n"
                                             "G3 # eta zeta rs\n"
                                             "0.500000  1.000000  0.000000\n"
                                             "0.080000  1.000000  0.000000\n"
                                             "0.031250  1.000000  0.000000\n");
}

TEST_F(BehlerTemplateTest, LargeGridFollowsTheFormulas) {
    const std::string text = writtenText(50, 15, 6.0f, 6.5f);

    const auto radial = sectionNumbers(text, "G2 # eta rs");
    const auto angular = sectionNumbers(text, "G3 # eta zeta rs");
    ASSERT_EQ(radial.size(), 50U);
    ASSERT_EQ(angular.size(), 15U);
    const double radialStep = 5.0 / 49;
    const double angularStep = 5.0 / 14;
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(radial[i].size(), 2U);
        expectPrinted(radial[i][0], 1 / (2 * radialStep * radialStep));
        expectPrinted(radial[i][1], 0.5 + i * radialStep);
    }
    for (int i = 0; i < 15; ++i) {
        const double width = 1 + i * angularStep;
        ASSERT_EQ(angular[i].size(), 3U);
        expectPrinted(angular[i][0], 1 / (2 * width * width));
        EXPECT_EQ(angular[i][1], 1.0);
        EXPECT_EQ(angular[i][2], 0.0);
    }
}

TEST_F(BehlerTemplateTest, KindsWithLessThanTwoFunctionsHaveNoSection) {
    const std::string cutoffs = "Rcut # for G2 and G3\n6.000000  6.000000\n";
    const std::string radial = "\nG2 # eta rs\n0.020000  0.500000\n0.020000  5.500000\n";
    const std::string angular =
        "\nG3 # eta zeta rs\n0.500000  1.000000  0.000000\n0.016529  1.000000  0.000000\n";

    EXPECT_EQ(writtenText(1, 1, 6.0f, 6.0f), cutoffs);
    EXPECT_EQ(writtenText(0, 0, 6.0f, 6.0f), cutoffs);
    EXPECT_EQ(writtenText(-3, -3, 6.0f, 6.0f), cutoffs);
    EXPECT_EQ(writtenText(2, 1, 6.0f, 6.0f), cutoffs + radial);
    EXPECT_EQ(writtenText(1, 2, 6.0f, 6.0f), cutoffs + angular);
}

TEST_F(BehlerTemplateTest, CutoffsOfKindsWithoutSectionMayBeSmall) {
    EXPECT_EQ(writtenText(1, 0, 0.25f, -1.0f), "Rcut # for G2 and G3\n0.250000  -1.000000\n");
}

TEST_F(BehlerTemplateTest, SmallRadialCutoffIsRefused) {
    EXPECT_EQ(stopOf(2, 2, 1.0f, 6.0f), "too small Rcut for G2.");
    EXPECT_EQ(stopOf(2, 2, 0.1f, 0.1f), "too small Rcut for G2.");
    EXPECT_EQ(stopOf(2, 0, 1.001f, 6.0f), "(no stop)");
}

TEST_F(BehlerTemplateTest, SmallAngularCutoffIsRefused) {
    EXPECT_EQ(stopOf(2, 2, 6.0f, 1.5f), "too small Rcut for G3.");
    EXPECT_EQ(stopOf(0, 2, 0.1f, 0.1f), "too small Rcut for G3.");
    EXPECT_EQ(stopOf(0, 2, 6.0f, 1.501f), "(no stop)");
}

TEST_F(BehlerTemplateTest, CountsThatWouldFillTheDiskAreRefused) {
    const std::string message = "too many symmetry functions: " + name;

    EXPECT_EQ(stopOf(100001, 0, 6.0f, 6.0f), message);
    EXPECT_EQ(stopOf(2, 2000000000, 6.0f, 6.0f), message);
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(stopOf(100000, 0, 6.0f, 6.0f), "(no stop)");
}

TEST_F(BehlerTemplateTest, RefusedGridLeavesTheSectionsBefore) {
    stopOf(2, 2, 1.0f, 6.0f);
    EXPECT_EQ(readTextFile(name), "Rcut # for G2 and G3\n1.000000  6.000000\n");

    stopOf(2, 2, 6.0f, 1.5f);
    EXPECT_EQ(readTextFile(name), "Rcut # for G2 and G3\n6.000000  1.500000\n"
                                  "\nG2 # eta rs\n0.020000  0.500000\n0.020000  5.500000\n");
}

TEST_F(BehlerTemplateTest, ExistingFileStaysWithoutOverwrite) {
    writeTextFile(name, "mine");

    writeBehlerTemplate(name, 2, 2, 0.0f, 0.0f, false);
    EXPECT_EQ(readTextFile(name), "mine");

    writeBehlerTemplate(name, 2, 2, 6.0f, 6.0f, true);
    EXPECT_TRUE(readTextFile(name).starts_with("Rcut # for G2 and G3\n"));
}

TEST_F(BehlerTemplateTest, MissingFileIsWrittenWithoutOverwrite) {
    writeBehlerTemplate(name, 2, 2, 6.0f, 6.0f, false);

    EXPECT_TRUE(readTextFile(name).starts_with("Rcut # for G2 and G3\n"));
}

TEST_F(BehlerTemplateTest, UnwritableFileIsRefused) {
    const std::string inNoDirectory = directory.file("none/melta.behler");
    const std::string message = "cannot open file: " + inNoDirectory;

    EXPECT_EQ(stopMessageOf([&] { writeBehlerTemplate(inNoDirectory, 2, 2, 6.0f, 6.0f, true); }), message);
    EXPECT_EQ(stopMessageOf([&] { writeBehlerTemplate(inNoDirectory, 2, 2, 6.0f, 6.0f, false); }), message);
    std::filesystem::create_directory(name);
    EXPECT_EQ(stopOf(2, 2, 6.0f, 6.0f), "cannot open file: " + name);
}

TEST_F(BehlerTemplateTest, FullDiskIsNoticed) {
    std::string message;
    {
        const FileSizeLimit limit(100);
        message = stopOf(50, 15, 6.0f, 6.0f);
    }

    EXPECT_EQ(message, "cannot write file: " + name);
}

} // namespace
} // namespace melta::test
