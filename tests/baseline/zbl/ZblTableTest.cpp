#include "baseline/zbl/ZblTable.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

TEST(ZblTableTest, LabelsThatNameNoElementTakeNoPart) {
    const std::vector<std::string> others{"O", "Xx", "H2"};
    const std::vector<ZblRadii> known{{"O", "O", 0.9, 1.9}, {"H2", "O", 0.5, 1.5}, {"H2", "H2", 0.4, 1.2}};

    const ZblTable table(others, known, 3.0, "melta.zbl");

    EXPECT_GT(evaluateZbl(table.pairOf(2, 0), 0.7).energy, 0.0);
    EXPECT_EQ(evaluateZbl(table.pairOf(2, 0), 0.7).energy, evaluateZbl(table.pairOf(0, 2), 0.7).energy);
    for (const std::size_t other : {0U, 1U, 2U}) {
        EXPECT_EQ(evaluateZbl(table.pairOf(1, other), 0.7).energy, 0.0);
        EXPECT_EQ(evaluateZbl(table.pairOf(other, 1), 0.7).energy, 0.0);
    }
    EXPECT_EQ(table.getReach(), 1.9);
}

TEST(ZblTableTest, PairsHaveToBeThereAndWithinTheLists) {
    const StopCatcher catcher;

    const std::vector<std::string> labels{"O", "H"};
    const std::vector<ZblRadii> entries{{"O", "O", 0.9, 2.9}, {"H", "H", 0.4, 1.2}};

    EXPECT_EQ(stopMessageOf([&] { const ZblTable table(labels, entries, 3.0, "z"); }),
              "there are no radii of ZBL for O and H: z");
    EXPECT_EQ(stopMessageOf([&] { const ZblTable table(labels, entries, 2.8, "z"); }),
              "radii of ZBL for O and O exceed the cutoff of symmetry functions: z");
}

} // namespace
} // namespace melta::test
