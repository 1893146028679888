#include "driver/CommandTable.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace melta {
namespace {

TEST(CommandTableTest, AliasesNameOneMode) {
    EXPECT_NE(findCommand("--stop"), nullptr);
    EXPECT_EQ(findCommand("--stop"), findCommand("--stop-training"));
    EXPECT_NE(findCommand("--temp"), nullptr);
    EXPECT_EQ(findCommand("--temp"), findCommand("--template"));
    EXPECT_NE(findCommand("--stop"), findCommand("--temp"));
    EXPECT_NE(findCommand("--behler"), nullptr);
    EXPECT_EQ(findCommand("--behler"), findCommand("--behler-temp"));
    EXPECT_NE(findCommand("--behler"), findCommand("--temp"));
}

TEST(CommandTableTest, WordsAreComparedWhole) {
    for (const std::string word : {"", "-", "--", "stop", "-stop", "--STOP", "--Stop", "--stop ", " --stop",
                                   "--stops", "--sto", "--template=x", "--help"}) {
        EXPECT_EQ(findCommand(word), nullptr) << '"' << word << '"';
    }
}

TEST(CommandTableTest, EveryRowIsCompleteAndEveryWordUnique) {
    std::set<std::string_view> names;
    for (const Command& command : commandTable()) {
        EXPECT_NE(command.run, nullptr);
        EXPECT_FALSE(command.names.empty());
        for (const std::string_view name : command.names) {
            EXPECT_TRUE(name.starts_with("--")) << name;
            EXPECT_TRUE(names.insert(name).second) << name;
        }
    }
}

} // namespace
} // namespace melta
