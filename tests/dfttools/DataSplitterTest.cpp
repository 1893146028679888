#include "dfttools/DataSplitter.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "structure/io/RecordText.hpp"
#include "support/FileSizeLimit.hpp"
#include "support/KilledChild.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <sys/inotify.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::killAtSystemCall;
using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

// Blocks that differ in length and contents, with this line end.
std::vector<std::string> makeRecords(int count, const std::string& lineEnd) {
    std::vector<std::string> records;
    for (int i = 0; i < count; ++i) {
        const int numAtoms = 1 + i % 5;
        std::string record =
            formatText("%d 0 -%d", numAtoms, i) + (i % 2 == 0 ? " 1 2 3 4 5 6" : "") + lineEnd;
        for (int line = 0; line < numAtoms + 3; ++line) {
            record += formatText("\tline %d of %d", line, i) + lineEnd;
        }
        records.push_back(record);
    }
    return records;
}

std::string joined(const std::vector<std::string>& records) {
    std::string text;
    for (const std::string& record : records) {
        text += record;
    }
    return text;
}

class DataSplitter : public testing::Test {
protected:
    // Whole records of a file, in their order.
    static std::vector<std::string> recordsOf(const std::string& fileName) {
        const RecordText data(fileName);
        EXPECT_EQ(data.getRest(), "");
        std::vector<std::string> records;
        for (int i = 0; i < data.numRecords(); ++i) {
            records.emplace_back(data.getRecord(i));
        }
        EXPECT_EQ(joined(records), readTextFile(fileName));
        return records;
    }

    // Both files together, sorted.
    [[nodiscard]] std::vector<std::string> allRecords() const {
        std::vector<std::string> records = recordsOf(fileTrain);
        const std::vector<std::string> others = recordsOf(fileTest);
        records.insert(records.end(), others.begin(), others.end());
        std::ranges::sort(records);
        return records;
    }

    std::string split(float rate, float validRate = 0.0f) const {
        return outputOf([&] { splitTrainingData(names, {rate, validRate}); });
    }

    [[nodiscard]] std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::directory_iterator(directory.path())) {
            const std::string name = entry.path().string();
            files[entry.path().filename().string()] = entry.is_directory() ? "folder" : readTextFile(name);
        }
        return files;
    }

    // The message of a stop that must leave all files as they were.
    [[nodiscard]] std::string stopOfSplit(float rate, float validRate = 0.0f) const {
        const auto before = contents();
        std::string message;
        outputOf([&] { message = stopMessageOf([&] { splitTrainingData(names, {rate, validRate}); }); });
        EXPECT_EQ(contents(), before);
        return message;
    }

    test::TemporaryDirectory directory;
    std::string fileTrain = directory.file("melta.train");
    std::string fileTest = directory.file("melta.test");
    std::string fileValid = directory.file("melta.valid");
    SplitFiles names{fileTrain, fileTest, fileValid};
    std::string fileRest = fileTrain + ".rest";
};

TEST_F(DataSplitter, TellsWhatItDoes) {
    writeTextFile(fileTrain, joined(makeRecords(10, "\n")));

    EXPECT_EQ(split(0.3f), "\n  * Read old training data.\n"
                           "\n  * Number of geometries in old training data: 10.\n"
                           "\n  * Split 0.700 of old training data -> new training data.\n"
                           "\n  * Number of geometries in new training data: 7.\n"
                           "\n  * Split 0.300 of old training data -> new testing data.\n"
                           "\n  * Number of geometries in new testing data: 3.\n"
                           "\n");
    EXPECT_EQ(contents().size(), 2U);
}

TEST_F(DataSplitter, KeepsEveryRecord) {
    for (const std::string lineEnd : {"\n", "\r\n"}) {
        for (const int count : {2, 3, 17, 200}) {
            std::vector<std::string> records = makeRecords(count, lineEnd);
            writeTextFile(fileTrain, joined(records));

            split(0.5f);

            std::ranges::sort(records);
            EXPECT_EQ(allRecords(), records);
            EXPECT_EQ(recordsOf(fileTest).size(), static_cast<std::size_t>(count / 2));
        }
    }
}

TEST_F(DataSplitter, EndsTheLastLine) {
    for (const std::string lineEnd : {"\n", "\r\n"}) {
        std::vector<std::string> records = makeRecords(9, lineEnd);
        const std::string text = joined(records);
        std::ranges::sort(records);
        for (std::size_t missing = 1; missing <= lineEnd.size(); ++missing) {
            writeTextFile(fileTrain, text.substr(0, text.size() - missing));

            split(0.5f);

            EXPECT_EQ(allRecords(), records);
        }
    }
}

TEST_F(DataSplitter, FollowsTheSharedRandomSource) {
    const std::vector<std::string> records = makeRecords(20, "\n");
    writeTextFile(fileTrain, joined(records));
    std::vector<int> order(20);
    for (int i = 0; i < 20; ++i) {
        order[static_cast<std::size_t>(i)] = i;
    }
    sharedRandom().seed(7);
    sharedRandom().shuffle(order);
    std::vector<std::string> shuffled;
    for (const int i : order) {
        shuffled.push_back(records[static_cast<std::size_t>(i)]);
    }

    sharedRandom().seed(7);
    split(0.25f);

    EXPECT_EQ(recordsOf(fileTest), std::vector<std::string>(shuffled.begin(), shuffled.begin() + 5));
    EXPECT_EQ(recordsOf(fileTrain), std::vector<std::string>(shuffled.begin() + 5, shuffled.end()));
}

TEST_F(DataSplitter, CutsTheShareToWholeRecords) {
    const std::vector<std::tuple<int, float, std::size_t>> cases = {
        {2, 0.5f, 1}, {3, 0.5f, 1}, {10, 0.999f, 9}, {10, 0.1f, 1}, {10, 0.19f, 1}, {3, 0.9999999f, 2}};
    for (const auto& [count, rate, numTest] : cases) {
        writeTextFile(fileTrain, joined(makeRecords(count, "\n")));

        split(rate);

        EXPECT_EQ(recordsOf(fileTest).size(), numTest) << count << " " << rate;
        EXPECT_EQ(recordsOf(fileTrain).size(), static_cast<std::size_t>(count) - numTest);
    }
}

TEST_F(DataSplitter, StopsWhereAFileWouldBeEmpty) {
    writeTextFile(fileTest, "old test\n");
    for (const int count : {0, 1, 2}) {
        writeTextFile(fileTrain, joined(makeRecords(count, "\n")));

        EXPECT_EQ(stopOfSplit(0.4f), "too less #geometries: " + fileTrain);
    }
    writeTextFile(fileTrain, joined(makeRecords(1, "\n")));
    EXPECT_EQ(stopOfSplit(std::nextafter(1.0f, 0.0f)), "too less #geometries: " + fileTrain);
}

TEST_F(DataSplitter, TakesOutValidationData) {
    const std::vector<std::string> records = makeRecords(20, "\n");
    writeTextFile(fileTrain, joined(records));
    sharedRandom().seed(7);
    split(0.25f);
    const std::vector<std::string> tests = recordsOf(fileTest);
    const std::vector<std::string> others = recordsOf(fileTrain);
    writeTextFile(fileTrain, joined(records));
    sharedRandom().seed(7);

    EXPECT_EQ(split(0.25f, 0.1f), "\n  * Read old training data.\n"
                                  "\n  * Number of geometries in old training data: 20.\n"
                                  "\n  * Split 0.650 of old training data -> new training data.\n"
                                  "\n  * Number of geometries in new training data: 13.\n"
                                  "\n  * Split 0.100 of old training data -> new validation data.\n"
                                  "\n  * Number of geometries in new validation data: 2.\n"
                                  "\n  * Split 0.250 of old training data -> new testing data.\n"
                                  "\n  * Number of geometries in new testing data: 5.\n"
                                  "\n");

    EXPECT_EQ(recordsOf(fileTest), tests);
    EXPECT_EQ(recordsOf(fileValid), std::vector<std::string>(others.begin(), others.begin() + 2));
    EXPECT_EQ(recordsOf(fileTrain), std::vector<std::string>(others.begin() + 2, others.end()));
}

TEST_F(DataSplitter, LeavesOldValidationDataWithoutAShare) {
    writeTextFile(fileTrain, joined(makeRecords(6, "\n")));
    writeTextFile(fileValid, "old validation\n");

    split(0.5f);

    EXPECT_EQ(readTextFile(fileValid), "old validation\n");
}

TEST_F(DataSplitter, RefusesSharesThatLeaveNothing) {
    writeTextFile(fileTrain, joined(makeRecords(9, "\n")));
    const auto before = contents();

    for (const float share : {-0.1f, 0.5f, 0.7f, 1.0f, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(split(0.5f, share),
                  formatText("\n  * Incorrect rate of splitting: %.3f\n\n", static_cast<double>(share)));
    }
    EXPECT_EQ(stopOfSplit(0.3f, 0.1f), "too less #geometries: " + fileTrain);
    EXPECT_EQ(contents(), before);
}

TEST_F(DataSplitter, ReplacesAnOldTestFile) {
    std::vector<std::string> records = makeRecords(6, "\n");
    writeTextFile(fileTrain, joined(records));
    writeTextFile(fileTest, std::string(100000, 'x'));

    split(0.5f);

    std::ranges::sort(records);
    EXPECT_EQ(allRecords(), records);
    EXPECT_EQ(contents().size(), 2U);
}

TEST_F(DataSplitter, ForgetsBlankLinesInTheEnd) {
    std::vector<std::string> records = makeRecords(6, "\n");
    writeTextFile(fileTrain, joined(records) + "\n \n");

    split(0.5f);

    std::ranges::sort(records);
    EXPECT_EQ(allRecords(), records);
    EXPECT_EQ(contents().size(), 2U);
}

TEST_F(DataSplitter, KeepsWhatItDidNotRead) {
    std::vector<std::string> records = makeRecords(6, "\n");
    std::string rest = "\n";
    rest += joined(makeRecords(3, "\r\n")) + "\n# unfinished";
    writeTextFile(fileTrain, joined(records) + rest);

    EXPECT_NE(split(0.5f).find("old training data: 6."), std::string::npos);

    std::ranges::sort(records);
    EXPECT_EQ(allRecords(), records);
    EXPECT_EQ(readTextFile(fileRest), rest);
    EXPECT_EQ(contents().size(), 3U);
}

TEST_F(DataSplitter, LosesNoEarlierRest) {
    const std::string text = joined(makeRecords(4, "\n"));
    writeTextFile(fileRest, "earlier rest");
    writeTextFile(fileTrain, text);
    split(0.5f);
    EXPECT_EQ(readTextFile(fileRest), "earlier rest");

    writeTextFile(fileTrain, text + "later rest");
    split(0.5f);
    EXPECT_EQ(readTextFile(fileRest), "earlier rest\nlater rest");

    // As after a crash behind the replacement of the rest.
    writeTextFile(fileTrain, text + "later rest");
    split(0.5f);
    EXPECT_EQ(readTextFile(fileRest), "earlier rest\nlater rest");

    // Longer than a block, and all but the same.
    const std::string longRest = std::string(200000, 'x') + "y\n";
    writeTextFile(fileRest, std::string(200000, 'x') + "z\n");
    writeTextFile(fileTrain, text + longRest);
    split(0.5f);
    EXPECT_EQ(readTextFile(fileRest), std::string(200000, 'x') + "z\n" + longRest);
    writeTextFile(fileTrain, text + longRest);
    split(0.5f);
    EXPECT_EQ(readTextFile(fileRest), std::string(200000, 'x') + "z\n" + longRest);
}

TEST_F(DataSplitter, StopsAtATruncatedRecord) {
    const std::string whole = joined(makeRecords(6, "\n"));
    writeTextFile(fileTest, "old test\n");

    writeTextFile(fileTrain, whole + "2\na\nb\n");
    EXPECT_EQ(stopOfSplit(0.5f), "cannot read lattice #3: " + fileTrain);
    writeTextFile(fileTrain, whole + "2\na\nb\nc\nO\n");
    EXPECT_EQ(stopOfSplit(0.5f), "cannot read atom #2: " + fileTrain);
}

TEST_F(DataSplitter, StopsWithoutTrainingData) {
    EXPECT_EQ(stopOfSplit(0.5f), "cannot open file: " + fileTrain);
}

TEST_F(DataSplitter, LeavesAllFilesWhereOneCannotBeOpened) {
    writeTextFile(fileTrain, joined(makeRecords(6, "\n")) + "rest\n");
    fs::create_directory(fileRest);
    EXPECT_EQ(stopOfSplit(0.5f), "cannot open file: " + fileRest);

    fs::create_directory(fileTest);
    EXPECT_EQ(stopOfSplit(0.5f), "cannot open file: " + fileTest);
}

TEST_F(DataSplitter, LeavesTrainingDataThatBearTheNameOfTheTestFile) {
    writeTextFile(fileTrain, joined(makeRecords(6, "\n")));
    fs::create_symlink(fileTrain, fileTest);

    EXPECT_EQ(stopOfSplit(0.5f), "cannot open file: " + fileTest);
}

TEST_F(DataSplitter, LeavesAllFilesOnAFullDisk) {
    const std::string text = joined(makeRecords(50, "\n"));
    writeTextFile(fileTrain, text + "rest of the file\n");
    writeTextFile(fileTest, "old test\n");
    writeTextFile(fileRest, std::string(text.size(), 'x'));
    const auto stopWithin = [&](std::size_t numBytes, float rate) {
        const test::FileSizeLimit limit(numBytes);
        return stopOfSplit(rate);
    };

    EXPECT_EQ(stopWithin(text.size() / 2, 0.1f), "cannot write file: " + fileTrain);
    EXPECT_EQ(stopWithin(text.size() / 2, 0.9f), "cannot write file: " + fileTest);
    EXPECT_EQ(stopWithin(text.size() - 100, 0.5f), "cannot write file: " + fileRest);
}

// Names that files of a directory have taken since the beginning, in order.
class RenameWatch {
public:
    explicit RenameWatch(const fs::path& directory) : descriptor(inotify_init1(IN_NONBLOCK)) {
        inotify_add_watch(descriptor, directory.c_str(), IN_MOVED_TO);
    }
    ~RenameWatch() { close(descriptor); }
    RenameWatch(const RenameWatch&) = delete;
    RenameWatch& operator=(const RenameWatch&) = delete;

    [[nodiscard]] std::vector<std::string> names() const {
        alignas(inotify_event) std::array<char, 8192> buffer{};
        const ssize_t size = read(descriptor, buffer.data(), buffer.size());
        std::vector<std::string> found;
        for (ssize_t position = 0; position < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer.data() + position);
            found.emplace_back(event->name);
            position += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        return found;
    }

private:
    int descriptor;
};

// A crash between two of them leaves the whole training data.
TEST_F(DataSplitter, ReplacesTheTrainingDataLast) {
    writeTextFile(fileTrain, joined(makeRecords(6, "\n")) + "rest\n");
    const RenameWatch watch(directory.path());

    split(0.5f);

    EXPECT_EQ(watch.names(), (std::vector<std::string>{"melta.train.journal", "melta.train.rest",
                                                       "melta.test", "melta.train"}));
}

// Whoever reads the training data next sees all of them, or the two parts.
TEST_F(DataSplitter, LosesNothingWhereverItIsKilled) {
    std::vector<std::string> records = makeRecords(6, "\n");
    const std::string whole = joined(records);
    std::ranges::sort(records);
    int numFinished = 0;
    for (int n = 0;; n += 3) {
        writeTextFile(fileTrain, whole);
        fs::remove(fileTest);
        const bool isKilled = killAtSystemCall(n, [this] {
            ASSERT_NE(std::freopen("/dev/null", "w", stdout), nullptr);
            splitTrainingData(names, {0.5f});
        });

        const std::vector<std::string> left = recordsOf(fileTrain);

        if (left.size() == records.size()) {
            ASSERT_EQ(readTextFile(fileTrain), whole) << "killed at system call " << n;
        } else {
            ASSERT_EQ(allRecords(), records) << "killed at system call " << n;
            ++numFinished;
        }
        if (!isKilled) {
            break;
        }
    }
    EXPECT_GT(numFinished, 3);
}

TEST_F(DataSplitter, OverwritesWhatACrashLeft) {
    std::vector<std::string> records = makeRecords(6, "\n");
    writeTextFile(fileTrain, joined(records));
    for (const std::string& name : {fileTrain, fileTest}) {
        writeTextFile(name + ".new", std::string(10000, 'x'));
        writeTextFile(name + ".replaced", std::string(10000, 'x'));
    }

    split(0.5f);

    std::ranges::sort(records);
    EXPECT_EQ(allRecords(), records);
    EXPECT_EQ(contents().size(), 2U);
}

} // namespace
} // namespace melta
