#include "driver/ReplacementJournal.hpp"

#include "driver/FileReplacement.hpp"
#include "support/KilledChild.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::killAtSystemCall;
using test::readTextFile;
using test::stopMessageOf;
using test::TemporaryDirectory;
using test::writeTextFile;

// Two files of old contents and one that is not there yet.
class Journal : public testing::Test {
protected:
    void SetUp() override {
        writeTextFile(first, "old first\n");
        writeTextFile(second, "old second\n");
    }

    void replace() const {
        FileReplacement files;
        std::fprintf(files.open(first), "new first\n");
        std::fprintf(files.open(second), "new second\n");
        std::fprintf(files.open(third), "new third\n");
        files.commit();
    }

    // The state of a kill right behind the record: all new files wait.
    void leaveRecord() const {
        ReplacementJournal journal;
        ASSERT_TRUE(journal.write(std::vector<fs::path>{first, second, third}));
        writeTextFile(first + ".new", "new first\n");
        writeTextFile(second + ".new", "new second\n");
        writeTextFile(third + ".new", "new third\n");
    }

    [[nodiscard]] bool isOld() const {
        return readTextFile(first) == "old first\n" && readTextFile(second) == "old second\n" &&
               !fs::exists(third);
    }

    [[nodiscard]] bool isNew() const {
        return readTextFile(first) == "new first\n" && readTextFile(second) == "new second\n" &&
               fs::exists(third) && readTextFile(third) == "new third\n";
    }

    [[nodiscard]] std::size_t countFiles() const {
        const fs::directory_iterator files(directory.path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    TemporaryDirectory directory;
    std::string first = directory.file("first");
    std::string second = directory.file("second");
    std::string third = directory.file("third");
    std::string record = directory.file("first.journal");
};

TEST_F(Journal, IsGoneWhenAllIsDone) {
    replace();

    EXPECT_TRUE(isNew());
    EXPECT_EQ(countFiles(), 3U);
}

// The heart of the matter: wherever a kill comes, the next run finds all old files or all new ones.
TEST_F(Journal, LetsTheNextRunFinishWhatAnyKillCutShort) {
    int numOld = 0;
    int numNew = 0;
    int n = 0;
    for (;; ++n) {
        fs::remove(third);
        SetUp();
        if (!killAtSystemCall(n, [this] { replace(); })) {
            break;
        }

        finishReplacement(first);

        ASSERT_TRUE(isOld() || isNew()) << "killed at system call " << n;
        ASSERT_FALSE(fs::exists(record)) << "killed at system call " << n;
        (isOld() ? numOld : numNew) += 1;
    }
    EXPECT_GT(numOld, 10);
    EXPECT_GT(numNew, 10);
    EXPECT_TRUE(isNew());
    replace();
    EXPECT_EQ(countFiles(), 3U) << "the next replacement cleans up";
}

TEST_F(Journal, LetsAnyLaterRunFinishWhereAFinishingRunWasKilled) {
    for (int n = 0;; ++n) {
        fs::remove(third);
        SetUp();
        leaveRecord();
        const bool isKilled = killAtSystemCall(n, [this] { finishReplacement(first); });

        finishReplacement(first);

        ASSERT_TRUE(isNew()) << "killed at system call " << n;
        if (!isKilled) {
            break;
        }
    }
    EXPECT_EQ(countFiles(), 3U);
}

TEST_F(Journal, FinishesNothingWithoutARecord) {
    writeTextFile(first + ".new", "half a fi");

    finishReplacement(first);

    EXPECT_TRUE(isOld());
}

TEST_F(Journal, FinishesNothingByARecordThatIsCut) {
    leaveRecord();
    const std::string text = readTextFile(record);
    for (std::size_t length = 0; length + 1 < text.size(); ++length) {
        writeTextFile(record, text.substr(0, length));

        finishReplacement(first);

        ASSERT_TRUE(isOld()) << length;
        ASSERT_FALSE(fs::exists(record)) << length;
    }
}

TEST_F(Journal, LeavesFilesThatSomebodyHasChangedMeanwhile) {
    leaveRecord();
    writeTextFile(second, "put here by the user\n");

    finishReplacement(first);

    EXPECT_EQ(readTextFile(first), "old first\n");
    EXPECT_EQ(readTextFile(second), "put here by the user\n");
    EXPECT_FALSE(fs::exists(record));
}

TEST_F(Journal, GoesWithAFolderThatIsMoved) {
    const TemporaryDirectory other;
    leaveRecord();
    for (const char* const name :
         {"first", "second", "first.new", "second.new", "third.new", "first.journal"}) {
        fs::rename(directory.file(name), other.file(name));
    }

    finishReplacement(other.file("first"));

    EXPECT_EQ(readTextFile(other.file("first")), "new first\n");
    EXPECT_EQ(readTextFile(other.file("third")), "new third\n");
}

TEST_F(Journal, FollowsLinks) {
    const TemporaryDirectory other;
    fs::create_symlink(first, other.file("link"));
    leaveRecord();

    finishReplacement(other.file("link"));

    EXPECT_TRUE(isNew());
    EXPECT_TRUE(fs::is_symlink(other.file("link")));
}

TEST_F(Journal, MakesOthersWaitForALivingWriter) {
    ReplacementJournal journal;
    ASSERT_TRUE(journal.write(std::vector<fs::path>{first, second}));
    writeTextFile(first + ".new", "new first\n");
    writeTextFile(second + ".new", "new second\n");

    std::thread reader([this] { finishReplacement(first); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(readTextFile(first), "old first\n");
    fs::rename(second + ".new", second);
    fs::rename(first + ".new", first);
    journal.remove();
    reader.join();

    EXPECT_EQ(readTextFile(first), "new first\n");
}

TEST_F(Journal, StopsWhereItCannotBeFinished) {
    leaveRecord();
    fs::remove(second + ".new");
    fs::create_directory(second + ".new"); // a folder takes the place of no file

    EXPECT_EQ(stopMessageOf([&] { finishReplacement(first); }),
              "cannot finish the replacement of the file: " + second);
}

} // namespace
} // namespace melta
