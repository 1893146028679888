#include "structure/FarEnergies.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace melta {
namespace {

using Indices = std::vector<int>;

// Geometries of two kinds at -100 and -2000 eV an atom, with a little noise.
class FarEnergies : public testing::Test {
protected:
    void add(double numFirst, double numSecond) {
        std::normal_distribution<double> noise(0.0, 0.1);
        const double perAtom = noise(random);
        counts.insert(counts.end(), {numFirst, numSecond});
        totals.push_back(-100.0 * numFirst - 2000.0 * numSecond + perAtom * (numFirst + numSecond));
    }

    void addMixture(int numGeoms) {
        std::uniform_int_distribution<int> draw(1, 20);
        for (int g = 0; g < numGeoms; ++g) {
            add(draw(random), draw(random));
        }
    }

    [[nodiscard]] double atomsOf(std::size_t index) const {
        return counts[2 * index] + counts[2 * index + 1];
    }

    [[nodiscard]] Indices find() const { return findFarEnergies(counts, totals, 2); }

    std::mt19937 random{7};
    std::vector<double> counts;
    std::vector<double> totals;
};

TEST_F(FarEnergies, AreNoneInSoundData) {
    for (int numGeoms = 0; numGeoms < 30; ++numGeoms) {
        EXPECT_EQ(find(), Indices{}) << numGeoms;
        addMixture(1);
    }
    addMixture(1000);
    EXPECT_EQ(find(), Indices{});
}

// As a baseline that has been taken out may leave them.
TEST_F(FarEnergies, AreThoseThatAreNotFinite) {
    addMixture(20);
    totals[3] = std::numeric_limits<double>::quiet_NaN();
    totals[11] = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(find(), (Indices{3, 11}));

    std::ranges::fill(totals, std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(find().size(), totals.size());
}

TEST_F(FarEnergies, AreFoundAmongManyCompositions) {
    for (const double offset : {60.0, -60.0, 1.0e3, -1.0e6, 1.0e16, -1.0e300, 1.0e308}) {
        for (const int numGeoms : {8, 50, 300}) {
            counts.clear();
            totals.clear();
            addMixture(numGeoms);
            for (const std::size_t index : {2, 5}) {
                totals[index] += std::abs(offset) < 1.0e100 ? offset * atomsOf(index) : offset;
            }

            EXPECT_EQ(find(), (Indices{2, 5})) << offset << " " << numGeoms;
        }
    }
}

TEST_F(FarEnergies, AreFoundWithOneComposition) {
    for (const int numGeoms : {3, 4, 100}) {
        counts.clear();
        totals.clear();
        for (int g = 0; g < numGeoms; ++g) {
            add(4, 8);
        }
        totals[1] -= 1.0e4;

        EXPECT_EQ(find(), Indices{1}) << numGeoms;
    }
}

TEST_F(FarEnergies, MayBeOfDifferentSizes) {
    addMixture(60);
    Indices expected;
    double offset = 30.0;
    for (int g = 0; g < 60; g += 3) {
        totals[static_cast<std::size_t>(g)] += offset * atomsOf(static_cast<std::size_t>(g));
        offset *= -1.9;
        expected.push_back(g);
    }

    EXPECT_EQ(find(), expected);
}

TEST_F(FarEnergies, NeedAMajority) {
    add(4, 8);
    add(4, 8);
    totals[1] += 1.0e5;
    EXPECT_EQ(find(), Indices{});

    add(4, 8);
    add(4, 8);
    totals[3] += 1.0e5;
    EXPECT_EQ(find(), Indices{});
}

TEST_F(FarEnergies, AreAbsurdBeyondEveryAtom) {
    add(1, 0);
    totals[0] = -9.9e6;
    EXPECT_EQ(find(), Indices{});

    totals[0] = -1.1e7;
    EXPECT_EQ(find(), Indices{0});

    add(4, 8);
    totals[1] = 1.0e15;
    EXPECT_EQ(find(), (Indices{0, 1}));
}

TEST_F(FarEnergies, AreNotToldOfACompositionThatStandsAlone) {
    for (int g = 0; g < 5; ++g) {
        add(12, 0);
    }
    add(0, 4);
    totals.back() += 5000.0;
    EXPECT_EQ(find(), Indices{});
    // Two that stand alone together and contradict each other.
    add(0, 4);
    EXPECT_EQ(find(), Indices{});

    // The ratio never varies: nothing is known of the kinds, but all of their sum.
    counts.clear();
    totals.clear();
    for (int g = 1; g < 8; ++g) {
        add(2.0 * g, g);
    }
    EXPECT_EQ(find(), Indices{});
    totals[4] += 1.0e3 * atomsOf(4);
    EXPECT_EQ(find(), Indices{4});
}

TEST_F(FarEnergies, AreFarByTheMeasureOfTheRest) {
    std::uniform_real_distribution<double> spread(-8.0, 8.0);
    for (int g = 0; g < 100; ++g) {
        add(2, 2);
        totals.back() += spread(random) * 4.0;
    }
    totals[50] += 60.0 * 4.0;
    EXPECT_EQ(find(), Indices{});

    totals[50] += 1000.0 * 4.0;
    EXPECT_EQ(find(), Indices{50});
}

} // namespace
} // namespace melta
