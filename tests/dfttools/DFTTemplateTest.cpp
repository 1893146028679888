#include "dfttools/DFTTemplate.hpp"

#include "support/StandardInput.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using test::outputOf;
using test::StandardInput;
using test::stopMessageOf;
using test::writeTextFile;
using Lines = std::vector<std::string>;

constexpr bool displaced = false;
constexpr bool metropolis = true;

const std::string settings = "&CONTROL\n tprnfor=.true.\n tmelta=.true.\n/\n&SYSTEM\n nosym=.true.\n";
const Lines settingLines = {"&CONTROL", " tprnfor=.true.", " tmelta=.true.", "/", "&SYSTEM", " nosym=.true."};

Lines operator+(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class TemplateOfJobs : public testing::Test {
protected:
    // What is printed while a template with this text is read; `isRead` and `lines` tell the rest.
    std::string read(const std::string& text, bool useMetropolis, const std::string& answers = "") {
        writeTextFile(fileName, text);
        const StandardInput input(answers);
        return outputOf([&] { isRead = readDFTTemplate(fileName, useMetropolis, lines); });
    }

    test::TemporaryDirectory directory;
    std::string fileName = directory.file("pw.in");
    bool isRead = false;
    DFTTemplate lines;
};

} // namespace

TEST_F(TemplateOfJobs, IsCutAtTheAtoms) {
    const std::string output = read(settings + "nat = 2\n/\nCELL_PARAMETERS angstrom\n1 0 0\n0 1 0\n0 0 1\n"
                                               "ATOMIC_POSITIONS angstrom\nSi 0 0 0\nSi 1 1 1\n"
                                               "K_POINTS gamma\n\n",
                                    displaced);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(output, "");
    EXPECT_EQ(lines.headLines, settingLines + Lines({"nat = 2", "/", "CELL_PARAMETERS angstrom", "1 0 0",
                                                     "0 1 0", "0 0 1", "ATOMIC_POSITIONS angstrom"}));
    EXPECT_EQ(lines.atomLines, (Lines{"Si 0 0 0", "Si 1 1 1"}));
    EXPECT_EQ(lines.tailLines, (Lines{"K_POINTS gamma", ""}));
}

TEST_F(TemplateOfJobs, LosesCellAndAtomsWithMetropolis) {
    const std::string output =
        read(settings + "ibrav=0 nat=2\n/\nATOMIC_SPECIES\nSi 28 Si.UPF\n"
                        "CELL_PARAMETERS bohr\n1 0 0\n0 1 0\n0 0 1\nK_POINTS gamma\n"
                        "ATOMIC_POSITIONS crystal\nSi 0 0 0\nSi 1 1 1\nOCCUPATIONS\n1.0\n",
             metropolis);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(output, "");
    EXPECT_EQ(lines.headLines, settingLines + Lines({"ibrav=0 nat=2", "/", "ATOMIC_SPECIES", "Si 28 Si.UPF",
                                                     "K_POINTS gamma", "OCCUPATIONS", "1.0"}));
    EXPECT_EQ(lines.atomLines, Lines{});
    EXPECT_EQ(lines.tailLines, Lines{});
}

TEST_F(TemplateOfJobs, MayHaveTheCellBehindTheAtomsWithMetropolis) {
    read(settings + "ibrav=0 nat=1\n/\nATOMIC_POSITIONS\nSi 0 0 0\nK_POINTS gamma\n"
                    "CELL_PARAMETERS bohr\n1 0 0\n0 1 0\n0 0 1\nOCCUPATIONS\n",
         metropolis);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(lines.headLines, settingLines + Lines({"ibrav=0 nat=1", "/", "K_POINTS gamma", "OCCUPATIONS"}));
}

TEST_F(TemplateOfJobs, HasSettingsBehindTheAtomsWithMetropolisOnly) {
    const std::string text = "nat=1\nATOMIC_POSITIONS angstrom\nSi 0 0 0\n" + settings + "ibrav=0\n";

    read(text, metropolis);
    EXPECT_TRUE(isRead);
    read(text, displaced);
    EXPECT_FALSE(isRead);
}

TEST_F(TemplateOfJobs, NeedsNoAtomsWithMetropolis) {
    const std::string output = read(settings + "ibrav=0\n", metropolis);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(output, "");
}

TEST_F(TemplateOfJobs, ForgetsAnEarlierOne) {
    lines = {{"older"}, {"older"}, {"older"}};

    read(settings + "nat=1\nATOMIC_POSITIONS angstrom\nSi 0 0 0", displaced);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(lines.headLines, settingLines + Lines({"nat=1", "ATOMIC_POSITIONS angstrom"}));
    EXPECT_EQ(lines.atomLines, Lines{"Si 0 0 0"});
    EXPECT_EQ(lines.tailLines, Lines{});
}

TEST_F(TemplateOfJobs, MayHaveLineEndsOfWindows) {
    read("tprnfor=t tmelta=t nosym=t nat=1\r\nATOMIC_POSITIONS {angstrom}\r\nSi 0 0 0\r\nK_POINTS gamma\r\n",
         displaced);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(lines.headLines, (Lines{"tprnfor=t tmelta=t nosym=t nat=1", "ATOMIC_POSITIONS {angstrom}"}));
    EXPECT_EQ(lines.atomLines, Lines{"Si 0 0 0"});
    EXPECT_EQ(lines.tailLines, Lines{"K_POINTS gamma"});
}

TEST_F(TemplateOfJobs, KeepsLongLinesWhole) {
    const std::string comment = "!" + std::string(1000, '-');

    read(settings + comment + "\nnat=1\nATOMIC_POSITIONS angstrom\nSi 0 0 0\n" + comment, displaced);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(lines.headLines, settingLines + Lines({comment, "nat=1", "ATOMIC_POSITIONS angstrom"}));
    EXPECT_EQ(lines.tailLines, Lines{comment});
}

TEST_F(TemplateOfJobs, ThatIsMissingIsTold) {
    const std::string missing = directory.file("missing.in");

    const std::string output = outputOf([&] { isRead = readDFTTemplate(missing, displaced, lines); });

    EXPECT_FALSE(isRead);
    EXPECT_EQ(output, "\ncannot open the file: " + missing + "\n\n");
}

TEST_F(TemplateOfJobs, InOtherUnitsIsRefusedWithoutMetropolisOnly) {
    for (const char* unit : {"", "bohr", "alat", "Angstrom", "(bohr)", "! angstrom"}) {
        const std::string text = settings + "ibrav=0\nnat=1\nATOMIC_POSITIONS " + unit + "\nSi 0 0 0\n";

        EXPECT_EQ(read(text, displaced), "\nunits of ATOMIC_POSITIONS must be \"angstrom\".\n\n") << unit;
        EXPECT_FALSE(isRead) << unit;
        EXPECT_EQ(read(text, metropolis), "") << unit;
        EXPECT_TRUE(isRead) << unit;
    }
}

TEST_F(TemplateOfJobs, MayHaveBracketsAroundTheUnit) {
    for (const char* unit : {"{angstrom}", "(angstrom)", " ( angstrom )", "angstrom ! as I measured it"}) {
        read(settings + "nat=1\nATOMIC_POSITIONS" + unit + "\nSi 0 0 0\n", displaced);
        EXPECT_EQ(isRead, unit[0] != 'a') << unit;
    }
}

TEST_F(TemplateOfJobs, WithoutNatAsksForTheNumberOfAtoms) {
    const std::string output =
        read(settings + "ATOMIC_POSITIONS angstrom\nSi 0 0 0\nSi 1 1 1\nK_POINTS gamma\n", displaced,
             "\nmany\n0\n-3\n2\n5\n");

    EXPECT_TRUE(isRead);
    std::string questions;
    for (int i = 0; i < 5; ++i) {
        questions += "\nnumber of atoms:\n>>> ";
    }
    EXPECT_EQ(output, questions);
    EXPECT_EQ(lines.atomLines, (Lines{"Si 0 0 0", "Si 1 1 1"}));
    EXPECT_EQ(lines.tailLines, Lines{"K_POINTS gamma"});
}

TEST_F(TemplateOfJobs, WithoutNatAsksWithMetropolisToo) {
    const std::string output =
        read(settings + "ibrav=0\nATOMIC_POSITIONS\nSi 0 0 0\nSi 1 1 1\nK_POINTS gamma\n", metropolis, "2\n");

    EXPECT_TRUE(isRead);
    EXPECT_EQ(output, "\nnumber of atoms:\n>>> ");
    EXPECT_EQ(lines.headLines, settingLines + Lines({"ibrav=0", "K_POINTS gamma"}));
}

TEST_F(TemplateOfJobs, WithoutNatGivesUpWhenTheInputEnds) {
    const std::string output =
        read(settings + "ATOMIC_POSITIONS angstrom\nSi 0 0 0\n", displaced, "no number\n");

    EXPECT_FALSE(isRead);
    EXPECT_EQ(output, "\nnumber of atoms:\n>>> \nnumber of atoms:\n>>> ");
}

TEST_F(TemplateOfJobs, WithoutAtomsIsRefused) {
    const std::string message = "\nthere are no atoms in the file: " + fileName + "\n\n";

    EXPECT_EQ(read("", displaced), message);
    EXPECT_FALSE(isRead);
    EXPECT_EQ(read(settings + "ATOMIC_POSITIONS angstrom\n", displaced), message);
    EXPECT_FALSE(isRead);
    EXPECT_EQ(read(settings + "nat=0\nATOMIC_POSITIONS angstrom\nSi 0 0 0\n", displaced), message);
    EXPECT_FALSE(isRead);
    EXPECT_EQ(read(settings + "nat=-1\nATOMIC_POSITIONS angstrom\nSi 0 0 0\n", displaced), message);
    EXPECT_FALSE(isRead);
}

TEST_F(TemplateOfJobs, WithTooFewAtomsIsRefused) {
    const std::string message = "\nthere are not enough atoms in the file: " + fileName + "\n\n";

    EXPECT_EQ(read(settings + "nat=3\nATOMIC_POSITIONS angstrom\nSi 0 0 0\nSi 1 1 1\n", displaced), message);
    EXPECT_FALSE(isRead);
    EXPECT_EQ(read(settings + "nat=2\n", displaced), message);
    EXPECT_FALSE(isRead);
}

TEST_F(TemplateOfJobs, WithoutTheSettingsIsRefused) {
    const std::string output =
        read("tprnfor=.true.\ntmelta=.true.\nnat=1\nATOMIC_POSITIONS angstrom\nSi 0 0 0\n", displaced);

    EXPECT_FALSE(isRead);
    EXPECT_EQ(output.find("\nplease set the following:\n"), 0U);
    EXPECT_EQ(output.find("ibrav"), std::string::npos);
}

TEST_F(TemplateOfJobs, WithoutIbravOfZeroIsRefusedWithMetropolis) {
    const std::string output = read(settings + "ibrav=2\n", metropolis);

    EXPECT_FALSE(isRead);
    EXPECT_NE(output.find("&SYSTEM\n  ibrav = 0\n  nosym"), std::string::npos);
}

TEST_F(TemplateOfJobs, HasAtMost2047LinesInFrontOfTheAtoms) {
    const auto textOf = [](int numLines) {
        std::string text = "tprnfor=t tmelta=t nosym=t ibrav=0 nat=1\n";
        for (int line = 2; line < numLines; ++line) {
            text += "!\n";
        }
        return text + "ATOMIC_POSITIONS angstrom\nSi 0 0 0\n";
    };

    read(textOf(2047), displaced);
    EXPECT_TRUE(isRead);
    EXPECT_EQ(lines.headLines.size(), 2047U);
    for (const bool useMetropolis : {displaced, metropolis}) {
        EXPECT_EQ(stopMessageOf([&] { read(textOf(2048), useMetropolis); }), "too much lines in a file.");
    }
}

TEST_F(TemplateOfJobs, HasAtMost2047LinesBehindTheAtoms) {
    const auto textOf = [](int numLines) {
        std::string text = settings + "nat=1\nATOMIC_POSITIONS angstrom\nSi 0 0 0\n";
        for (int line = 1; line <= numLines; ++line) {
            text += "!\n";
        }
        return text;
    };

    read(textOf(2047), displaced);
    EXPECT_TRUE(isRead);
    EXPECT_EQ(lines.tailLines.size(), 2047U);
    EXPECT_EQ(stopMessageOf([&] { read(textOf(2048), displaced); }), "too much lines in a file.");
}

TEST_F(TemplateOfJobs, MayHaveAnyNumberOfAtoms) {
    std::string text = settings + "nat=5000\nATOMIC_POSITIONS angstrom\n";
    for (int atom = 0; atom < 5000; ++atom) {
        text += "Si 0 0 0\n";
    }

    read(text, displaced);

    EXPECT_TRUE(isRead);
    EXPECT_EQ(lines.atomLines.size(), 5000U);
}

} // namespace melta
