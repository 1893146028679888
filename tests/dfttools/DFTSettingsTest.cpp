#include "dfttools/DFTSettings.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <initializer_list>

namespace melta {
namespace {

using test::outputOf;
using Words = std::vector<std::string>;

class Settings : public testing::Test {
protected:
    // Whether a template with these lines behind the sufficient ones is still good enough.
    static bool suffice(std::initializer_list<const char*> lines, bool useMetropolis = false) {
        DFTSettings settings(useMetropolis);
        settings.takeLine(wordsOfDFTLine("tprnfor=.true., tmelta=.true., nosym=.true."));
        for (const char* line : lines) {
            settings.takeLine(wordsOfDFTLine(line));
        }
        return settings.areSufficient();
    }
};

class Logical : public testing::TestWithParam<const char*> {
protected:
    // Whether the lines suffice where those of the key alone set it.
    [[nodiscard]] static bool isSetBy(const std::string& key, std::initializer_list<std::string> lines) {
        DFTSettings settings(false);
        for (const std::string other : {"tprnfor", "tmelta", "nosym"}) {
            if (other != key) {
                settings.takeLine({other, "t"});
            }
        }
        for (const std::string& line : lines) {
            settings.takeLine(wordsOfDFTLine(line));
        }
        return settings.areSufficient();
    }
};

} // namespace

TEST(DFTLine, IsCutIntoWordsWithoutSigns) {
    EXPECT_EQ(wordsOfDFTLine("  a=1,b(2)='c'\t[d]\"e\"{f}\r"),
              (Words{"a", "1", "b", "2", "c", "d", "e", "f"}));
    EXPECT_EQ(wordsOfDFTLine("&SYSTEM ibrav=0 ; /"), (Words{"&SYSTEM", "ibrav", "0", ";", "/"}));
    EXPECT_EQ(wordsOfDFTLine(""), Words{});
}

TEST(DFTLine, EndsAtAComment) {
    EXPECT_EQ(wordsOfDFTLine("a = 1 ! b = 2 # c"), (Words{"a", "1"}));
    EXPECT_EQ(wordsOfDFTLine("a = 1 # b = 2 ! c"), (Words{"a", "1"}));
    EXPECT_EQ(wordsOfDFTLine("!a"), Words{});
}

TEST_F(Settings, SufficeWithoutACalculation) {
    EXPECT_TRUE(suffice({}));
    EXPECT_TRUE(suffice({"calculation = 'scf'"}));
    EXPECT_TRUE(suffice({"calculation = \"scf\""}));
    EXPECT_FALSE(DFTSettings(false).areSufficient());
}

TEST_F(Settings, RefuseAllOtherCalculations) {
    for (const char* line : {"calculation='nscf'", "calculation='bands'", "calculation='relax'",
                             "calculation='md'", "calculation='vc-relax'", "calculation='vc-md'"}) {
        EXPECT_FALSE(suffice({line})) << line;
        EXPECT_TRUE(suffice({line, "calculation='scf'"})) << line;
    }
    EXPECT_TRUE(suffice({"calculation='anything'"}));
    EXPECT_TRUE(suffice({"! calculation='md'"}));
    EXPECT_FALSE(suffice({"calculation='md'", "calculation='anything'"}));
}

TEST_F(Settings, NeedIbravOfZeroWithMetropolisOnly) {
    EXPECT_TRUE(suffice({"ibrav = 2"}, false));
    EXPECT_FALSE(suffice({}, true));
    EXPECT_FALSE(suffice({"ibrav = 2"}, true));
    EXPECT_FALSE(suffice({"ibrav"}, true));
    EXPECT_FALSE(suffice({"ibrav = 00"}, true));
    EXPECT_TRUE(suffice({"ibrav = 0"}, true));
}

TEST_F(Settings, FindIbravWithoutBlanksAroundItsSign) {
    EXPECT_TRUE(suffice({"  ibrav=0,nat=2"}, true));
}

TEST_F(Settings, TakeTheLastIbrav) {
    EXPECT_FALSE(suffice({"ibrav = 0", "ibrav = 4"}, true));
    EXPECT_TRUE(suffice({"ibrav = 4", "ibrav = 0"}, true));
}

TEST_F(Settings, TakeTheFirstNumberOfAtoms) {
    DFTSettings settings(false);

    settings.takeLine(wordsOfDFTLine("nat = many"));
    EXPECT_FALSE(settings.numAtoms);
    settings.takeLine(wordsOfDFTLine("&SYSTEM ntyp = 1, nat=12, ecutwfc = 20"));
    EXPECT_EQ(settings.numAtoms, 12);
    settings.takeLine(wordsOfDFTLine("nat = 3"));
    EXPECT_EQ(settings.numAtoms, 12);
}

TEST_F(Settings, PrintWhatIsNeeded) {
    const std::string needed = outputOf([] { DFTSettings(false).printNeeded(); });
    const std::string neededWithMetropolis = outputOf([] { DFTSettings(true).printNeeded(); });

    EXPECT_EQ(needed, "\nplease set the following:\n\n&CONTROL\n  calculation = 'scf'\n  tprnfor = .true.\n"
                      "  tmelta = .true.\n/\n\n&SYSTEM\n  nosym = .true.\n/\n\n");
    EXPECT_EQ(neededWithMetropolis,
              "\nplease set the following:\n\n&CONTROL\n  calculation = 'scf'\n  tprnfor = .true.\n"
              "  tmelta = .true.\n/\n\n&SYSTEM\n  ibrav = 0\n  nosym = .true.\n/\n\n");
}

TEST_P(Logical, HasFourSpellingsOfTrueAndOfFalse) {
    const std::string key = GetParam();

    EXPECT_FALSE(isSetBy(key, {}));
    for (const std::string yes : {".true.", "true", ".t.", "t"}) {
        EXPECT_TRUE(isSetBy(key, {key + " = " + yes})) << yes;
        EXPECT_TRUE(isSetBy(key, {key + "=" + yes + ","})) << yes;
        for (const std::string no : {".false.", "false", ".f.", "f"}) {
            EXPECT_FALSE(isSetBy(key, {key + " = " + yes, key + " = " + no})) << no;
            EXPECT_TRUE(isSetBy(key, {key + " = " + no, key + " = " + yes})) << no;
        }
    }
}

TEST_P(Logical, IsComparedExactly) {
    const std::string key = GetParam();

    EXPECT_FALSE(isSetBy(key, {key + " = .TRUE."}));
    EXPECT_FALSE(isSetBy(key, {key + "2 = .true."}));
    EXPECT_FALSE(isSetBy(key, {"x" + key + " = .true."}));
    EXPECT_TRUE(isSetBy(key, {key + " = .true.", key + " = yes"}));
    EXPECT_TRUE(isSetBy(key, {key + " = .true.", key}));
}

TEST_P(Logical, IsNotFoundInComments) {
    const std::string key = GetParam();

    EXPECT_TRUE(isSetBy(key, {"  " + key + " = .true. ! as displaced atoms need it"}));
    EXPECT_FALSE(isSetBy(key, {"  ! " + key + " = .true."}));
    EXPECT_FALSE(isSetBy(key, {"  # " + key + " = .true."}));
}

INSTANTIATE_TEST_SUITE_P(Keys, Logical, testing::Values("tprnfor", "tmelta", "nosym"),
                         [](const auto& key) { return std::string(key.param); });

} // namespace melta
