#include "modelio/ForceFieldExport.hpp"

#include "config/Property.hpp"
#include "support/FileSizeLimit.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

const std::string head = "3 1 1 0\n50 30 6.0 4.5\nthe head\n";
const std::string energy = "1.0 2.0\r\n3.0\n";
const std::string charge = "4.0 5.0 \n";

class ForceFieldExport : public testing::Test {
protected:
    ForceFieldExport() {
        writeTextFile(dataFile, head);
        writeTextFile(dataFile + "_e", energy);
        writeTextFile(dataFile + "_q", charge);
    }

    static Property settingsOf(bool withClassical, bool withReaxFF, bool withCharge) {
        Property property;
        property.withClassical = withClassical ? 1 : 0;
        property.withReaxFF = withReaxFF ? 1 : 0;
        property.withCharge = withCharge ? 1 : 0;
        return property;
    }

    [[nodiscard]] std::string exported(bool withClassical, bool withReaxFF, bool withCharge) const {
        outputOf([&] {
            exportForceField(dataFile, baselineFile, outputFile,
                             settingsOf(withClassical, withReaxFF, withCharge));
        });
        return readTextFile(outputFile);
    }

    [[nodiscard]] std::string exportedWithClassical(const std::string& parameters) const {
        writeTextFile(baselineFile, parameters);
        return exported(true, false, false);
    }

    [[nodiscard]] std::string exportedWithReaxFF(const std::string& parameters) const {
        writeTextFile(baselineFile, parameters);
        return exported(false, true, false);
    }

    // The message of a stop that must not touch any file.
    [[nodiscard]] std::string stopOfExport(bool withClassical, bool withReaxFF, bool withCharge) const {
        const std::vector<std::string> before = listed();
        std::string message;
        outputOf([&] {
            message = stopMessageOf([&] {
                exportForceField(dataFile, baselineFile, outputFile,
                                 settingsOf(withClassical, withReaxFF, withCharge));
            });
        });
        EXPECT_EQ(listed(), before);
        return message;
    }

    [[nodiscard]] std::vector<std::string> listed() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory.path())) {
            names.push_back(entry.path().filename().string());
        }
        std::ranges::sort(names);
        return names;
    }

    test::TemporaryDirectory directory;
    std::string dataFile = directory.file("melta.data");
    std::string baselineFile = directory.file("baseline");
    std::string outputFile = directory.file("ffield.melta");
};

TEST_F(ForceFieldExport, TellsWhereItGoes) {
    const std::string output =
        outputOf([&] { exportForceField(dataFile, baselineFile, outputFile, Property()); });

    EXPECT_EQ(output, "\n  * Export the data of neural networks to the file \"" + outputFile + "\"\n\n");
}

TEST_F(ForceFieldExport, JoinsHeadAndEnergyFile) {
    EXPECT_EQ(exported(false, false, false), head + energy);
}

TEST_F(ForceFieldExport, AppendsTheChargeFile) {
    EXPECT_EQ(exported(false, false, true), head + energy + charge);
}

TEST_F(ForceFieldExport, ReplacesAnOlderExport) {
    writeTextFile(outputFile, std::string(1000, 'x'));

    EXPECT_EQ(exported(false, false, false), head + energy);
    EXPECT_EQ(listed(),
              (std::vector<std::string>{"ffield.melta", "melta.data", "melta.data_e", "melta.data_q"}));
}

TEST_F(ForceFieldExport, CopiesThePairsOfTheClassicalPotential) {
    const std::string text = exportedWithClassical("2\nO 1.0\nH 2.0\nO O 1 2\nO H 3 4\nH H 5 6\nno pair\n");

    EXPECT_EQ(text, head + "3\nO O 1 2\nO H 3 4\nH H 5 6\n" + energy);
}

TEST_F(ForceFieldExport, ReadsTheNumberOfElementsAsAFormattedReadDoes) {
    EXPECT_EQ(exportedWithClassical("  +1abc \r\nO\r\nO O 1\r\n"), head + "1\nO O 1\r\n" + energy);
}

TEST_F(ForceFieldExport, WritesNoPairsWithoutANumberOfElements) {
    for (const std::string first : {"", "\n", "0\n", "-2\n", "two\n", "99999999999\n"}) {
        EXPECT_EQ(exportedWithClassical(first + (first.empty() ? "" : "O\nO O 1\n")), head + "0\n" + energy)
            << first;
    }
}

TEST_F(ForceFieldExport, EndsEarlyWithAShortClassicalFile) {
    EXPECT_EQ(exportedWithClassical("2\nO\nH\nO O 1\n"), head + "3\nO O 1\n" + energy);
    EXPECT_EQ(exportedWithClassical("2\nO\n"), head + "3\n" + energy);
    EXPECT_EQ(exportedWithClassical("2"), head + "3\n" + energy);
}

TEST_F(ForceFieldExport, CountsThePairsOfAnyNumberOfElements) {
    EXPECT_EQ(exportedWithClassical("65536\n"), head + "2147516416\n" + energy);
    EXPECT_EQ(exportedWithClassical("2147483647\n"), head + "2305843008139952128\n" + energy);
}

TEST_F(ForceFieldExport, PutsReaxFFBetweenMarkers) {
    const std::string parameters = "Reactive MD-force field\n 39 ! parameters\n\n   2.5\r\n";

    EXPECT_EQ(exportedWithReaxFF(parameters), head + ">>> ReaxFF\n" + parameters + "<<< ReaxFF\n" + energy);
}

TEST_F(ForceFieldExport, BeginsEachPartOnItsOwnLine) {
    writeTextFile(dataFile, "head");
    writeTextFile(dataFile + "_e", "energy");
    writeTextFile(dataFile + "_q", "charge");

    EXPECT_EQ(exported(false, false, true), "head\nenergy\ncharge");
    EXPECT_EQ(exportedWithClassical("1\nO\nO O 1"), "head\n1\nO O 1\nenergy");
    EXPECT_EQ(exportedWithReaxFF("reax"), "head\n>>> ReaxFF\nreax\n<<< ReaxFF\nenergy");
    EXPECT_EQ(exportedWithReaxFF(""), "head\n>>> ReaxFF\n<<< ReaxFF\nenergy");
}

TEST_F(ForceFieldExport, CopiesLongLinesAndAnyByte) {
    const std::string longLine = std::string(3000000, '7') + "\n";
    const std::string anyByte("a\0b\xff\x1a\n", 6);
    writeTextFile(dataFile, longLine + anyByte);

    EXPECT_EQ(exportedWithClassical("1\n" + longLine + longLine + anyByte),
              longLine + anyByte + "1\n" + longLine + energy);
}

TEST_F(ForceFieldExport, StopsWhereAFileIsMissing) {
    writeTextFile(baselineFile, "1\n");
    for (const std::string& missing : {dataFile, dataFile + "_e", dataFile + "_q", baselineFile}) {
        const std::string text = readTextFile(missing);
        fs::remove(missing);

        EXPECT_EQ(stopOfExport(true, false, true), "cannot open file: " + missing);
        EXPECT_EQ(stopOfExport(false, true, true), "cannot open file: " + missing);

        writeTextFile(missing, text);
    }
}

TEST_F(ForceFieldExport, NeedsNoFileOfAPartThatItDoesNotHave) {
    fs::remove(dataFile + "_q");

    EXPECT_EQ(exported(false, false, false), head + energy);
}

TEST_F(ForceFieldExport, StopsAtAnOutputThatCannotBeWritten) {
    fs::create_directory(outputFile);

    EXPECT_EQ(stopOfExport(false, false, false), "cannot open file: " + outputFile);
}

TEST_F(ForceFieldExport, StopsAtAFullDiskAndKeepsTheOlderExport) {
    writeTextFile(outputFile, "old\n");

    const std::string message = [&] {
        const test::FileSizeLimit limit(head.size() + 3);
        return stopOfExport(false, false, false);
    }();

    EXPECT_EQ(message, "cannot write file: " + outputFile);
    EXPECT_EQ(readTextFile(outputFile), "old\n");
}

// Memory of the process itself: it opens, but no byte at its beginning can be read.
TEST_F(ForceFieldExport, StopsAtAFileThatCannotBeRead) {
    fs::remove(dataFile + "_e");
    std::error_code error;
    fs::create_symlink("/proc/self/mem", dataFile + "_e", error);
    if (error || !fs::exists(dataFile + "_e")) {
        GTEST_SKIP() << "this system has no such file";
    }

    EXPECT_EQ(stopOfExport(false, false, false), "cannot read file: " + dataFile + "_e");
}

} // namespace
} // namespace melta
