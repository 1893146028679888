#include "structure/io/ExtxyzColumns.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

TEST(ExtxyzColumnsTest, FindsQuantitiesInAnyOrder) {
    const auto columns = ExtxyzColumns::parse("pos:R:3:id:I:1:fixed:L:2:species:S:1");

    ASSERT_TRUE(columns);
    EXPECT_EQ(columns->size(), 7U);
    EXPECT_EQ(columns->find("pos", 3), 0U);
    EXPECT_EQ(columns->find("species", 1), 6U);
    EXPECT_EQ(columns->find("fixed", 2), 4U);
    EXPECT_EQ(columns->find("fixed", 1), std::nullopt);
    EXPECT_EQ(columns->find("forces", 3), std::nullopt);
}

TEST(ExtxyzColumnsTest, RefusesOtherTexts) {
    for (const char* text :
         {"", "pos", "pos:R", "pos:R:", "pos:R:0", "pos:R:-3", "pos:X:3", "pos:RR:3", "pos:R:3x", ":R:3",
          "pos:R:3:", "pos:R:99999999999999999999", "pos:R:600000", "T"}) {
        EXPECT_FALSE(ExtxyzColumns::parse(text)) << text;
    }
    EXPECT_TRUE(ExtxyzColumns::parse(ExtxyzColumns::plain));
}

} // namespace
} // namespace melta
