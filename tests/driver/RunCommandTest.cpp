#include "driver/RunCommand.hpp"

#include "base/ThreadTeam.hpp"
#include "config/Version.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <cblas.h>
#include <gtest/gtest.h>
#include <omp.h>

#include <csignal>
#include <string>
#include <vector>

namespace melta {
namespace {

using Words = std::vector<std::string>;

// The thread counts of the process are as before when a test has ended.
class RunCommandTest : public testing::Test {
protected:
    void TearDown() override {
        openblas_set_num_threads(numBlasThreads);
        omp_set_num_threads(numOmpThreads);
    }

    std::string run(const Words& words) {
        return test::outputOf([&] { status = runCommand(words); });
    }

    int status = -1;
    int numOmpThreads = omp_get_max_threads();
    int numBlasThreads = openblas_get_num_threads();
};

TEST_F(RunCommandTest, NoWordPrintsTheHelpText) {
    const std::string output = run({});

    EXPECT_EQ(status, 0);
    EXPECT_TRUE(output.starts_with("\nCOMMAND:\n  melta [OPTION] [ARGUMENT]\n\nOPTION:\n")) << output;
    EXPECT_TRUE(output.ends_with("    you have to prepare the properties file \"melta.prop\".\n\n"))
        << output;
}

TEST_F(RunCommandTest, UnknownWordsPrintTheHelpText) {
    const std::string help = run({});

    EXPECT_EQ(run({"--omp"}), help);
    EXPECT_EQ(run({"--help"}), help);
    EXPECT_EQ(run({"--omp", "x", "--stop"}), help);
    EXPECT_EQ(status, 0);
}

TEST_F(RunCommandTest, VersionIsOneLine) {
    EXPECT_EQ(run({"--version"}), std::string("melta ") + versionText + "\n");
    EXPECT_EQ(status, 0);
}

TEST_F(RunCommandTest, BrokenPipesAndFullFilesKillNothing) {
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);

    run({});

    EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
    EXPECT_EQ(std::signal(SIGXFSZ, SIG_DFL), SIG_IGN);
}

TEST_F(RunCommandTest, OptionSetsTheThreadCounts) {
    run({"--omp", "3"});

    EXPECT_EQ(omp_get_max_threads(), 3);
    EXPECT_EQ(openblas_get_num_threads(), 3);
}

TEST_F(RunCommandTest, ThreadCountIsLimited) {
    run({"--omp", "100000"});

    EXPECT_EQ(omp_get_max_threads(), findLargestTeam());
}

TEST_F(RunCommandTest, LimitOfThreadsIsToldByModesThatUseThem) {
    const test::TemporaryDirectory directory;
    const test::WorkingDirectory inside(directory.path());
    const auto outputOfForce = [&](const std::string& numThreads) {
        std::string stop;
        return test::outputOf([&] {
            stop = test::stopMessageOf([&] { runCommand(Words{"--omp", numThreads, "--force", "x"}); });
        });
    };
    const std::string limit = std::to_string(findLargestTeam());

    EXPECT_EQ(outputOfForce(limit), "");
    EXPECT_EQ(outputOfForce("100000"), "  * The number of threads is limited to " + limit + ".\n\n");
}

TEST_F(RunCommandTest, ZeroAndNegativeThreadCountsChangeNothing) {
    omp_set_num_threads(5);
    const int numBlasBefore = openblas_get_num_threads();

    run({"--omp", "-2", "--unknown"});
    run({"--omp", "0", "--unknown"});

    EXPECT_EQ(omp_get_max_threads(), 5);
    EXPECT_EQ(openblas_get_num_threads(), numBlasBefore);
}

TEST_F(RunCommandTest, ParallelRegionsDoNotNest) {
    omp_set_max_active_levels(3);

    run({});

    EXPECT_EQ(omp_get_max_active_levels(), 1);
}

TEST_F(RunCommandTest, StopCreatesTheStopFile) {
    const test::TemporaryDirectory directory;
    const test::WorkingDirectory inside(directory.path());

    const std::string output = run({"--stop"});

    EXPECT_EQ(status, 0);
    EXPECT_EQ(output, "\n  * Training neural network will be stopped.\n\n");
    EXPECT_TRUE(std::filesystem::exists(directory.file("melta.EXIT")));
}

} // namespace
} // namespace melta
