#include "base/ReplacementJournal.hpp"

#include "base/FileReplacement.hpp"
#include "support/KilledChild.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <sys/stat.h>
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

    static std::vector<ReplacementJournal::Entry> entriesOf(const std::vector<std::string>& names) {
        std::vector<ReplacementJournal::Entry> entries;
        for (const std::string& name : names) {
            entries.push_back(ReplacementJournal::describe(name, ReplacementJournal::Step::replace));
        }
        return entries;
    }

    // The state of a kill right behind the record: all new files wait.
    void leaveRecord() const {
        ReplacementJournal journal;
        ASSERT_TRUE(journal.write(entriesOf({first, second, third})));
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

// Half of the set is new by then, so that there is nothing to go back to.
TEST_F(Journal, StopsAtAChangeInTheMidstOfAReplacement) {
    leaveRecord();
    fs::rename(third + ".new", third);
    writeTextFile(second, "put here by the user\n");

    EXPECT_EQ(stopMessageOf([&] { finishReplacement(first); }),
              "cannot finish the replacement of the file: " + second);

    EXPECT_EQ(readTextFile(second), "put here by the user\n");
    EXPECT_TRUE(fs::exists(record));
}

// Copies have times of their own.
TEST_F(Journal, GoesWithAFolderThatIsCopied) {
    const TemporaryDirectory other;
    leaveRecord();
    fs::rename(third + ".new", third);
    for (const char* const name : {"first", "second", "third", "first.new", "second.new", "first.journal"}) {
        writeTextFile(other.file(name), readTextFile(directory.file(name)));
        fs::last_write_time(other.file(name), fs::file_time_type::clock::now() - std::chrono::hours(3));
    }

    finishReplacement(other.file("first"));

    EXPECT_EQ(readTextFile(other.file("first")), "new first\n");
    EXPECT_EQ(readTextFile(other.file("second")), "new second\n");
    EXPECT_FALSE(fs::exists(other.file("first.journal")));
}

TEST_F(Journal, IsNoPipe) {
    ASSERT_EQ(mkfifo(record.c_str(), 0600), 0);

    finishReplacement(first);

    EXPECT_TRUE(isOld());
}

TEST_F(Journal, LeavesBackupsOfTheUser) {
    for (const std::string& name : {first, second}) {
        writeTextFile(name + ".old", "kept by the user\n");
    }

    replace();

    EXPECT_EQ(readTextFile(first + ".old"), "kept by the user\n");
    EXPECT_EQ(readTextFile(second + ".old"), "kept by the user\n");
}

// A file that goes is kept in another one of the set.
TEST_F(Journal, RemovesAFileTogetherWithTheReplacement) {
    int numOld = 0;
    int numNew = 0;
    for (int n = 0;; ++n) {
        fs::remove(third);
        SetUp();
        const bool isKilled = killAtSystemCall(n, [this] {
            FileReplacement files;
            std::fprintf(files.open(first), "new first\n");
            std::fprintf(files.open(third), "old second\n");
            files.remove(second);
            files.commit();
        });

        finishReplacement(first);

        const bool isMoved = readTextFile(first) == "new first\n" && !fs::exists(second) &&
                             readTextFile(third) == "old second\n";
        ASSERT_TRUE(isOld() || isMoved) << "killed at system call " << n;
        (isMoved ? numNew : numOld) += 1;
        if (!isKilled) {
            break;
        }
    }
    EXPECT_GT(numOld, 10);
    EXPECT_GT(numNew, 10);
}

TEST_F(Journal, BringsARemovedFileBackWhereAnotherCannotBeReplaced) {
    const std::string message = stopMessageOf([this] {
        FileReplacement files;
        std::fprintf(files.open(first), "new first\n");
        files.remove(second);
        fs::remove(first);
        fs::create_directory(first);
        files.commit();
    });

    EXPECT_EQ(message, "cannot write file: " + first);
    EXPECT_EQ(readTextFile(second), "old second\n");
    EXPECT_EQ(countFiles(), 2U);
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
    ASSERT_TRUE(journal.write(entriesOf({first, second})));
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
