#include "base/FloatControl.hpp"

#include <gtest/gtest.h>
#include <omp.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <thread>

namespace melta {
namespace {

#if defined(__SSE2__) || defined(_M_X64)

// Bits of what the calling thread makes of denormal numbers. Bits, because a thread that flushes takes the
// denormal result of an earlier time for zero; volatile, because the compiler may move plain arithmetic
// across the change.
struct Outcome {
    std::uint32_t result;
    std::uint32_t operand;
};

Outcome computeWithDenormals() {
    volatile float smallest = std::numeric_limits<float>::min();
    volatile float denormal = std::numeric_limits<float>::denorm_min();
    volatile float result = smallest * 0.5f;
    volatile float operand = denormal * 1.0e30f;
    return {std::bit_cast<std::uint32_t>(float{result}), std::bit_cast<std::uint32_t>(float{operand})};
}

// Works in a fresh thread, with a team of its own, so that the test's thread keeps its arithmetic.
void runInFreshThread(void (*work)()) {
    std::thread(work).join();
}

int countThreadsThatFlush(int numThreads) {
    int count = 0;
#pragma omp parallel num_threads(numThreads) reduction(+ : count)
    {
        const Outcome outcome = computeWithDenormals();
        count += outcome.result == 0 && outcome.operand == 0 ? 1 : 0;
    }
    return count;
}

TEST(FloatControlTest, DenormalResultsBecomeZero) {
    runInFreshThread([] {
        const std::uint32_t before = computeWithDenormals().result;
        flushDenormals();
        const std::uint32_t after = computeWithDenormals().result;

        EXPECT_NE(before, 0U);
        EXPECT_EQ(after, 0U);
    });
}

TEST(FloatControlTest, DenormalOperandsCountAsZero) {
    runInFreshThread([] {
        const std::uint32_t before = computeWithDenormals().operand;
        flushDenormals();
        const std::uint32_t after = computeWithDenormals().operand;

        EXPECT_NE(before, 0U);
        EXPECT_EQ(after, 0U);
    });
}

TEST(FloatControlTest, EveryThreadOfATeamFlushes) {
    runInFreshThread([] {
        omp_set_num_threads(4);
        const int before = countThreadsThatFlush(4);
        flushDenormalsInTeam();
        const int after = countThreadsThatFlush(4);

        EXPECT_EQ(before, 0);
        EXPECT_EQ(after, 4);
    });
}

#endif

} // namespace
} // namespace melta
