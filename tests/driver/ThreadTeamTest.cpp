#include "driver/ThreadTeam.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>
#include <omp.h>
#include <sys/resource.h>

#include <algorithm>

namespace melta {
namespace {

// While it lives, the address space cannot grow by more than this.
class AddressLimit {
public:
    explicit AddressLimit(rlim_t numBytes) {
        getrlimit(RLIMIT_AS, &before);
        rlimit limit = before;
        limit.rlim_cur = numBytes;
        setrlimit(RLIMIT_AS, &limit);
    }
    ~AddressLimit() { setrlimit(RLIMIT_AS, &before); }
    AddressLimit(const AddressLimit&) = delete;
    AddressLimit& operator=(const AddressLimit&) = delete;

private:
    rlimit before{};
};

TEST(ThreadTeamTest, limitIsGenerous) {
    EXPECT_GE(obtainLargestTeam(), std::min(64, omp_get_thread_limit()));
    EXPECT_GE(obtainLargestTeam(), std::min(4 * omp_get_num_procs(), omp_get_thread_limit()));
    EXPECT_LE(obtainLargestTeam(), omp_get_thread_limit());
}

TEST(ThreadTeamTest, threadsThatCanBeMadeAreNoFailure) {
    for (const int numThreads : {0, 1, 2, 64}) {
        EXPECT_EQ(test::stopMessageOf([&] { requireThreads(numThreads); }), "(no stop)") << numThreads;
    }
}

TEST(ThreadTeamTest, threadsThatCannotBeMadeStop) {
    const AddressLimit limit(0);

    EXPECT_EQ(test::stopMessageOf([] { requireThreads(500); }), "cannot make 500 threads.");
}

TEST(ThreadTeamTest, callersOfTheMatrixLibraryAreAsManyAsHaveRoom) {
    EXPECT_EQ(limitBlasCallers(0), 1);
    EXPECT_EQ(limitBlasCallers(1), 1);
    EXPECT_EQ(limitBlasCallers(48), 48);
    const AddressLimit limit(0);

    EXPECT_EQ(limitBlasCallers(48), 1);
}

} // namespace
} // namespace melta
