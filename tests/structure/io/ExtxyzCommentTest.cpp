#include "structure/io/ExtxyzComment.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace melta {
namespace {

std::vector<std::string> textsOf(const std::string& line) {
    std::vector<std::string> texts;
    const ExtxyzComment comment = ExtxyzComment::parse(line).value();
    for (const auto& entry : comment.getEntries()) {
        texts.push_back(entry.key + "|" + entry.value + "|" + entry.text);
    }
    return texts;
}

TEST(ExtxyzCommentTest, ReadsEntriesInAnyForm) {
    EXPECT_EQ(textsOf(R"( a=1 bc="2 3"	d='e "f"' g={4 5} h=[[1, 2], [3, 4]] )"),
              (std::vector<std::string>{"a|1|a=1", "bc|2 3|bc=\"2 3\"", "d|e \"f\"|d='e \"f\"'",
                                        "g|4 5|g={4 5}", "h|[1, 2], [3, 4]|h=[[1, 2], [3, 4]]"}));
    EXPECT_EQ(textsOf("flag x = 2 last\r"),
              (std::vector<std::string>{"flag|T|flag", "x|2|x = 2", "last|T|last"}));
    EXPECT_EQ(textsOf(R"("a key"="\"quoted\"" b=c=d)"),
              (std::vector<std::string>{R"(a key|"quoted"|"a key"="\"quoted\"")", "b|c=d|b=c=d"}));
    EXPECT_EQ(textsOf(""), std::vector<std::string>());
    EXPECT_EQ(textsOf("="), (std::vector<std::string>{"||="}));
}

TEST(ExtxyzCommentTest, KnowsWhatIsNotClosed) {
    for (const char* line : {"a=\"1", "it's", "a=[1", "a={{1}", "a=\"1\\\""}) {
        EXPECT_FALSE(ExtxyzComment::parse(line)) << line;
    }
}

TEST(ExtxyzCommentTest, FindsTheLastOfAKey) {
    const auto comment = ExtxyzComment::parse("energy=1 pbc=2 PBC=3 Energy_x=4");

    ASSERT_TRUE(comment);
    EXPECT_EQ(*comment->find("energy"), "1");
    EXPECT_EQ(*comment->find("pbc"), "3");
    EXPECT_EQ(comment->find("ener"), nullptr);
}

TEST(ExtxyzCommentTest, ReadsNumbers) {
    EXPECT_EQ(numbersOf(" 1, -2.5e1\t3"), (std::vector<double>{1.0, -25.0, 3.0}));
    EXPECT_EQ(numbersOf(""), std::vector<double>());
    for (const char* text : {"1 x", "1x", "nan", "1 inf", "1e999", "--1"}) {
        EXPECT_FALSE(numbersOf(text)) << text;
    }
}

} // namespace
} // namespace melta
