#include "base/ThreadTeam.hpp"

#include "support/ResourceLimit.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>

namespace melta {
namespace {

using test::ResourceLimit;

TEST(ThreadTeamTest, LimitIsGenerous) {
    EXPECT_GE(findLargestTeam(), std::min(64, omp_get_thread_limit()));
    EXPECT_GE(findLargestTeam(), std::min(4 * omp_get_num_procs(), omp_get_thread_limit()));
    EXPECT_LE(findLargestTeam(), omp_get_thread_limit());
}

TEST(ThreadTeamTest, ThreadsThatCanBeMadeAreNoFailure) {
    for (const int numThreads : {0, 1, 2, 64}) {
        EXPECT_EQ(test::stopMessageOf([&] { requireThreads(numThreads); }), "(no stop)") << numThreads;
    }
}

TEST(ThreadTeamTest, ThreadsThatCannotBeMadeStop) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer ends the process where it gets no memory";
#endif
    const ResourceLimit limit(RLIMIT_AS, 0);

    EXPECT_EQ(test::stopMessageOf([] { requireThreads(500); }), "cannot make 500 threads.");
}

TEST(ThreadTeamTest, CallersOfTheMatrixLibraryAreAsManyAsHaveRoom) {
    EXPECT_EQ(limitBlasCallers(0), 1);
    EXPECT_EQ(limitBlasCallers(1), 1);
    EXPECT_EQ(limitBlasCallers(48), 48);
    const ResourceLimit limit(RLIMIT_AS, 0);

    EXPECT_EQ(limitBlasCallers(48), 1);
}

} // namespace
} // namespace melta
