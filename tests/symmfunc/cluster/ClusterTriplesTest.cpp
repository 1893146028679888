#include "symmfunc/cluster/ClusterTriples.hpp"

#include "symmfunc/cluster/RealHarmonics.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

TEST(ClusterTriplesTest, DegreesUpToFourGiveNineTriples) {
    const auto triples = makeClusterTriples(4);

    const std::vector<std::array<int, 3>> expected{{1, 1, 2}, {2, 2, 2}, {1, 2, 3}, {2, 3, 3}, {2, 2, 4},
                                                   {1, 3, 4}, {3, 3, 4}, {2, 4, 4}, {4, 4, 4}};
    EXPECT_EQ(triples.degrees, expected);
    EXPECT_EQ(triples.starts.size(), 10U);
    EXPECT_EQ(triples.starts.back(), triples.monomials.size());
    EXPECT_EQ(triples.monomials.size(), 213U);
}

TEST(ClusterTriplesTest, ThereAreNoneBelowDegreeTwo) {
    EXPECT_TRUE(makeClusterTriples(0).degrees.empty());
    EXPECT_TRUE(makeClusterTriples(1).degrees.empty());
}

// sum of G c c c is what a turn leaves alone: for the harmonics of one direction it is the same for all.
TEST(ClusterTriplesTest, SumsDoNotDependOnTheDirection) {
    const auto triples = makeClusterTriples(5);
    const auto sum = [&](std::size_t triple, const std::vector<double>& harmonics) {
        double total = 0.0;
        for (std::size_t i = triples.starts[triple]; i < triples.starts[triple + 1]; ++i) {
            double product = static_cast<double>(triples.monomials[i].coefficient);
            for (const auto h : triples.monomials[i].harmonics) {
                product *= harmonics[h];
            }
            total += product;
        }
        return total;
    };
    const auto polar = computeHarmonics(5, {0.0, 0.0, 1.0});
    const auto other = computeHarmonics(5, {2.0 / 7.0, -3.0 / 7.0, 6.0 / 7.0});
    for (std::size_t triple = 0; triple < triples.degrees.size(); ++triple) {
        EXPECT_GT(sum(triple, polar), 0.1) << triple;
        EXPECT_LE(std::fabs(sum(triple, polar) - sum(triple, other)), 1.0e-6) << triple;
    }
}

} // namespace
} // namespace melta
