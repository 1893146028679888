#include "base/DirectoryLock.hpp"

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

namespace melta {
namespace {

class DirectoryLockTest : public testing::Test {
protected:
    std::string attempt() const {
        return test::stopMessageOf([] { const DirectoryLock lock; });
    }

    test::TemporaryDirectory directory;
    test::WorkingDirectory inside{directory.path()};
    std::string refusal =
        "another run works in this directory: " + std::filesystem::canonical(directory.path()).string();
};

TEST_F(DirectoryLockTest, SecondOneIsRefusedWhileTheFirstLives) {
    std::optional<DirectoryLock> first(std::in_place);

    EXPECT_EQ(attempt(), refusal);
    EXPECT_EQ(attempt(), refusal);
    first.reset();

    EXPECT_EQ(attempt(), "(no stop)");
    EXPECT_EQ(attempt(), "(no stop)");
}

TEST_F(DirectoryLockTest, LeavesNoFile) {
    const DirectoryLock lock;

    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(DirectoryLockTest, OtherDirectoriesAreFree) {
    const DirectoryLock lock;
    const test::TemporaryDirectory other;
    const test::WorkingDirectory there(other.path());

    EXPECT_EQ(attempt(), "(no stop)");
}

TEST_F(DirectoryLockTest, OtherNamesOfTheDirectoryLeadToTheSameLock) {
    const DirectoryLock lock;
    const test::TemporaryDirectory other;
    std::filesystem::create_directory_symlink(directory.path(), other.file("link"));
    const test::WorkingDirectory there(other.file("link"));

    EXPECT_EQ(attempt(), refusal);
}

TEST_F(DirectoryLockTest, DirectoryThatCannotBeWrittenIsLockedToo) {
    std::filesystem::permissions(directory.path(),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    const DirectoryLock lock;

    EXPECT_EQ(attempt(), refusal);
    std::filesystem::permissions(directory.path(), std::filesystem::perms::owner_all);
}

TEST_F(DirectoryLockTest, DiesWithItsProcess) {
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t child = fork();
    if (child == 0) {
        const DirectoryLock lock;
        const char ready = 'x';
        if (write(pipeEnds[1], &ready, 1) == 1) {
            pause();
        }
        _exit(1);
    }
    char answer = 0;
    ASSERT_EQ(read(pipeEnds[0], &answer, 1), 1);
    EXPECT_EQ(attempt(), refusal);

    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);

    EXPECT_EQ(attempt(), "(no stop)");
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

} // namespace
} // namespace melta
