#include "baseline/zbl/ZblFile.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

class ZblFileTest : public testing::Test {
protected:
    std::vector<ZblRadii> readText(const std::string& text) {
        writeTextFile(name, text);
        LineReader file(name);
        return readZblFile(file, name);
    }

    StopCatcher stopCatcher;
    TemporaryDirectory directory;
    std::string name = directory.file("melta.zbl");
};

TEST_F(ZblFileTest, WhatIsWrittenIsRead) {
    const std::vector<ZblRadii> entries{{"Si", "Si", 0.914375, 1.82875}, {"Si", "O", 0.0, 1.4}};

    writeZblFile(name, entries);

    EXPECT_EQ(readTextFile(name), "2\nSi Si 0.914375 1.828750\nSi O 0.000000 1.400000\n");
    LineReader file(name);
    const std::vector<ZblRadii> read = readZblFile(file, name);
    ASSERT_EQ(read.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(read[i].first, entries[i].first);
        EXPECT_EQ(read[i].second, entries[i].second);
        EXPECT_EQ(read[i].inner, entries[i].inner);
        EXPECT_EQ(read[i].outer, entries[i].outer);
    }
}

TEST_F(ZblFileTest, ReadsNoFurtherThanThePairs) {
    writeTextFile(name, "1\nSi O 1 2\nnext\n");
    LineReader file(name);

    (void)readZblFile(file, name);

    ASSERT_TRUE(file.next());
    EXPECT_EQ(file.line(), "next");
}

TEST_F(ZblFileTest, PairsAreFoundInEitherOrder) {
    const std::vector<ZblRadii> entries{{"O", "O", 0.5, 1.0}, {"O", "Si", 0.6, 1.2}};

    EXPECT_EQ(findZblRadii(entries, "O", "Si"), &entries[1]);
    EXPECT_EQ(findZblRadii(entries, "Si", "O"), &entries[1]);
    EXPECT_EQ(findZblRadii(entries, "O", "O"), &entries[0]);
    EXPECT_EQ(findZblRadii(entries, "Si", "Si"), nullptr);
}

TEST_F(ZblFileTest, MistakesAreNamed) {
    for (const char* const text : {"", "none\n", "-1\n"}) {
        EXPECT_EQ(stopMessageOf([&] { readText(text); }), "cannot read #pairs of ZBL: " + name);
    }
    for (const char* const text : {"1\n", "2\nSi Si 1 2\n", "1\nSi Si 1\n", "1\nSi Si one 2\n"}) {
        EXPECT_EQ(stopMessageOf([&] { readText(text); }), "cannot read a pair of ZBL: " + name);
    }
    for (const char* const radii : {"2 1", "1 1", "-1 1", "nan 1", "1 nan", "1 inf"}) {
        EXPECT_EQ(stopMessageOf([&] { readText("1\nSi O " + std::string(radii) + "\n"); }),
                  "incorrect radii of ZBL for Si and O: " + name);
    }
}

} // namespace
} // namespace melta::test
