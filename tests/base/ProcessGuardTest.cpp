#include "base/ProcessGuard.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using test::stopMessageOf;

TEST(ProcessGuardTest, oneProcessMayDoEverything) {
    EXPECT_EQ(stopMessageOf([] { requireSingleProcess("--test"); }), "(no stop)");
}

TEST(ProcessGuardTest, severalProcessesStopWithTheCommandWord) {
    EXPECT_EQ(stopMessageOf([] { requireSingleProcess("--test-with-bias", 2); }),
              "MPI does not support the option: --test-with-bias");
}

} // namespace
} // namespace melta
