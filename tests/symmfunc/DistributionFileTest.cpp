#include "symmfunc/DistributionFile.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

using Names = std::vector<std::string>;

class DistributionFileTest : public testing::Test {
protected:
    Names namesOf(const std::string& text) const {
        writeTextFile(name, text);
        return readNetworkElements(name);
    }

    // The stop of reading the names from a text, with the file's name as "FILE".
    std::string messageOf(const std::string& text) const {
        std::string message = stopMessageOf([&] { (void)namesOf(text); });
        const std::size_t at = message.find(name);
        return at == std::string::npos ? message : message.replace(at, name.size(), "FILE");
    }

    TemporaryDirectory directory;
    std::string name = directory.file("melta.gdist");
};

TEST_F(DistributionFileTest, ReadsWhatItHasWritten) {
    DistributionHead head{2, 3, {{"Si", 0.125f, -1.5f}, {"O", 0.1f, 2.0f}}};
    const std::vector<std::vector<std::int32_t>> counts{{1, 2, 3, 4, 5, 6}, {0, 0, 7, 2147483647, 0, 0}};

    FilePointer file = openForWriting(name);
    writeDistributionText(file.get(), head, counts);
    closeWritten(std::move(file), name);

    EXPECT_EQ(readTextFile(name), "2 2 3\n"
                                  "Si 1.25000000e-01 -1.50000000e+00\n"
                                  "O 1.00000001e-01 2.00000000e+00\n"
                                  " 1 2 3\n 4 5 6\n 0 0 7\n 2147483647 0 0\n");
    DistributionReader reader(name);
    const DistributionHead read = reader.readHead(3);
    EXPECT_EQ(read.numDists, 2);
    ASSERT_EQ(read.elements.size(), 2U);
    EXPECT_EQ(read.elements[1].name, "O");
    EXPECT_EQ(read.elements[1].step, 0.1f);
    EXPECT_EQ(read.elements[1].start, 2.0f);
    EXPECT_EQ(reader.readCounts(read), counts[0]);
    EXPECT_EQ(reader.readCounts(read), counts[1]);
    EXPECT_EQ(readNetworkElements(name), (Names{"Si", "O"}));
}

TEST_F(DistributionFileTest, NamesBeforeTheCounts) {
    const std::string text = "3 2 1\nSi 0.5 -1\n  O 0.5 -1\nSi345678 1 0\n 1\n 2\n";

    EXPECT_EQ(namesOf(text), (Names{"Si", "O", "Si345678"}));
    EXPECT_EQ(namesOf("2\r\nSi 0.5 -1\r\nO\r\n"), (Names{"Si", "O"}));
    EXPECT_EQ(namesOf("1\nSi"), Names{"Si"});
}

TEST_F(DistributionFileTest, NoFile) {
    EXPECT_EQ(stopMessageOf([&] { (void)readNetworkElements(name); }), "cannot open file: " + name);
    EXPECT_EQ(stopMessageOf([&] { DistributionReader{name}; }), "cannot open file: " + name);
}

TEST_F(DistributionFileTest, NumberOfElements) {
    EXPECT_EQ(messageOf(""), "cannot read #elements: FILE");
    for (const std::string count : {"", "x", "0", "-1", "3000000000"}) {
        EXPECT_EQ(messageOf(count + "\nSi\n"), "incorrect #elements: FILE") << count;
    }
}

TEST_F(DistributionFileTest, NamesOfElements) {
    EXPECT_EQ(messageOf("1"), "cannot read name of element: FILE");
    EXPECT_EQ(messageOf("2\nSi\n"), "cannot read name of element: FILE");
    EXPECT_EQ(messageOf("2000000000\nSi\n"), "cannot read name of element: FILE");
    for (const std::string bad : {"", " \t", "Si3456789 1 0"}) {
        EXPECT_EQ(messageOf("2\nSi\n" + bad + "\n"), "incorrect name of element: FILE") << bad;
    }
}

} // namespace
} // namespace melta::test
