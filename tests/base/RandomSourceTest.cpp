#include "base/RandomSource.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <numeric>
#include <vector>

namespace melta {
namespace {

// The generator, computed with whole numbers that never wrap.
class PlainGenerator {
public:
    explicit PlainGenerator(std::uint64_t seed) : state(seed) {}

    int draw() {
        constexpr std::uint64_t modulus = 4294967296ULL;
        state = (state * 214013ULL + 2531011ULL) % modulus;
        return static_cast<int>(state / 65536ULL % 32768ULL);
    }

private:
    std::uint64_t state;
};

// The permutation rule, word for word.
std::vector<int> plainShuffle(std::vector<int> list, PlainGenerator& random) {
    const int n = static_cast<int>(list.size());
    for (int i = n - 1; i >= 1; --i) {
        const float product = static_cast<float>(i + 1) * 3.0517578e-05f * static_cast<float>(random.draw());
        int j = static_cast<int>(product);
        if (j < 0) {
            j = 0;
        }
        if (j > n - 1) {
            j = n - 1;
        }
        if (j != i) {
            std::swap(list[static_cast<std::size_t>(i)], list[static_cast<std::size_t>(j)]);
        }
    }
    return list;
}

std::vector<int> makeList(int n) {
    std::vector<int> list(static_cast<std::size_t>(n));
    std::iota(list.begin(), list.end(), 0);
    return list;
}

// A seed whose first draw is the given number.
std::uint32_t findSeedFor(int firstDraw) {
    for (std::uint32_t seed = 0;; ++seed) {
        if (PlainGenerator(seed).draw() == firstDraw) {
            return seed;
        }
    }
}

TEST(RandomSourceTest, SeedOneGivesTheKnownSequence) {
    RandomSource random;
    random.seed(1);

    EXPECT_EQ(random.draw(), 41);
    EXPECT_EQ(random.draw(), 18467);
    EXPECT_EQ(random.draw(), 6334);
    EXPECT_EQ(random.draw(), 26500);
    EXPECT_EQ(random.draw(), 19169);
}

TEST(RandomSourceTest, EverySeedFollowsTheGenerator) {
    for (const std::uint32_t seed : {0U, 12345U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        RandomSource random;
        random.seed(seed);
        PlainGenerator expected(seed);

        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(random.draw(), expected.draw()) << "seed " << seed << ", draw " << i;
        }
    }
}

TEST(RandomSourceTest, SeedingAgainRepeatsTheSequence) {
    RandomSource random;
    random.seed(7);
    const int first = random.draw();
    random.draw();

    random.seed(7);

    EXPECT_EQ(random.draw(), first);
}

TEST(RandomSourceTest, FirstDrawSeedsWithTheTime) {
    RandomSource random;
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));

    const int first = random.draw();
    const int second = random.draw();

    const auto after = static_cast<std::uint32_t>(std::time(nullptr));
    bool isFound = false;
    for (std::uint32_t seed = before; seed <= after; ++seed) {
        PlainGenerator expected(seed);
        const bool isFirst = expected.draw() == first;
        isFound = isFound || (isFirst && expected.draw() == second);
    }
    EXPECT_TRUE(isFound) << first << ' ' << second << " from a time between " << before << " and " << after;
}

TEST(RandomSourceTest, UniformNumbersAreDrawsInUnitsOfTheRange) {
    RandomSource random;

    random.seed(findSeedFor(0));
    const float lowest = random.drawUniform();
    random.seed(findSeedFor(RandomSource::maxDraw));
    const float highest = random.drawUniform();
    random.seed(1);
    const float ordinary = random.drawUniform();

    EXPECT_EQ(lowest, 0.0f);
    EXPECT_EQ(highest, 32767.0f / 32768.0f);
    EXPECT_EQ(ordinary, 41.0f / 32768.0f);
}

TEST(RandomSourceTest, PositionsCoverTheListAndNothingElse) {
    RandomSource random;
    random.seed(3);

    std::vector<int> counts(5, 0);
    for (int i = 0; i < 5000; ++i) {
        const int index = random.drawIndex(5);
        ASSERT_GE(index, 0);
        ASSERT_LT(index, 5);
        ++counts[static_cast<std::size_t>(index)];
    }

    EXPECT_GE(*std::min_element(counts.begin(), counts.end()), 900);
}

TEST(RandomSourceTest, LargestDrawGivesTheLastPositionOfAList) {
    const std::uint32_t seed = findSeedFor(RandomSource::maxDraw);
    for (const int n : {1, 2, 3, 1000, 32768}) {
        RandomSource random;
        random.seed(seed);

        EXPECT_EQ(random.drawIndex(n), n - 1);
    }
}

TEST(RandomSourceTest, ListsBeyondTheRangeStayWithinTheirEnd) {
    RandomSource random;
    random.seed(findSeedFor(RandomSource::maxDraw));

    EXPECT_EQ(random.drawIndex(2147483647), 2147418112);
}

TEST(RandomSourceTest, EmptyListGivesThePositionBeforeIt) {
    RandomSource random;
    random.seed(1);

    EXPECT_EQ(random.drawIndex(0), -1);
}

TEST(RandomSourceTest, ShuffleFollowsThePermutationRule) {
    for (const int n : {2, 3, 10, 257, 40000}) {
        RandomSource random;
        random.seed(99);
        PlainGenerator plain(99);
        std::vector<int> list = makeList(n);

        random.shuffle(list);

        EXPECT_EQ(list, plainShuffle(makeList(n), plain)) << "n = " << n;
        EXPECT_EQ(random.draw(), plain.draw()) << "n = " << n;
    }
}

TEST(RandomSourceTest, ShuffleKeepsAllItems) {
    RandomSource random;
    random.seed(5);
    std::vector<int> list = makeList(100);

    random.shuffle(list);

    EXPECT_NE(list, makeList(100));
    std::sort(list.begin(), list.end());
    EXPECT_EQ(list, makeList(100));
}

TEST(RandomSourceTest, ListOfOneItemOrNoneDrawsNoNumber) {
    RandomSource random;
    random.seed(1);
    std::vector<int> single = {8};
    std::vector<int> empty;

    random.shuffle(single);
    random.shuffle(empty);

    EXPECT_EQ(single, std::vector<int>{8});
    EXPECT_EQ(random.draw(), 41);
}

TEST(RandomSourceTest, SharedSourceIsOneForTheProcess) {
    sharedRandom().seed(1);

    const int first = sharedRandom().draw();
    const int second = sharedRandom().draw();

    EXPECT_EQ(first, 41);
    EXPECT_EQ(second, 18467);
}

} // namespace
} // namespace melta
