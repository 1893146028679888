#include "base/StopFile.hpp"

#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace melta {
namespace {

class StopFileTest : public testing::Test {
protected:
    test::TemporaryDirectory directory;
    std::string name = directory.file("melta.EXIT");
    StopFile stopFile{name};
};

TEST_F(StopFileTest, DoesNotExistBeforeItIsCreated) {
    EXPECT_FALSE(stopFile.exists());
    EXPECT_FALSE(stopFile.consume());
}

TEST_F(StopFileTest, CreateMakesAnEmptyFile) {
    stopFile.create();

    EXPECT_TRUE(stopFile.exists());
    EXPECT_EQ(std::filesystem::file_size(name), 0U);
}

TEST_F(StopFileTest, CreateEmptiesAnExistingFile) {
    test::writeTextFile(name, "old");

    stopFile.create();

    EXPECT_EQ(std::filesystem::file_size(name), 0U);
}

TEST_F(StopFileTest, FileOfAnotherConsoleCounts) {
    test::writeTextFile(name, "");

    EXPECT_TRUE(stopFile.exists());
}

TEST_F(StopFileTest, ExistsLeavesTheFile) {
    stopFile.create();

    EXPECT_TRUE(stopFile.exists());
    EXPECT_TRUE(stopFile.exists());
}

TEST_F(StopFileTest, ConsumeDeletesTheFileOnce) {
    stopFile.create();

    EXPECT_TRUE(stopFile.consume());
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_FALSE(stopFile.consume());
}

TEST_F(StopFileTest, AFolderIsNoRequest) {
    std::filesystem::create_directory(name);

    EXPECT_FALSE(stopFile.exists());
    EXPECT_FALSE(stopFile.consume());
    EXPECT_TRUE(std::filesystem::exists(name));
}

TEST_F(StopFileTest, FailureToCreateIsSilent) {
    const StopFile unreachable(directory.file("missing/melta.EXIT"));

    unreachable.create();

    EXPECT_FALSE(unreachable.exists());
}

} // namespace
} // namespace melta
