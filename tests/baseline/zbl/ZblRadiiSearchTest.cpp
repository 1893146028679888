#include "baseline/zbl/ZblRadiiSearch.hpp"

#include "baseline/zbl/ZblSystem.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta::test {
namespace {

constexpr double rcut = 3.5;

class ZblRadiiSearchTest : public testing::Test {
protected:
    ZblRadiiSearchTest() {
        addZblElements(set);
        // Silicon at 2.5 Angstrom across the border of the cell, and at 2.4; with oxygen at 1.75.
        add({{0, {0.5f, 1.0f, 1.0f}}, {0, {6.0f, 1.0f, 1.0f}}});
        add({{0, {2.0f, 2.0f, 2.0f}}, {0, {4.4f, 2.0f, 2.0f}}, {1, {2.0f, 2.0f, 3.75f}}});
    }

    void add(std::vector<ZblSite> sites) {
        set.geometries.push_back(makeZblGeometry(sites, static_cast<float>(rcut)));
        ++set.numGeoms;
    }

    std::size_t search(const ZblWishes& wishes = {}, double cutoff = rcut) {
        return addMissingRadii(entries, set, wishes, cutoff, "melta.zbl");
    }

    void expectRadii(const char* first, const char* second, double inner, double outer) const {
        const ZblRadii* const radii = findZblRadii(entries, first, second);
        ASSERT_NE(radii, nullptr);
        EXPECT_LE(std::fabs(radii->inner - inner), 2.0e-6) << first << second << radii->inner;
        EXPECT_LE(std::fabs(radii->outer - outer), 2.0e-6) << first << second << radii->outer;
    }

    StopCatcher stopCatcher;
    GeometrySet set;
    std::vector<ZblRadii> entries;
};

TEST_F(ZblRadiiSearchTest, SwitchesEndAtTheShortestDistances) {
    EXPECT_EQ(search(), 6U);

    expectRadii("Si", "Si", 1.8, 2.4);
    expectRadii("O", "Si", 0.75 * 1.75, 1.75);
}

TEST_F(ZblRadiiSearchTest, ShortestDistancesAreNotReached) {
    search();

    EXPECT_LE(findZblRadii(entries, "Si", "Si")->outer, static_cast<double>(4.4f - 2.0f));
}

TEST_F(ZblRadiiSearchTest, PairsThatNeverMeetEndAtTheSumOfTheirCovalentRadii) {
    search();

    expectRadii("O", "O", 0.99, 1.32);
    expectRadii("H", "Si", 1.065, 1.42);
    expectRadii("H", "H", 0.465, 0.62);
}

TEST_F(ZblRadiiSearchTest, NoSwitchEndsBeyondTheLists) {
    search({}, 1.5);

    expectRadii("Si", "Si", 1.125, 1.5);
    expectRadii("H", "Si", 1.065, 1.42);
}

TEST_F(ZblRadiiSearchTest, WhatIsThereStays) {
    entries = {{"O", "Si", 0.3, 0.4}, {"Fe", "Fe", 1.0, 2.0}};

    EXPECT_EQ(search(), 5U);
    EXPECT_EQ(search(), 0U);

    expectRadii("Si", "O", 0.3, 0.4);
    expectRadii("Fe", "Fe", 1.0, 2.0);
    EXPECT_EQ(entries.size(), 7U);
}

TEST_F(ZblRadiiSearchTest, WishesHoldForAllPairs) {
    search({0.4, 1.1});

    expectRadii("Si", "Si", 0.4, 1.1);
    expectRadii("H", "H", 0.4, 1.1);

    entries.clear();
    search({0.4, 0.0});

    expectRadii("Si", "Si", 0.4, 2.4);
    expectRadii("H", "H", 0.4, 0.62);
}

TEST_F(ZblRadiiSearchTest, WishesThatDoNotFitAreRefused) {
    EXPECT_EQ(stopMessageOf([&] { search({1.2, 1.1}); }), "incorrect radii of ZBL for Si and Si: melta.zbl");
    entries.clear();
    EXPECT_EQ(stopMessageOf([&] { search({0.7, 0.0}); }), "incorrect radii of ZBL for H and H: melta.zbl");
}

} // namespace
} // namespace melta::test
