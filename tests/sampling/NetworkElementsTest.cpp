#include "sampling/NetworkElements.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta::test {
namespace {

using Names = std::vector<std::string>;

TEST(NetworkElementsTest, ExactNameComesFirst) {
    const Names network = {"Si", "Si1", "O"};

    EXPECT_EQ(findNetworkElements(Names{"O", "Si1", "Si", "Si2", "O_1", "Si+x"}, network),
              (Names{"O", "Si1", "Si", "Si", "O", "Si"}));
    EXPECT_EQ(findNetworkElements(Names{}, network), Names{});
}

TEST(NetworkElementsTest, OnlyTheNameOfTheInputIsReduced) {
    const auto messageFor = [](const std::string& name, const std::string& networkName) {
        return stopMessageOf([&] { findNetworkElements(Names{name}, Names{networkName}); });
    };

    EXPECT_EQ(messageFor("Si", "Si1"), "the neural network does not have the element: Si");
    EXPECT_EQ(messageFor("Si2", "Si1"), "the neural network does not have the element: Si2");
    EXPECT_EQ(messageFor("si", "Si"), "the neural network does not have the element: si");
    EXPECT_EQ(messageFor("S", "Si"), "the neural network does not have the element: S");
    EXPECT_EQ(messageFor("12", "Si"), "the neural network does not have the element: 12");
}

} // namespace
} // namespace melta::test
