#include "network/SymmRows.hpp"

#include <gtest/gtest.h>

#include <array>

namespace melta {
namespace {

constexpr std::array<std::size_t, 3> neighborCounts{2, 0, 1};

TEST(SymmRows, IsEmptyAtFirst) {
    const SymmRows rows;

    EXPECT_EQ(rows.getNumAtoms(), 0U);
    EXPECT_FALSE(rows.hasDerivs());
    EXPECT_TRUE(rows.allValues().empty());
}

TEST(SymmRows, LaysAtomsSideBySide) {
    SymmRows rows;

    rows.resize(5, neighborCounts, true);

    EXPECT_EQ(rows.getNumAtoms(), 3U);
    EXPECT_TRUE(rows.hasDerivs());
    EXPECT_EQ(rows.allValues().size(), 15U);
    EXPECT_EQ(rows.valuesOf(2).data(), rows.allValues().data() + 10);
    EXPECT_EQ(rows.valuesOf(2).size(), 5U);
    EXPECT_EQ(rows.derivsOf(0).size(), 3U * 3U * 5U);
    EXPECT_EQ(rows.derivsOf(1).size(), 3U * 5U);
    EXPECT_EQ(rows.derivsOf(2).size(), 3U * 2U * 5U);
    EXPECT_EQ(rows.derivsOf(1).data(), rows.derivsOf(0).data() + 45);
    EXPECT_EQ(rows.derivsOf(2).data(), rows.derivsOf(1).data() + 15);
}

TEST(SymmRows, LeavesDerivativesOut) {
    SymmRows rows;

    rows.resize(5, neighborCounts, false);

    EXPECT_FALSE(rows.hasDerivs());
    EXPECT_TRUE(rows.derivsOf(0).empty());
    EXPECT_EQ(rows.getNumAtoms(), 3U);
}

TEST(SymmRows, CanBeResized) {
    SymmRows rows;
    rows.resize(5, neighborCounts, true);

    rows.resize(2, std::array<std::size_t, 1>{4}, true);

    EXPECT_EQ(rows.getNumAtoms(), 1U);
    EXPECT_EQ(rows.allValues().size(), 2U);
    EXPECT_EQ(rows.derivsOf(0).size(), 30U);
}

} // namespace
} // namespace melta
