#include "config/PropertyFiles.hpp"
#include "symmfunc/behler/BehlerKind.hpp"

#include <filesystem>
#include <vector>

namespace melta::test {
namespace {

using Values = std::vector<float>;

class BehlerFileTest : public PropertyFiles {
protected:
    // Reads a file of Behler functions with this text.
    void readBehler(const std::string& text) { EXPECT_EQ(stopOfBehler(text), "(no stop)") << text; }

    // The message that the reading of such a file stops with.
    std::string stopOfBehler(const std::string& text) {
        writeTextFile(behlerName, text);
        return stopMessageOf([&] { property.readBehlerFile(behlerName); });
    }

    [[nodiscard]] std::string aboutBehler(const std::string& complaint) const {
        return complaint + ": " + behlerName;
    }

    void expectRadial(const Values& eta, const Values& shift) const {
        EXPECT_EQ(property.radiusEta, eta);
        EXPECT_EQ(property.radiusShift, shift);
        EXPECT_EQ(property.numRadius, static_cast<int>(eta.size()));
    }

    void expectAngular(const Values& eta, const Values& zeta, const Values& shift) const {
        EXPECT_EQ(property.angleEta, eta);
        EXPECT_EQ(property.angleZeta, zeta);
        EXPECT_EQ(property.angleShift, shift);
        EXPECT_EQ(property.numAngle, static_cast<int>(eta.size()));
    }

    void expectCutoffs(float radial, float angular) const {
        EXPECT_EQ(property.rcutRadius, radial);
        EXPECT_EQ(property.rcutAngle, angular);
    }
};

const std::string cutoffs = "Rcut\n6.0\n";
const std::string radial = "G2\n0.5 1.0\n";
const std::string angular = "G3\n0.5 1.0\n";

TEST_F(BehlerFileTest, WholeFile) {
    readBehler("Rcut # for G2 and G3\n"
               "6.500000  5.000000\n"
               "\n"
               "G2 # eta rs\n"
               "0.020000  0.500000\n"
               "0.040000  5.500000\n"
               "\n"
               "G3 # eta zeta rs\n"
               "0.500000  1.000000  0.250000\n"
               "0.016529  4.000000  0.000000\n"
               "0.250000  2.000000  0.125000\n");

    expectCutoffs(6.5f, 5.0f);
    expectRadial({0.02f, 0.04f}, {0.5f, 5.5f});
    expectAngular({0.5f, 0.016529f, 0.25f}, {1.0f, 4.0f, 2.0f}, {0.25f, 0.0f, 0.125f});
    EXPECT_EQ(property.behlerG4, 0);
}

TEST_F(BehlerFileTest, HeaderG4ChoosesG4) {
    readBehler(cutoffs + radial + "G4\n0.5 1.0\n");

    expectAngular({0.5f}, {1.0f}, {0.0f});
    EXPECT_EQ(property.behlerG4, 1);
}

TEST_F(BehlerFileTest, FileReplacesWhatWasThere) {
    property.radiusEta = property.radiusShift = {9.0f, 8.0f};
    property.angleEta = property.angleZeta = property.angleShift = {7.0f};
    property.numRadius = 2;
    property.numAngle = 1;
    property.behlerG4 = 1;

    readBehler(cutoffs + radial);

    expectRadial({0.5f}, {1.0f});
    expectAngular({}, {}, {});
    expectCutoffs(6.0f, 6.0f);
    EXPECT_EQ(property.behlerG4, 0);
}

TEST_F(BehlerFileTest, CutoffsOfEarlierSettingsDoNotCount) {
    EXPECT_EQ(stopOfBehler(radial), aboutBehler("Rcut for radius is not positive"));

    expectCutoffs(-1.0f, -1.0f);
}

TEST_F(BehlerFileTest, SectionsMayStandInAnyOrder) {
    readBehler(angular + radial + cutoffs);

    expectCutoffs(6.0f, 6.0f);
    expectRadial({0.5f}, {1.0f});
    expectAngular({0.5f}, {1.0f}, {0.0f});
}

TEST_F(BehlerFileTest, RadialSectionMayBeContinued) {
    readBehler("G2\n1 1\n" + cutoffs + "G2\n2 2\n" + angular + "G2\n3 3\n");

    expectRadial({1.0f, 2.0f, 3.0f}, {1.0f, 2.0f, 3.0f});
}

TEST_F(BehlerFileTest, OneCutoffStandsForBoth) {
    readBehler(radial + "Rcut\n6.0\n");
    expectCutoffs(6.0f, 6.0f);

    readBehler(radial + "Rcut\n  5.5  # Angstrom\n");
    expectCutoffs(5.5f, 5.5f);
}

TEST_F(BehlerFileTest, CutoffsAreOneLine) {
    readBehler(radial + "Rcut\n6.0 5.0\n4.0 3.0\nno number\n");

    expectCutoffs(6.0f, 5.0f);
}

TEST_F(BehlerFileTest, LaterCutoffsReplaceEarlierOnes) {
    readBehler(cutoffs + radial + "Rcut\n5.0 4.0\n");

    expectCutoffs(5.0f, 4.0f);
}

TEST_F(BehlerFileTest, EmptyLineClosesASection) {
    EXPECT_EQ(stopOfBehler(cutoffs + "G2\n\n0.5 1.0\n"), aboutBehler("there are no G2 functions"));
    EXPECT_EQ(stopOfBehler(cutoffs + "G2\n \t\r\n0.5 1.0\n"), aboutBehler("there are no G2 functions"));
    EXPECT_EQ(stopOfBehler(radial + "Rcut\n\n6.0\n"), aboutBehler("Rcut for radius is not positive"));

    readBehler(cutoffs + radial + "\n0.25 2.0\n" + angular + "\n0.25 2.0 0.0\n");
    expectRadial({0.5f}, {1.0f});
    expectAngular({0.5f}, {1.0f}, {0.0f});
}

TEST_F(BehlerFileTest, CommentClosesASection) {
    readBehler(cutoffs + radial + "# no more\n0.25 2.0\n" + angular + "  !no more\nanything\n");

    expectRadial({0.5f}, {1.0f});
    expectAngular({0.5f}, {1.0f}, {0.0f});
}

TEST_F(BehlerFileTest, LinesOutsideSectionsAreSkipped) {
    readBehler("title of the file\nRCUT\nG22\ng2\nG2#\n" + cutoffs + "7 7\n\n" + radial);

    expectCutoffs(6.0f, 6.0f);
    expectRadial({0.5f}, {1.0f});
}

TEST_F(BehlerFileTest, OnlyTheFirstWordMakesAHeader) {
    readBehler("  Rcut 1 2 3\n6\n\tG2 0.1 0.2\n0.5 1.0 G3\nG3 G4\n0.5 1.0 G4\n");

    expectCutoffs(6.0f, 6.0f);
    expectRadial({0.5f}, {1.0f});
    expectAngular({0.5f}, {1.0f}, {0.0f});
    EXPECT_EQ(property.behlerG4, 0);
}

TEST_F(BehlerFileTest, MissingShiftOfAnAngularFunctionIsZero) {
    readBehler(cutoffs + radial + "G3\n0.5 1.0\n0.5 1.0 0.25\n0.5 1.0 # no shift\n");

    expectAngular({0.5f, 0.5f, 0.5f}, {1.0f, 1.0f, 1.0f}, {0.0f, 0.25f, 0.0f});
}

TEST_F(BehlerFileTest, TextBehindTheNumbersIsIgnored) {
    readBehler("Rcut\n6 5 4 x\nG2\n0.5 1.0 2.0 nan\nG4\n0.5 1.0 0.0 inf\n");

    expectCutoffs(6.0f, 5.0f);
    expectRadial({0.5f}, {1.0f});
    expectAngular({0.5f}, {1.0f}, {0.0f});
}

TEST_F(BehlerFileTest, LinesMayEndAsOnWindows) {
    readBehler("Rcut\r\n6.0\r\n\r\nG2\r\n0.5 1.0\r\nG3\r\n0.5 1.0\r\n");

    expectCutoffs(6.0f, 6.0f);
    expectRadial({0.5f}, {1.0f});
    expectAngular({0.5f}, {1.0f}, {0.0f});
}

TEST_F(BehlerFileTest, LongLinesAreLinesLikeOthers) {
    const std::string blanks(1000, ' ');

    readBehler("Rcut" + blanks + "G2\n" + blanks + "6.0\nG2\n0.5" + blanks + "1.0" + blanks + "7 7\n");

    expectCutoffs(6.0f, 6.0f);
    expectRadial({0.5f}, {1.0f});
}

TEST_F(BehlerFileTest, LastLineNeedsNoLineEnd) {
    readBehler(cutoffs + "G2\n0.5 1.0");

    expectRadial({0.5f}, {1.0f});
}

TEST_F(BehlerFileTest, AngularFunctionsHaveOneHeader) {
    const std::string message = "you can set G3/G4 only once.";

    EXPECT_EQ(stopOfBehler(cutoffs + radial + "G3\n0.5 1\nG3\n0.5 1\n"), message);
    EXPECT_EQ(stopOfBehler(cutoffs + radial + "G3\n0.5 1\nG4\n0.5 1\n"), message);
    EXPECT_EQ(stopOfBehler(cutoffs + radial + "G4\n0.5 1\nG3\n0.5 1\n"), message);
    EXPECT_EQ(stopOfBehler("G4\n\nG4\n"), message);
}

TEST_F(BehlerFileTest, ManyFunctionsAreReadAlike) {
    for (const int count : {31, 32, 33, 66, 67, 1000}) {
        std::string radialText = "G2\n";
        std::string angularText = "G3\n";
        Values ascending;
        Values descending;
        for (int i = 0; i < count; ++i) {
            radialText += std::to_string(i + 1) + " " + std::to_string(count - i) + "\n";
            angularText += std::to_string(count - i) + " " + std::to_string(i + 1) + " 2.5\n";
            ascending.push_back(static_cast<float>(i + 1));
            descending.push_back(static_cast<float>(count - i));
        }

        readBehler(cutoffs + radialText + angularText);

        expectRadial(ascending, descending);
        expectAngular(descending, ascending, Values(ascending.size(), 2.5f));
    }
}

TEST_F(BehlerFileTest, UnreadableLinesAreRefused) {
    for (const std::string line : {"x", "six", "nan", "inf", "-inf", "6 nan", "nan 6", "1e99", "6 -1e99"}) {
        EXPECT_EQ(stopOfBehler("Rcut\n" + line + "\n" + radial), aboutBehler("cannot read Rcut")) << line;
    }
    for (const std::string line : {"x", "0.5", "0.5 x", "x 1", "nan 1", "1 inf", "1e99 1", "0.5,1"}) {
        EXPECT_EQ(stopOfBehler(cutoffs + "G2\n" + line + "\n"), aboutBehler("cannot read G2")) << line;
    }
    for (const std::string line : {"x", "0.5", "0.5 x 1", "nan 1 1", "1 inf", "1 1 nan", "1 1 -inf"}) {
        EXPECT_EQ(stopOfBehler(cutoffs + radial + "G3\n" + line + "\n"), aboutBehler("cannot read G4"))
            << line;
        EXPECT_EQ(stopOfBehler(cutoffs + radial + "G4\n" + line + "\n"), aboutBehler("cannot read G4"))
            << line;
    }
}

TEST_F(BehlerFileTest, ParametersOutOfRangeAreRefused) {
    EXPECT_EQ(stopOfBehler(cutoffs + "G2\n-0.5 -1\n"), aboutBehler("eta of G2 is negative"));
    EXPECT_EQ(stopOfBehler(cutoffs + "G2\n0.5 -1\n"), aboutBehler("Rs of G2 is negative"));
    for (const std::string header : {"G3\n", "G4\n"}) {
        const std::string start = cutoffs + radial + header;
        EXPECT_EQ(stopOfBehler(start + "-0.5 -1 -1\n"), aboutBehler("eta of G4 is negative"));
        EXPECT_EQ(stopOfBehler(start + "0.5 -1 -1\n"), aboutBehler("zeta of G4 is not positive"));
        EXPECT_EQ(stopOfBehler(start + "0.5 0 0\n"), aboutBehler("zeta of G4 is not positive"));
        EXPECT_EQ(stopOfBehler(start + "0.5 1 -1\n"), aboutBehler("rs of G4 is negative"));
    }
}

TEST_F(BehlerFileTest, ParametersAtTheLimitsAreAccepted) {
    readBehler(cutoffs + "G2\n0 0\nG3\n0 0.001 0\n");

    expectRadial({0.0f}, {0.0f});
    expectAngular({0.0f}, {0.001f}, {0.0f});
}

TEST_F(BehlerFileTest, WholeFileIsCheckedInOrder) {
    EXPECT_EQ(stopOfBehler(""), aboutBehler("there are no G2 functions"));
    EXPECT_EQ(stopOfBehler("Rcut\n0 0\n" + angular), aboutBehler("there are no G2 functions"));
    EXPECT_EQ(stopOfBehler("Rcut\n0 0\n" + radial + angular), aboutBehler("Rcut for radius is not positive"));
    EXPECT_EQ(stopOfBehler("Rcut\n-6\n" + radial), aboutBehler("Rcut for radius is not positive"));
    EXPECT_EQ(stopOfBehler("Rcut\n6 0\n" + radial + angular), aboutBehler("Rcut for angle is not positive"));
    EXPECT_EQ(stopOfBehler("Rcut\n6 -1\n" + radial + angular), aboutBehler("Rcut for angle is not positive"));
}

TEST_F(BehlerFileTest, AngularCutoffIsFreeWithoutAngularFunctions) {
    readBehler("Rcut\n6 -1\n" + radial + "G4\n");

    expectCutoffs(6.0f, -1.0f);
    EXPECT_EQ(property.behlerG4, 1);
}

TEST_F(BehlerFileTest, MissingFileIsWrittenFromTheSettingsAndRead) {
    property.numRadius = 3;
    property.numAngle = 5;
    property.rcutRadius = 5.0f;
    property.rcutAngle = 4.5f;

    property.readBehlerFile(behlerName);

    expectCutoffs(5.0f, 4.5f);
    expectRadial({0.125f, 0.125f, 0.125f}, {0.5f, 2.5f, 4.5f});
    expectAngular({0.5f, 0.08f, 0.03125f}, {1.0f, 1.0f, 1.0f}, {0.0f, 0.0f, 0.0f});
    EXPECT_TRUE(
        readTextFile(behlerName).starts_with("Rcut # for G2 and G3\n5.000000  4.500000\n\nG2 # eta rs\n"));
}

TEST_F(BehlerFileTest, MissingFileHasOneG3ForTwoAngularFunctions) {
    const std::pair<int, int> cases[] = {{0, 0}, {2, 0}, {3, 2}, {4, 2}, {30, 15}, {31, 16}};
    for (const auto& [numAngle, numG3] : cases) {
        std::filesystem::remove(behlerName);
        property = Property();
        property.numAngle = numAngle;

        property.readBehlerFile(behlerName);

        EXPECT_EQ(property.numAngle, numG3) << numAngle;
    }
}

TEST_F(BehlerFileTest, MissingFileOfOneFunctionLacksIt) {
    property.numRadius = 1;

    EXPECT_EQ(stopMessageOf([&] { property.readBehlerFile(behlerName); }),
              aboutBehler("there are no G2 functions"));
}

TEST_F(BehlerFileTest, MissingFileNeedsRoomForItsGrid) {
    property.rcutRadius = 1.0f;

    EXPECT_EQ(stopMessageOf([&] { property.readBehlerFile(behlerName); }), "too small Rcut for G2.");
}

TEST_F(BehlerFileTest, ExistingFileStaysAsItIs) {
    readBehler(cutoffs + radial);

    EXPECT_EQ(readTextFile(behlerName), cutoffs + radial);
}

TEST_F(BehlerFileTest, FileThatCannotBeOpenedIsRefused) {
    const std::string inNoDirectory = directory.file("none/melta.behler");
    std::filesystem::create_directory(behlerName);

    EXPECT_EQ(stopMessageOf([&] { property.readBehlerFile(inNoDirectory); }),
              "cannot open file: " + inNoDirectory);
    EXPECT_EQ(stopMessageOf([&] { property.readBehlerFile(behlerName); }), aboutBehler("cannot open file"));
}

TEST_F(BehlerFileTest, TooLongLineIsRefused) {
    EXPECT_EQ(stopOfBehler(std::string(2U << 20U, 'x')), aboutBehler("too long line"));
}

TEST_F(BehlerFileTest, PropertiesFileWithBehlerReadsTheFunctions) {
    writeTextFile(behlerName, "Rcut\n5.5 4.5\nG2\n0.02 0.5\nG4\n10.5 1.0 0.25\n");

    const std::string banner = readText("symmFunc behler\nelemWeight 0\ntanhCutoff 0\n"
                                        "numRadius 7\nnumAngle 8\nrcutRadius 9\nrcutAngle 9\n");

    expectCutoffs(5.5f, 4.5f);
    expectRadial({0.02f}, {0.5f});
    expectAngular({10.5f}, {1.0f}, {0.25f});
    EXPECT_EQ(findLargestCutoff(property), 5.5f);
    EXPECT_NE(banner.find("\n\n  Symmetry Function (Behler's G2 & G4 w/ cosine-cutoff):\n"
                          "    Element Weight = No\n"
                          "    Number of G2s  = 1\n"
                          "    Number of G4s  = 1 x 2\n"
                          "    Rcut for G2    = 5.500 Angstrom\n"
                          "    Rcut for G4    = 4.500 Angstrom\n"
                          "    Eta  for G2    =  0.020 ~  0.020 Angstorm^-2\n"
                          "    Rs   for G2    =  0.500 ~  0.500 Angstrom\n"
                          "    Eta  for G4    = 10.500 ~ 10.500 Angstrom^-2\n"
                          "    Zeta for G4    =  1.000 ~  1.000\n"
                          "    Rs   for G4    =  0.250 ~  0.250 Angstrom\n\n"),
              std::string::npos)
        << banner;
}

TEST_F(BehlerFileTest, PropertiesFileWithoutAngularFunctionsHasNoAngularCutoff) {
    writeTextFile(behlerName, cutoffs + radial);

    readText("symmFunc behler\n");

    EXPECT_EQ(property.numAngle, 0);
    expectCutoffs(6.0f, 0.0f);
    EXPECT_EQ(findLargestCutoff(property), 6.0f);
}

TEST_F(BehlerFileTest, KeysOfThePropertiesFileShapeAMissingFile) {
    readText("symmFunc behler\nnumRadius 4\nnumAngle 6\nrcutRadius 5\nrcutAngle 4\n");

    EXPECT_EQ(property.numRadius, 4);
    EXPECT_EQ(property.numAngle, 3);
    expectCutoffs(5.0f, 4.0f);
    EXPECT_TRUE(readTextFile(behlerName).starts_with("Rcut # for G2 and G3\n5.000000  4.000000\n"));
}

TEST_F(BehlerFileTest, OtherKindsLeaveTheFileAlone) {
    readText("symmFunc chebyshev\n");

    EXPECT_FALSE(std::filesystem::exists(behlerName));
    EXPECT_EQ(property.numRadius, 50);
}

TEST_F(BehlerFileTest, CombinationsAreCheckedBeforeTheFunctionsAreRead) {
    writeTextFile(behlerName, "");

    EXPECT_EQ(stopOfText("symmFunc behler\nlearnRate 1e-5\n"), aboutBehler("there are no G2 functions"));
    EXPECT_EQ(property.learnRateFinal, 1e-5f) << "the rates come before the functions";
    EXPECT_EQ(stopOfText("symmFunc behler\nwithClassical 1\nwithReaxFF 1\n"),
              about("you cannot use withClassical & withReaxFF at the same time"));
}

TEST_F(BehlerFileTest, BrokenFileStopsBeforeTheBanner) {
    writeTextFile(behlerName, "");
    std::string message;

    const std::string output = outputOf([&] { message = stopOfText("symmFunc behler\n"); });

    EXPECT_EQ(message, aboutBehler("there are no G2 functions"));
    EXPECT_EQ(output, "");
}

TEST_F(BehlerFileTest, TemplateWithBehlerIsReadBack) {
    property.symmFuncKind = BehlerKind::code;
    property.numRadius = 3;
    property.numAngle = 4;

    outputWithoutStop([&] { property.readProperty(propertyName, behlerName, false); });

    EXPECT_NE(
        readTextFile(propertyName).find("\nsymmFunc       behler\nelemWeight     1\ntanhCutoff     1\n\n"),
        std::string::npos);
    EXPECT_EQ(property.numRadius, 3);
    EXPECT_EQ(property.numAngle, 2);
}

} // namespace
} // namespace melta::test
