#include "sampling/NetworkElements.hpp"

#include "sampling/TextFixture.hpp"

namespace melta::test {
namespace {

using Names = std::vector<std::string>;

class NetworkElementsTest : public TextFixture {
protected:
    static Names namesOf(const std::string& text) {
        writeTextFile("melta.gdist", text);
        return readNetworkElements("melta.gdist");
    }

    static std::string messageOf(const std::string& text) {
        return stopMessageOf([&text] { namesOf(text); });
    }
};

TEST_F(NetworkElementsTest, NamesBeforeTheCounts) {
    const std::string text = "3 2 1\nSi 0.5 -1\n  O 0.5 -1\nSi345678 1 0\n 1\n 2\n";

    EXPECT_EQ(namesOf(text), (Names{"Si", "O", "Si345678"}));
    EXPECT_EQ(namesOf(withCarriageReturns(text)), (Names{"Si", "O", "Si345678"}));
    EXPECT_EQ(namesOf("1\nSi"), Names{"Si"});
}

TEST_F(NetworkElementsTest, NoFile) {
    EXPECT_EQ(stopMessageOf([] { readNetworkElements("melta.gdist"); }), "cannot open file: melta.gdist");
}

TEST_F(NetworkElementsTest, NumberOfElements) {
    EXPECT_EQ(messageOf(""), "cannot read #elements: melta.gdist");
    for (const std::string count : {"", "x", "0", "-1", "3000000000"}) {
        EXPECT_EQ(messageOf(count + "\nSi\n"), "incorrect #elements: melta.gdist") << count;
    }
}

TEST_F(NetworkElementsTest, NamesOfElements) {
    EXPECT_EQ(messageOf("1"), "cannot read name of element: melta.gdist");
    EXPECT_EQ(messageOf("2\nSi\n"), "cannot read name of element: melta.gdist");
    EXPECT_EQ(messageOf("2000000000\nSi\n"), "cannot read name of element: melta.gdist");
    for (const std::string bad : {"", " \t", "Si3456789 1 0"}) {
        EXPECT_EQ(messageOf("2\nSi\n" + bad + "\n"), "incorrect name of element: melta.gdist") << bad;
    }
}

TEST_F(NetworkElementsTest, ExactNameComesFirst) {
    const Names network = {"Si", "Si1", "O"};

    EXPECT_EQ(findNetworkElements(Names{"O", "Si1", "Si", "Si2", "O_1", "Si+x"}, network),
              (Names{"O", "Si1", "Si", "Si", "O", "Si"}));
    EXPECT_EQ(findNetworkElements(Names{}, network), Names{});
}

TEST_F(NetworkElementsTest, OnlyTheNameOfTheInputIsReduced) {
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
