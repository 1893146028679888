#include "baseline/classical/ClassicalSigns.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using Coefs = std::array<float, numPowers>;

TEST(ClassicalSigns, MayChangeFromPositiveToNegativeOnce) {
    for (const Coefs& good :
         {Coefs{1, 1, 1, 1}, Coefs{1, 1, 1, -1}, Coefs{1, 1, -1, -1}, Coefs{1, -1, -1, -1}, Coefs{1, 0, 0, 0},
          Coefs{1, -1, 0, 0}, Coefs{1, 0, 0, -1}, Coefs{1, 0, -1, 0}, Coefs{1, 0, 0, 1}}) {
        EXPECT_TRUE(hasValidSigns(good)) << good[1] << " " << good[2] << " " << good[3];
    }
    for (const Coefs& bad : {Coefs{1, -1, 1, 0}, Coefs{1, -1, 0, 1}, Coefs{1, -1, 1, 1}, Coefs{1, -1, -1, 1},
                             Coefs{1, 1, -1, 1}, Coefs{1, 0, -1, 1}}) {
        EXPECT_FALSE(hasValidSigns(bad)) << bad[1] << " " << bad[2] << " " << bad[3];
    }
}

TEST(ClassicalSigns, KnowPairsWithoutAttraction) {
    EXPECT_TRUE(isNullPair({5.0f, 9.0e-7f, -9.0e-7f, 0.0f}));
    EXPECT_FALSE(isNullPair({5.0f, 1.1e-6f, 0.0f, 0.0f}));
    EXPECT_FALSE(isNullPair({5.0f, 0.0f, -1.1e-6f, 0.0f}));
    EXPECT_FALSE(isNullPair({5.0f, 0.0f, 0.0f, 1.1e-6f}));
}

TEST(ClassicalSigns, AreRepairedBeforeTheLastPositiveOne) {
    EXPECT_EQ(repairSigns({0.001f, -2, -3, 4}), (Coefs{0.01f, 0, 0, 4}));
    EXPECT_EQ(repairSigns({7, 2, -3, 4}), (Coefs{7, 2, 0, 4}));
    EXPECT_EQ(repairSigns({7, -2, 3, -4}), (Coefs{7, 0, 3, -4}));
    EXPECT_EQ(repairSigns({0, 2, -3, -4}), (Coefs{0.01f, 2, -3, -4}));
    EXPECT_EQ(repairSigns({7, -2, -3, 0}), (Coefs{0.01f, -2, -3, 0}));
}

} // namespace
} // namespace melta
