#include "base/LineReader.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace melta {
namespace {

using namespace std::string_literals;
using test::stopMessageOf;

class LineReaderTest : public testing::Test {
protected:
    std::vector<std::string> linesOf(const std::string& contents) {
        test::writeTextFile(name, contents);
        LineReader reader(name);
        EXPECT_TRUE(reader.isOpen());
        std::vector<std::string> lines;
        while (reader.next()) {
            lines.push_back(reader.line());
        }
        return lines;
    }

    test::TemporaryDirectory directory;
    std::string name = directory.file("text");
};

using Lines = std::vector<std::string>;

TEST_F(LineReaderTest, ReadsLineByLineWithoutTheLineEnds) {
    EXPECT_EQ(linesOf("first\n second \n\nlast\n"), (Lines{"first", " second ", "", "last"}));
}

TEST_F(LineReaderTest, LastLineNeedsNoLineEnd) {
    EXPECT_EQ(linesOf("first\nlast"), (Lines{"first", "last"}));
}

TEST_F(LineReaderTest, EmptyFileHasNoLines) {
    EXPECT_EQ(linesOf(""), Lines{});
}

TEST_F(LineReaderTest, LoneLineEndIsOneEmptyLine) {
    EXPECT_EQ(linesOf("\n"), Lines{""});
}

TEST_F(LineReaderTest, NulBytesAreKept) {
    EXPECT_EQ(linesOf("a\0b\n\0"s), (Lines{"a\0b"s, "\0"s}));
}

TEST_F(LineReaderTest, CarriageReturnsAreKept) {
    EXPECT_EQ(linesOf("a\r\nb\rc\r\n"), (Lines{"a\r", "b\rc\r"}));
}

TEST_F(LineReaderTest, BytesBeyondAsciiAreKept) {
    EXPECT_EQ(linesOf("\xff\xfe\n"), Lines{"\xff\xfe"});
}

TEST_F(LineReaderTest, LongLinesAreReadWhole) {
    const std::string longest(LineReader::maxLineLength, 'x');

    EXPECT_EQ(linesOf(longest + "\nnext\n"), (Lines{longest, "next"}));
    EXPECT_EQ(linesOf(longest), Lines{longest});
}

TEST_F(LineReaderTest, TooLongLineStopsWithTheFile) {
    test::writeTextFile(name, std::string(LineReader::maxLineLength + 1, 'x'));
    LineReader reader(name);

    EXPECT_EQ(stopMessageOf([&] { reader.next(); }), "too long line: " + name);
}

TEST_F(LineReaderTest, TooLongLineIsTheEndIfAskedTo) {
    test::writeTextFile(name, "first\n" + std::string(LineReader::maxLineLength + 1, 'x') + "\nlast\n");
    LineReader reader(name, LineReader::Overlong::end);

    EXPECT_TRUE(reader.next());
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.line(), "");
    EXPECT_FALSE(reader.next());
}

TEST_F(LineReaderTest, TakesOverAnOpenFile) {
    test::writeTextFile(name, "only\n");
    LineReader reader(openForReading(name), name);

    EXPECT_TRUE(reader.isOpen());
    EXPECT_TRUE(reader.next());
    EXPECT_EQ(reader.line(), "only");
    EXPECT_FALSE(LineReader(nullptr, name).isOpen());
}

TEST_F(LineReaderTest, MoreTextIsAnythingButBlanks) {
    const auto hasMoreText = [&](const std::string& rest) {
        test::writeTextFile(name, "first\n" + rest);
        LineReader reader(name);
        EXPECT_TRUE(reader.next());
        return reader.hasMoreText();
    };
    for (const std::string& rest : {""s, "\n"s, " \t\r\n\v\f\n "s, std::string(1U << 21U, ' ')}) {
        EXPECT_FALSE(hasMoreText(rest)) << rest.size();
    }
    for (const std::string& rest : {"x"s, "\n\n  .\n"s, "\0"s, "\xff"s, std::string(1U << 21U, 'x')}) {
        EXPECT_TRUE(hasMoreText(rest)) << rest.size();
    }
}

TEST_F(LineReaderTest, EndOfTheFileStaysTheEnd) {
    test::writeTextFile(name, "only\n");
    LineReader reader(name);

    EXPECT_TRUE(reader.next());
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.line(), "");
}

TEST_F(LineReaderTest, MissingFileDoesNotOpen) {
    EXPECT_FALSE(LineReader(name).isOpen());
}

TEST_F(LineReaderTest, DirectoryDoesNotOpen) {
    EXPECT_FALSE(LineReader(directory.path().string()).isOpen());
}

TEST_F(LineReaderTest, WrittenFileHoldsWhatWasPrinted) {
    FilePointer file = openForWriting(name);
    std::fprintf(file.get(), "%d\n", 42);
    closeWritten(std::move(file), name);

    EXPECT_EQ(test::readTextFile(name), "42\n");
}

TEST_F(LineReaderTest, OpenForWritingReplacesTheFile) {
    test::writeTextFile(name, "old contents");

    closeWritten(openForWriting(name), name);

    EXPECT_EQ(test::readTextFile(name), "");
}

TEST_F(LineReaderTest, FileThatCannotBeWrittenStopsWithItsName) {
    const std::string unreachable = directory.file("missing/text");

    EXPECT_EQ(stopMessageOf([&] { openForWriting(unreachable); }), "cannot open file: " + unreachable);
    EXPECT_EQ(stopMessageOf([&] { openForWriting(directory.path().string()); }),
              "cannot open file: " + directory.path().string());
}

TEST_F(LineReaderTest, FullMediumStopsAtTheLatestWhenTheFileIsClosed) {
    const std::string full = "/dev/full";
    if (!std::filesystem::exists(full)) {
        GTEST_SKIP() << "there is no device that is always full";
    }
    FilePointer file = openForWriting(full);
    std::fprintf(file.get(), "lost\n");

    EXPECT_EQ(stopMessageOf([&] { closeWritten(std::move(file), full); }), "cannot write file: " + full);
}

TEST_F(LineReaderTest, FailureOfAnEarlierFlushIsNotForgotten) {
    const std::string full = "/dev/full";
    if (!std::filesystem::exists(full)) {
        GTEST_SKIP() << "there is no device that is always full";
    }
    FilePointer file = openForWriting(full);
    std::fprintf(file.get(), "lost\n");
    std::fflush(file.get());

    EXPECT_EQ(stopMessageOf([&] { closeWritten(std::move(file), full); }), "cannot write file: " + full);
}

} // namespace
} // namespace melta
