#include "symmfunc/behler/BehlerDialogue.hpp"

#include "support/StandardInput.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "symmfunc/behler/BehlerTemplate.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace melta::test {
namespace {

class BehlerDialogueTest : public testing::Test {
protected:
    // The console of a dialogue with these answers.
    std::string consoleOf(const std::string& answers) {
        const StandardInput input(answers);
        return outputOf([&] { message = stopMessageOf([&] { askForBehlerFile(name); }); });
    }

    // The file that a dialogue with these answers writes.
    std::string fileOf(const std::string& answers) {
        std::filesystem::remove(name);
        consoleOf(answers);
        EXPECT_EQ(message, "(no stop)");
        return readTextFile(name);
    }

    // The file of a grid.
    std::string grid(int numG2, float rcutRadius, int numG3, float rcutAngle) {
        const std::string other = directory.file("grid");
        writeBehlerTemplate(other, numG2, numG3, rcutRadius, rcutAngle, true);
        return readTextFile(other);
    }

    TemporaryDirectory directory;
    std::string name = directory.file("melta.behler");
    std::string message;
};

const std::string defaultConsole = "\n"
                                   "number of G2 symmetry functions [default is 50]:\n"
                                   ">>> \n"
                                   "  * There are 50 G2 symmetry functions.\n"
                                   "\n"
                                   "cutoff radius for G2 symmetry functions [default is 6.0]:\n"
                                   ">>> \n"
                                   "  * Cutoff of G2 symmetry functions is 6.000000.\n"
                                   "\n"
                                   "number of G3 symmetry functions w/o lambda-freedom [default is 15]:\n"
                                   ">>> \n"
                                   "  * There are 15 x 2 G3 symmetry functions.\n"
                                   "\n"
                                   "cutoff radius for G3 symmetry functions [default is 6.0]:\n"
                                   ">>> \n"
                                   "  * Cutoff of G3 symmetry functions is 6.000000.\n";

TEST_F(BehlerDialogueTest, EmptyAnswersTakeTheDefaults) {
    EXPECT_EQ(consoleOf("\n\n\n\n"), defaultConsole);
    EXPECT_EQ(readTextFile(name), grid(50, 6.0f, 15, 6.0f));
}

TEST_F(BehlerDialogueTest, EndedInputTakesTheDefaults) {
    EXPECT_EQ(consoleOf(""), defaultConsole);
    EXPECT_EQ(readTextFile(name), grid(50, 6.0f, 15, 6.0f));
}

TEST_F(BehlerDialogueTest, AnswersShapeTheFile) {
    EXPECT_EQ(consoleOf("3\n5.25\n2\n4.5\n"), "\n"
                                              "number of G2 symmetry functions [default is 50]:\n"
                                              ">>> \n"
                                              "  * There are 3 G2 symmetry functions.\n"
                                              "\n"
                                              "cutoff radius for G2 symmetry functions [default is 6.0]:\n"
                                              ">>> \n"
                                              "  * Cutoff of G2 symmetry functions is 5.250000.\n"
                                              "\n"
                                              "number of G3 symmetry functions w/o lambda-freedom "
                                              "[default is 15]:\n"
                                              ">>> \n"
                                              "  * There are 2 x 2 G3 symmetry functions.\n"
                                              "\n"
                                              "cutoff radius for G3 symmetry functions [default is 5.2]:\n"
                                              ">>> \n"
                                              "  * Cutoff of G3 symmetry functions is 4.500000.\n");
    EXPECT_EQ(readTextFile(name), grid(3, 5.25f, 2, 4.5f));
}

TEST_F(BehlerDialogueTest, OneG2IsSaidInTheSingular) {
    const std::string console = consoleOf("1\n\n1\n\n");

    EXPECT_NE(console.find(">>> \n  * There is 1 G2 symmetry function.\n\ncutoff"), std::string::npos)
        << console;
    EXPECT_NE(console.find(">>> \n  * There are 1 x 2 G3 symmetry functions.\n\ncutoff"), std::string::npos)
        << console;
    EXPECT_EQ(readTextFile(name), "Rcut # for G2 and G3\n6.000000  6.000000\n");
}

TEST_F(BehlerDialogueTest, WithoutG3TheirCutoffIsNotAskedFor) {
    const std::string console = consoleOf("4\n5.5\n0\n3.0\n");

    EXPECT_TRUE(console.ends_with("[default is 15]:\n>>> \n  * There is no G3 symmetry function.\n"))
        << console;
    EXPECT_EQ(readTextFile(name), grid(4, 5.5f, 0, 5.5f));
}

TEST_F(BehlerDialogueTest, CutoffOfG2IsTheDefaultOfG3) {
    EXPECT_EQ(fileOf("4\n5.5\n3\n\n"), grid(4, 5.5f, 3, 5.5f));
    EXPECT_EQ(fileOf("4\n5.5\n3\n0\n"), grid(4, 5.5f, 3, 5.5f));
    EXPECT_EQ(fileOf("4\n5.5\n3\n"), grid(4, 5.5f, 3, 5.5f));
}

TEST_F(BehlerDialogueTest, UnreadableNumbersTakeTheDefaults) {
    for (const std::string number : {"x", "-", "#", "   ", "99999999999", "-99999999999"}) {
        EXPECT_EQ(fileOf(number + "\n5.5\n3\n4.5\n"), grid(50, 5.5f, 3, 4.5f)) << number;
        EXPECT_EQ(fileOf("4\n5.5\n" + number + "\n4.5\n"), grid(4, 5.5f, 15, 4.5f)) << number;
    }
}

TEST_F(BehlerDialogueTest, ImpossibleNumbersTakeTheDefaults) {
    EXPECT_EQ(fileOf("0\n5.5\n3\n4.5\n"), grid(50, 5.5f, 3, 4.5f));
    EXPECT_EQ(fileOf("-2\n5.5\n3\n4.5\n"), grid(50, 5.5f, 3, 4.5f));
    EXPECT_EQ(fileOf("4\n5.5\n-1\n4.5\n"), grid(4, 5.5f, 15, 4.5f));
}

TEST_F(BehlerDialogueTest, UnusableCutoffsTakeTheDefaults) {
    for (const std::string length : {"x", "0", "0.0", "-0.0", "-3", "nan", "inf", "-inf", "1e99"}) {
        EXPECT_EQ(fileOf("4\n" + length + "\n3\n4.5\n"), grid(4, 6.0f, 3, 4.5f)) << length;
        EXPECT_EQ(fileOf("4\n5.5\n3\n" + length + "\n"), grid(4, 5.5f, 3, 5.5f)) << length;
    }
}

TEST_F(BehlerDialogueTest, NumbersEndAtTheFirstOtherCharacter) {
    EXPECT_EQ(fileOf("12abc\n5.5A\n3.9\n4.5 3.0\n"), grid(12, 5.5f, 3, 4.5f));
}

TEST_F(BehlerDialogueTest, BlanksAndWindowsLineEndsDoNotMatter) {
    EXPECT_EQ(fileOf("  4 \r\n\t5.5\r\n 3\r\n\r\n"), grid(4, 5.5f, 3, 5.5f));
}

TEST_F(BehlerDialogueTest, ExistingFileIsReplaced) {
    writeTextFile(name, std::string(10000, 'x'));

    consoleOf("2\n6\n0\n");

    EXPECT_EQ(readTextFile(name), grid(2, 6.0f, 0, 6.0f));
}

TEST_F(BehlerDialogueTest, CutoffsWithoutRoomForTheGridAreRefused) {
    consoleOf("2\n1.0\n0\n");
    EXPECT_EQ(message, "too small Rcut for G2.");

    consoleOf("2\n6.0\n2\n1.5\n");
    EXPECT_EQ(message, "too small Rcut for G3.");
}

TEST_F(BehlerDialogueTest, UnwritableFileIsRefusedBehindTheQuestions) {
    name = directory.file("none/melta.behler");

    EXPECT_EQ(consoleOf(""), defaultConsole);
    EXPECT_EQ(message, "cannot open file: " + name);
}

} // namespace
} // namespace melta::test
