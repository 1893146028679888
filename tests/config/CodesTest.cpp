#include "config/Codes.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

TEST(CodesTest, CodesKeepTheNumbersOfTheNetworkFile) {
    EXPECT_EQ(findWord(activationNames, "asis")->code, 1);
    EXPECT_EQ(findWord(activationNames, "sigmoid")->code, 2);
    EXPECT_EQ(findWord(activationNames, "tanh")->code, 3);
    EXPECT_EQ(findWord(activationNames, "eLU")->code, 4);
    EXPECT_EQ(findWord(activationNames, "twtanh")->code, 5);
    EXPECT_EQ(findWord(activationNames, "GELU")->code, 6);
    EXPECT_EQ(findWord(lineSearchNames, "more-thuente")->code, 0);
    EXPECT_EQ(findWord(lineSearchNames, "armijo")->code, 1);
    EXPECT_EQ(findWord(lineSearchNames, "wolfe")->code, 2);
    EXPECT_EQ(findWord(lineSearchNames, "strong-wolfe")->code, 3);
}

TEST(CodesTest, EntriesAreFoundByCode) {
    EXPECT_STREQ(findCode(activationNames, Activation::GELU)->word, "GELU");
    EXPECT_STREQ(findCode(lineSearchNames, LineSearch::moreThuente)->title, "More-Thuente");
}

TEST(CodesTest, UnknownCodesAndWordsAreNull) {
    EXPECT_EQ(findCode(activationNames, 0), nullptr);
    EXPECT_EQ(findCode(activationNames, 7), nullptr);
    EXPECT_EQ(findWord(activationNames, "gelu"), nullptr);
    EXPECT_EQ(findWord(activationNames, ""), nullptr);
}

} // namespace
} // namespace melta::test
