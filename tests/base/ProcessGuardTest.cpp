#include "base/ProcessGuard.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using test::stopMessageOf;

TEST(ProcessGuardTest, OneProcessMayDoEverything) {
    EXPECT_EQ(stopMessageOf([] { requireSingleProcess("--test"); }), "(no stop)");
    EXPECT_EQ(stopMessageOf([] { requireSingleProcessForBatches(); }), "(no stop)");
}

TEST(ProcessGuardTest, SeveralProcessesStopWithTheCommandWord) {
    EXPECT_EQ(stopMessageOf([] { requireSingleProcess("--test-with-bias", 2); }),
              "MPI does not support the option: --test-with-bias");
}

TEST(ProcessGuardTest, SeveralProcessesCannotShareBatches) {
    EXPECT_EQ(stopMessageOf([] { requireSingleProcessForBatches(2); }),
              "cannot use MPI for Mini-batch algorithm.");
}

} // namespace
} // namespace melta
