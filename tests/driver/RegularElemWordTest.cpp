#include "driver/RegularElemWord.hpp"

#include "support/StopCatcher.hpp"

#include <vector>

namespace melta {
namespace {

using test::stopMessageOf;
using Words = std::vector<std::string>;

TEST(RegularElemWord, ReducesLabelsUnlessTheWordIsZero) {
    EXPECT_TRUE(readRegularElem(Words{"--test"}, 1));
    EXPECT_TRUE(readRegularElem(Words{"--test", "1"}, 1));
    EXPECT_TRUE(readRegularElem(Words{"--test", "-2"}, 1));
    EXPECT_FALSE(readRegularElem(Words{"--test", "0"}, 1));
}

TEST(RegularElemWord, LooksAtItsOwnWordOnly) {
    EXPECT_TRUE(readRegularElem(Words{"--force", "0"}, 2));
    EXPECT_FALSE(readRegularElem(Words{"--force", "x", "0", "1"}, 2));
}

TEST(RegularElemWord, RefusesWhatIsNoNumber) {
    EXPECT_EQ(stopMessageOf([] {
                  readRegularElem(Words{"--test", "x"}, 1);
              }),
              "cannot read the value of the regularElem.");
    EXPECT_EQ(stopMessageOf([] {
                  readRegularElem(Words{"--test", ""}, 1);
              }),
              "cannot read the value of the regularElem.");
}

} // namespace
} // namespace melta
