#include "structure/io/RecordText.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace melta {
namespace {

using namespace std::string_literals;
using test::stopMessageOf;
using test::writeTextFile;

const std::string lattice = "1 0 0\n0 1 0\n0 0 1\n";

class Records : public testing::Test {
protected:
    RecordText read(const std::string& text) const {
        writeTextFile(fileName, text);
        return RecordText(fileName);
    }

    [[nodiscard]] std::string stopOf(const std::string& text) const {
        return stopMessageOf([&] { read(text); });
    }

    test::TemporaryDirectory directory;
    std::string fileName = directory.file("melta.train");
};

TEST_F(Records, AreBlocksOfLines) {
    const RecordText data = read("1 0 -5\n" + lattice + "O\n2\n" + lattice + "H a\nH b\n");

    ASSERT_EQ(data.numRecords(), 2);
    EXPECT_EQ(data.getRecord(0), "1 0 -5\n" + lattice + "O\n");
    EXPECT_EQ(data.getRecord(1), "2\n" + lattice + "H a\nH b\n");
    EXPECT_EQ(data.findMissingEnd(1), "");
    EXPECT_EQ(data.getRest(), "");
}

TEST_F(Records, KeepEveryByte) {
    const std::string record = "\t 1\0 x\r\n \n\x1a\n\xff\r\r\nno \0 number\r\n"s;

    const RecordText data = read(record + record);

    ASSERT_EQ(data.numRecords(), 2);
    EXPECT_EQ(data.getRecord(0), record);
    EXPECT_EQ(data.getRecord(1), record);
}

TEST_F(Records, HaveLinesOfAnyLength) {
    const std::string longLine = " " + std::string(3000000, '8') + "\n";

    const RecordText data =
        read("1" + longLine + longLine + longLine + longLine + longLine + "1\n" + lattice + "O\n");

    ASSERT_EQ(data.numRecords(), 2);
    EXPECT_EQ(data.getRecord(0), "1" + longLine + longLine + longLine + longLine + longLine);
}

TEST_F(Records, LackALineEndInTheStyleOfTheFile) {
    const RecordText unixText = read("1\n" + lattice + "O\n1\n" + lattice + "O");
    const RecordText windowsText = read("1\r\n\r\n\r\n\r\nO\r\n1\r\n\r\n\r\n\r\nO");
    const RecordText cutText = read("1\r\n\r\n\r\n\r\nO\r\n1\r\n\r\n\r\n\r\nO\r");

    EXPECT_EQ(unixText.findMissingEnd(0), "");
    EXPECT_EQ(unixText.findMissingEnd(1), "\n");
    EXPECT_EQ(windowsText.findMissingEnd(0), "");
    EXPECT_EQ(windowsText.findMissingEnd(1), "\r\n");
    EXPECT_EQ(cutText.findMissingEnd(1), "\n");
}

TEST_F(Records, EndAtALineWithoutANumber) {
    const std::string record = "1\n" + lattice + "O\n";
    for (const std::string line : {"x\n", "# 1\n", "\n", " \t\r\n", ".5\n", "-\n"}) {
        const RecordText data = read(record + line + record);

        EXPECT_EQ(data.numRecords(), 1) << line;
        EXPECT_EQ(data.getRest(), line + record);
    }
}

TEST_F(Records, LeaveNoRestOfBlankLines) {
    const std::string record = "1\n" + lattice + "O\n";

    EXPECT_EQ(read(record + "\n").getRest(), "");
    EXPECT_EQ(read(record + " \r\n\t\n\v\f\n  ").getRest(), "");
    EXPECT_EQ(read(record + "\nx").getRest(), "\nx");
    EXPECT_EQ(read(record + "x").getRest(), "x");
    EXPECT_EQ(read(record + "\n").numRecords(), 1);
}

TEST_F(Records, MayBeMissing) {
    EXPECT_EQ(read("").numRecords(), 0);
    EXPECT_EQ(read("").getRest(), "");
    EXPECT_EQ(read("nothing\n").numRecords(), 0);
    EXPECT_EQ(read("nothing\n").getRest(), "nothing\n");
}

TEST_F(Records, StopWhereTheFileEndsWithin) {
    const std::string whole = "1\n" + lattice + "O\n";

    EXPECT_EQ(stopOf(whole + "2 0 -5\n"), "cannot read lattice #1: " + fileName);
    EXPECT_EQ(stopOf(whole + "2 0 -5"), "cannot read lattice #1: " + fileName);
    EXPECT_EQ(stopOf(whole + "2\n1 0 0\n"), "cannot read lattice #2: " + fileName);
    EXPECT_EQ(stopOf(whole + "2\n1 0 0\n0 1 0\n"), "cannot read lattice #3: " + fileName);
    EXPECT_EQ(stopOf(whole + "2\n" + lattice), "cannot read atom #1: " + fileName);
    EXPECT_EQ(stopOf(whole + "2\n" + lattice + "O\n"), "cannot read atom #2: " + fileName);
    EXPECT_EQ(stopOf(whole + "2\n" + lattice + "O\nO"), "(no stop)");
}

TEST_F(Records, TakeNoMemoryForAtomsThatAreNotThere) {
    EXPECT_EQ(stopOf("2147483647\n" + lattice + "O\n"), "cannot read atom #2: " + fileName);
}

TEST_F(Records, HaveAtoms) {
    const std::string whole = "1\n" + lattice + "O\n";

    EXPECT_EQ(stopOf("0\n" + lattice), "#atoms of the 0 -th geometry is not positive: " + fileName);
    EXPECT_EQ(stopOf(whole + "-3\n" + whole), "#atoms of the 1 -th geometry is not positive: " + fileName);
    EXPECT_EQ(stopOf(whole + "-2147483649\n"), "#atoms of the 1 -th geometry is not positive: " + fileName);
    for (const std::string numAtoms : {"2147483648", "99999999999999999999"}) {
        EXPECT_EQ(stopOf(whole + numAtoms + "\n" + whole),
                  "too large #atoms of the 1 -th geometry: " + fileName);
    }
}

TEST_F(Records, NeedTheFile) {
    EXPECT_EQ(stopMessageOf([&] { const RecordText data(fileName); }), "cannot open file: " + fileName);

    std::filesystem::create_directory(fileName);
    EXPECT_EQ(stopMessageOf([&] { const RecordText data(fileName); }), "cannot open file: " + fileName);
}

// Memory of the process itself: it opens, but no byte at its beginning can be read.
TEST_F(Records, StopAtAFileThatCannotBeRead) {
    std::error_code error;
    std::filesystem::create_symlink("/proc/self/mem", fileName, error);
    if (error || !std::filesystem::exists(fileName)) {
        GTEST_SKIP() << "this system has no such file";
    }

    EXPECT_EQ(stopMessageOf([&] { const RecordText data(fileName); }), "cannot read file: " + fileName);
}

TEST_F(Records, ComeThroughAPipe) {
    const std::string record = "1\n" + lattice + "O\n";
    ASSERT_EQ(mkfifo(fileName.c_str(), 0600), 0);
    std::thread writer([&] { writeTextFile(fileName, record + record); });

    const RecordText data(fileName);

    writer.join();
    ASSERT_EQ(data.numRecords(), 2);
    EXPECT_EQ(data.getRecord(1), record);
}

} // namespace
} // namespace melta
