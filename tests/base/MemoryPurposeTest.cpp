#include "base/MemoryPurpose.hpp"

#include "base/ParallelGuard.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace melta {
namespace {

using test::stopMessageOf;

void throwBadAlloc() {
    throw std::bad_alloc();
}

TEST(MemoryPurposeTest, GivesTheResultOfTheWork) {
    int value = 3;

    EXPECT_EQ(allocateFor("a number", [] { return 7; }), 7);
    EXPECT_EQ(&allocateFor("a number", [&]() -> int& { return value; }), &value);
}

TEST(MemoryPurposeTest, LackOfMemoryStops) {
    EXPECT_EQ(stopMessageOf([] { allocateFor("neighbor lists", throwBadAlloc); }),
              "cannot allocate memory: neighbor lists");
}

TEST(MemoryPurposeTest, SizeBeyondAllMemoryStops) {
    std::vector<float> values;

    EXPECT_EQ(stopMessageOf([&] { allocateFor("values", [&] { values.reserve(values.max_size() + 1); }); }),
              "cannot allocate memory: values");
}

TEST(MemoryPurposeTest, InnermostPurposeSpeaks) {
    EXPECT_EQ(stopMessageOf([] { allocateFor("all", [] { allocateFor("a part", throwBadAlloc); }); }),
              "cannot allocate memory: a part");
}

TEST(MemoryPurposeTest, OtherFailuresPass) {
    EXPECT_EQ(stopMessageOf([] { allocateFor("all", [] { stopWithMessage("obj is null."); }); }),
              "obj is null.");
    EXPECT_THROW(allocateFor("all", [] { throw std::out_of_range("x"); }), std::out_of_range);
}

TEST(MemoryPurposeTest, LackWithinAParallelRegionStops) {
    const auto act = [] {
        ParallelGuard guard;
#pragma omp parallel for num_threads(4)
        for (int i = 0; i < 8; ++i) {
            guard.run([&] {
                if (i % 2 == 1) {
                    throwBadAlloc();
                }
            });
        }
        guard.rethrow();
    };

    EXPECT_EQ(stopMessageOf([&] { allocateFor("rows", act); }), "cannot allocate memory: rows");
}

} // namespace
} // namespace melta
