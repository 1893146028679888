#include "base/FileReplacement.hpp"

#include "support/FileSizeLimit.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::FileSizeLimit;
using test::readTextFile;
using test::stopMessageOf;
using test::TemporaryDirectory;
using test::writeTextFile;

class Replacement : public testing::Test {
protected:
    // Names of all files in the directory.
    [[nodiscard]] std::vector<std::string> listed() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory.path())) {
            names.push_back(entry.path().filename().string());
        }
        std::ranges::sort(names);
        return names;
    }

    void writeOld() const {
        writeTextFile(first, "old first\n");
        writeTextFile(second, "old second\n");
    }

    void expectOld() const {
        EXPECT_EQ(readTextFile(first), "old first\n");
        EXPECT_EQ(readTextFile(second), "old second\n");
        EXPECT_EQ(listed(), (std::vector<std::string>{"first", "second"}));
    }

    // Writes both files; `disturb` runs before they take their names.
    void replace(const std::function<void()>& disturb = [] {}) const {
        FileReplacement files;
        std::fprintf(files.open(first), "new first\n");
        std::fprintf(files.open(second), "new second\n");
        disturb();
        files.commit();
    }

    TemporaryDirectory directory;
    std::string first = directory.file("first");
    std::string second = directory.file("second");
};

TEST_F(Replacement, MakesNewFiles) {
    replace();

    EXPECT_EQ(readTextFile(first), "new first\n");
    EXPECT_EQ(readTextFile(second), "new second\n");
    EXPECT_EQ(listed(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(Replacement, ReplacesOldFilesAtOnce) {
    writeOld();

    replace([&] {
        EXPECT_EQ(readTextFile(first), "old first\n");
        EXPECT_EQ(readTextFile(second), "old second\n");
    });

    EXPECT_EQ(readTextFile(first), "new first\n");
    EXPECT_EQ(readTextFile(second), "new second\n");
    EXPECT_EQ(listed(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(Replacement, OverwritesWhatACrashLeft) {
    writeOld();
    for (const char* const name : {"first.new", "first.replaced", "second.new", "second.replaced"}) {
        writeTextFile(directory.file(name), "left behind by an earlier run, and much longer\n");
    }

    replace();

    EXPECT_EQ(readTextFile(first), "new first\n");
    EXPECT_EQ(readTextFile(second), "new second\n");
    EXPECT_EQ(listed(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(Replacement, KeepsOldFilesWithoutCommit) {
    writeOld();

    {
        FileReplacement files;
        std::fprintf(files.open(first), "new first\n");
    }

    expectOld();
}

TEST_F(Replacement, StopsAtAMissingFolder) {
    const std::string name = directory.file("missing/file");

    EXPECT_EQ(stopMessageOf([&] { FileReplacement().open(name); }), "cannot open file: " + name);
}

TEST_F(Replacement, StopsAtAFolderInTheFilesPlace) {
    writeOld();
    const std::string folder = directory.file("folder");
    fs::create_directory(folder);

    const std::string message = stopMessageOf([&] {
        FileReplacement files;
        files.open(first);
        files.open(folder);
    });

    EXPECT_EQ(message, "cannot open file: " + folder);
    fs::remove(folder);
    expectOld();
}

TEST_F(Replacement, StopsAtAFullDiskAndKeepsOldFiles) {
    writeOld();

    const std::string message = stopMessageOf([&] {
        const FileSizeLimit limit(10); // "new first\n" fits, "new second\n" does not
        replace();
    });

    EXPECT_EQ(message, "cannot write file: " + second);
    expectOld();
}

TEST_F(Replacement, ReplacesAtOnceWithoutWaitingForTheMedium) {
    writeTextFile(first, "old first\n");

    {
        FileReplacement files(FileReplacement::Sync::no);
        std::fprintf(files.open(first), "new first\n");
        EXPECT_EQ(readTextFile(first), "old first\n");
        files.commit();
    }
    EXPECT_EQ(readTextFile(first), "new first\n");

    const FileSizeLimit limit(5);
    FileReplacement files(FileReplacement::Sync::no);
    std::fprintf(files.open(first), "newest first\n");
    EXPECT_EQ(stopMessageOf([&] { files.commit(); }), "cannot write file: " + first);
    EXPECT_EQ(readTextFile(first), "new first\n");
    EXPECT_EQ(listed(), std::vector<std::string>{"first"});
}

TEST_F(Replacement, WritesInPlaceWhatIsNoRegularFile) {
    ASSERT_EQ(mkfifo(second.c_str(), 0600), 0);
    const FilePointer pipe(std::fopen(second.c_str(), "r+"));
    ASSERT_TRUE(pipe);

    EXPECT_EQ(stopMessageOf([&] { replace(); }), "(no stop)");

    std::array<char, 32> line{};
    ASSERT_TRUE(fs::is_fifo(second));
    ASSERT_NE(std::fgets(line.data(), static_cast<int>(line.size()), pipe.get()), nullptr);
    EXPECT_STREQ(line.data(), "new second\n");
    EXPECT_EQ(readTextFile(first), "new first\n");
    EXPECT_EQ(listed(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(Replacement, FollowsNoLinkFromATemporaryName) {
    const std::string other = directory.file("other");
    writeTextFile(other, "untouched\n");
    fs::create_symlink(other, directory.file("first.new"));

    replace();

    EXPECT_EQ(readTextFile(other), "untouched\n");
    EXPECT_FALSE(fs::is_symlink(first));
    EXPECT_EQ(readTextFile(first), "new first\n");
}

TEST_F(Replacement, BringsBackAllFilesWhenOneCannotBeReplaced) {
    writeOld();

    // The second file has its new contents by the time the first one turns out to be blocked.
    const std::string message = stopMessageOf([&] {
        replace([&] {
            fs::remove(first);
            fs::create_directory(first);
        });
    });

    EXPECT_EQ(message, "cannot write file: " + first);
    EXPECT_EQ(readTextFile(second), "old second\n");
    EXPECT_EQ(listed(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(Replacement, TakesBackNewFilesWhenOneCannotBeReplaced) {
    const std::string message = stopMessageOf([&] { replace([&] { fs::create_directory(first); }); });

    EXPECT_EQ(message, "cannot write file: " + first);
    EXPECT_EQ(listed(), (std::vector<std::string>{"first"}));
}

TEST_F(Replacement, FollowsALink) {
    fs::create_directory(directory.file("folder"));
    const std::string target = directory.file("folder/target");
    writeTextFile(target, "old\n");
    fs::create_symlink(target, first);

    replace();

    EXPECT_TRUE(fs::is_symlink(first));
    EXPECT_EQ(readTextFile(target), "new first\n");
}

TEST_F(Replacement, StopsAtTwoNamesOfOneFile) {
    writeTextFile(first, "old first\n");
    fs::create_symlink(first, second);

    EXPECT_EQ(stopMessageOf([&] { replace(); }), "cannot open file: " + second);

    EXPECT_EQ(readTextFile(first), "old first\n");
    EXPECT_EQ(listed(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(Replacement, LeavesAWriteProtectedFile) {
    writeOld();
    fs::permissions(second, fs::perms::owner_read);
    if (FilePointer(std::fopen(second.c_str(), "r+"))) {
        GTEST_SKIP() << "this user may write everything";
    }

    EXPECT_EQ(stopMessageOf([&] { replace(); }), "cannot open file: " + second);

    expectOld();
}

TEST_F(Replacement, KeepsPermissions) {
    writeOld();
    const fs::perms permissions = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    fs::permissions(first, permissions);

    replace();

    EXPECT_EQ(fs::status(first).permissions(), permissions);
}

TEST_F(Replacement, TellsThatAFileDoesNotOpenIfAskedTo) {
    writeOld();
    FileReplacement files;
    std::fputs("new first\n", files.open(first));

    EXPECT_EQ(files.tryOpen(directory.file("missing") + "/file"), nullptr);
    EXPECT_EQ(files.tryOpen(directory.path().string()), nullptr);
    EXPECT_EQ(files.tryOpen(first), nullptr);
    std::FILE* const file = files.tryOpen(second);
    ASSERT_NE(file, nullptr);
    std::fputs("new second\n", file);
    files.commit();

    EXPECT_EQ(readTextFile(first), "new first\n");
    EXPECT_EQ(readTextFile(second), "new second\n");
    EXPECT_EQ(listed().size(), 2U);
}

TEST_F(Replacement, RaisesAFailureIfAskedTo) {
    writeOld();

    const auto messageOf = [&](const std::string& name) -> std::string {
        try {
            FileReplacement files(FileReplacement::OnFailure::raise);
            std::fprintf(files.open(first), "new first\n");
            std::fprintf(files.open(name), "new second\n");
            const FileSizeLimit limit(10);
            files.commit();
        } catch (const FileFailure& failure) {
            return failure.what();
        }
        return "(no failure)";
    };

    EXPECT_EQ(messageOf(second), "cannot write file: " + second);
    EXPECT_EQ(messageOf(directory.path().string()), "cannot open file: " + directory.path().string());
    expectOld();
}

TEST_F(Replacement, TriesWhetherAFileCanBeWritten) {
    writeOld();
    const std::string missing = directory.file("missing/file");
    ASSERT_EQ(mkfifo(directory.file("pipe").c_str(), 0600), 0);

    EXPECT_EQ(stopMessageOf([&] { FileReplacement::requireWritable(first); }), "(no stop)");
    EXPECT_EQ(stopMessageOf([&] { FileReplacement::requireWritable(directory.file("third")); }), "(no stop)");
    EXPECT_EQ(stopMessageOf([&] { FileReplacement::requireWritable(directory.file("pipe")); }), "(no stop)");
    EXPECT_EQ(stopMessageOf([&] { FileReplacement::requireWritable(missing); }),
              "cannot open file: " + missing);

    fs::remove(directory.file("pipe"));
    expectOld();
}

} // namespace
} // namespace melta
