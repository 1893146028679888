#include "baseline/zbl/ZblKind.hpp"

#include "config/HeadReader.hpp"
#include "config/PropertyFiles.hpp"

namespace melta::test {
namespace {

class ZblKindTest : public PropertyFiles {
protected:
    ZblKind kind;
};

TEST_F(ZblKindTest, IsOffUnlessAKeySwitchesItOn) {
    EXPECT_FALSE(kind.isOn(property));
    readText("withZBL 0\n");
    EXPECT_FALSE(kind.isOn(property));
    readText("withZBL 5\n");
    EXPECT_TRUE(kind.isOn(property));
    EXPECT_EQ(baselineKindOf(property)->getCode(), ZblKind::code);
    readText("withZBL 1\nwithZBL 0\n");
    EXPECT_FALSE(kind.isOn(property));
}

TEST_F(ZblKindTest, StandsAlone) {
    EXPECT_EQ(stopOfText("withZBL 1\nwithClassical 1\n"),
              about("you cannot use withClassical & withZBL at the same time"));
    property = Property();
    EXPECT_EQ(stopOfText("withZBL 1\nwithReaxFF 1\n"),
              about("you cannot use withReaxFF & withZBL at the same time"));
}

TEST_F(ZblKindTest, BannerTellsOfItWhenItIsOn) {
    const std::string line = "    ReaxFF Potential    = No\n    ZBL Repulsion       = Yes\n";

    EXPECT_NE(readText("withZBL 1\n").find(line), std::string::npos);
    EXPECT_EQ(readText("withZBL 0\n").find("ZBL"), std::string::npos);
}

// Numbers from 2 on that nobody else has mean ReaxFF.
TEST_F(ZblKindTest, HeadsTellOfItByACodeOfItsOwn) {
    const std::string rest = "3 2 3.5 3.0\n0\n2 4 5 2\n";
    writeTextFile(headName, "3 0 1 92\n" + rest);
    outputWithoutStop([&] { property.peekData(headName, false); });
    EXPECT_TRUE(kind.isOn(property));
    EXPECT_EQ(property.withReaxFF, 0);
    EXPECT_EQ(property.numRadius, 3);

    for (const char* const code : {"3", "91", "93"}) {
        writeTextFile(headName, "3 0 1 " + std::string(code) + "\n5 0.5\n" + rest);
        outputWithoutStop([&] { property.peekData(headName, false); });
        EXPECT_FALSE(kind.isOn(property)) << code;
        EXPECT_EQ(property.withReaxFF, 1) << code;
    }
}

} // namespace
} // namespace melta::test
