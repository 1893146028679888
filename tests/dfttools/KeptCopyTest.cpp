#include "dfttools/KeptCopy.hpp"

#include "support/FileSizeLimit.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

class KeptCopy : public testing::Test {
protected:
    test::TemporaryDirectory directory;
    test::WorkingDirectory inside{directory.path()};
};

std::size_t countFiles() {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("."), fs::directory_iterator()));
}

} // namespace

TEST_F(KeptCopy, HasTheBytesOfTheFile) {
    // More than one block, with a NUL and without a line end.
    const std::string text = std::string(100000, 'a') + std::string("\0\r\nend", 6);
    writeTextFile("data", text);

    EXPECT_EQ(keepCopy("data"), "data.kept");

    EXPECT_EQ(readTextFile("data.kept"), text);
    EXPECT_EQ(readTextFile("data"), text);
}

TEST_F(KeptCopy, TouchesNoOlderOne) {
    for (const char* const text : {"1", "2", "3"}) {
        writeTextFile("data", text);
        EXPECT_EQ(keepCopy("data"),
                  text == std::string("1") ? "data.kept" : std::string("data.kept.") + text);
    }

    EXPECT_EQ(readTextFile("data.kept"), "1");
    EXPECT_EQ(readTextFile("data.kept.2"), "2");
    EXPECT_EQ(readTextFile("data.kept.3"), "3");
}

TEST_F(KeptCopy, IsNotMadeTwice) {
    const std::string text(100000, 'a');
    writeTextFile("data", text);
    writeTextFile("data.kept", text.substr(1) + "b");
    writeTextFile("data.kept.2", text);

    EXPECT_EQ(keepCopy("data"), "data.kept.2");

    EXPECT_EQ(countFiles(), 3U);
}

TEST_F(KeptCopy, GivesWayToWhateverHasItsName) {
    writeTextFile("data", "text");
    fs::create_directory("data.kept");
    fs::create_symlink("nowhere", "data.kept.2");

    EXPECT_EQ(keepCopy("data"), "data.kept.3");

    EXPECT_FALSE(fs::exists("nowhere"));
}

TEST_F(KeptCopy, IsNotNeededWhereNothingCanBeLost) {
    writeTextFile("empty", "");
    fs::create_directory("folder");

    EXPECT_EQ(keepCopy("missing"), "");
    EXPECT_EQ(keepCopy("empty"), "");
    EXPECT_EQ(keepCopy("folder"), "");

    EXPECT_EQ(countFiles(), 2U);
}

TEST_F(KeptCopy, StopsWhenTheMediumIsFull) {
    writeTextFile("data", std::string(1000, 'x'));
    const test::FileSizeLimit limit(300);

    EXPECT_EQ(stopMessageOf([] { static_cast<void>(keepCopy("data")); }), "cannot write file: data.kept");

    EXPECT_EQ(countFiles(), 1U);
}

} // namespace melta
