#include "sampling/MetropolisReader.hpp"

#include "sampling/TextFixture.hpp"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace fs = std::filesystem;

namespace melta::test {
namespace {

const std::string geometryCard = "GEOMETRY\n3\n4 0 0\n0 5 0\n0 0 6\nO 1 2 3 fix\nX 1 1 1\nSi1 4 5 6\n";
const std::string swappingCard = "SWAPPING\n2\nSi1 O 1000\nO X\n";

class MetropolisReaderTest : public TextFixture {
protected:
    MetropolisReaderTest() { writeTextFile("melta.gdist", "2 10 1\nSi 0.5 0\nO 0.5 0\n"); }

    MetropolisInput read(const std::string& text) {
        writeTextFile("melta.metro", text);
        MetropolisReader("melta.metro", "melta.gdist", "start").read(input);
        return input;
    }

    std::string messageOf(const std::string& text) {
        return stopMessageOf([this, &text] { read(text); });
    }

    MetropolisInput input;
};

void expectCards(const MetropolisInput& input) {
    EXPECT_EQ(input.numAtoms, 2);
    EXPECT_EQ(input.fixAtoms, (std::vector<std::int32_t>{1, 0}));
    EXPECT_EQ(input.elemAtoms, (std::vector<std::int32_t>{0, 1}));
    EXPECT_EQ(input.numElems, 2);
    EXPECT_EQ(input.elemNames, (std::vector<std::string>{"O", "Si1"}));
    EXPECT_EQ(input.numVacancies, 1);
    EXPECT_EQ(input.vacancyCoords, (std::vector<float>{1, 1, 1}));
    EXPECT_EQ(input.numSwaps, 2);
    EXPECT_EQ(input.swapPairs, (std::vector<std::array<std::string, 2>>{{"Si1", "O"}, {"O", "X"}}));
    EXPECT_EQ(input.swapTemps, (std::vector<float>{1000, -1}));
}

TEST_F(MetropolisReaderTest, CardsInEitherOrder) {
    expectCards(read(geometryCard + swappingCard));
    expectCards(read(swappingCard + geometryCard));
}

TEST_F(MetropolisReaderTest, StartHoldsTheAtomsAsTheNetworkCallsThem) {
    read(geometryCard);

    const std::string text = readTextFile("start");
    EXPECT_TRUE(text.starts_with("2 0 0.00000000e+00\n")) << text;
    EXPECT_NE(text.find("\nO 1.88972616e+00 "), std::string::npos) << text;
    EXPECT_NE(text.find("\nSi 7.55890465e+00 "), std::string::npos) << text;
}

TEST_F(MetropolisReaderTest, GeometryAlone) {
    const MetropolisInput defaults;

    read(geometryCard);

    EXPECT_EQ(input.maxSteps, defaults.maxSteps);
    EXPECT_EQ(input.withShift, 1);
    EXPECT_EQ(input.temperature, defaults.temperature);
    EXPECT_EQ(input.numSwaps, 0);
}

TEST_F(MetropolisReaderTest, HeadWithCommentsAndRepeatedKeys) {
    read("\n  # temperature 1\n!comment\n#\n\t\nnumGeoms 5\ntemperature 400\n  numGeoms 6 ! six\n" +
         geometryCard);

    EXPECT_EQ(input.numGeoms, 6);
    EXPECT_EQ(input.temperature, 400.0f);
}

TEST_F(MetropolisReaderTest, CommentsBetweenTheCards) {
    expectCards(read(geometryCard + "\n#SWAPPING\n ! x\n\n" + swappingCard + "\n# end\n"));
}

TEST_F(MetropolisReaderTest, NoCommentsWithinACard) {
    EXPECT_EQ(messageOf("GEOMETRY\n# atoms\n1\n"), "incorrect #atom: melta.metro");
    EXPECT_EQ(messageOf("GEOMETRY\n1\n\n4 0 0\n"), "incorrect lattice: melta.metro");
    EXPECT_EQ(messageOf("SWAPPING\n\n1\n"), "incorrect #swapping: melta.metro");
}

TEST_F(MetropolisReaderTest, TextBehindTheWordOfACard) {
    read("maxSteps 7\nGEOMETRY of a crystal" + geometryCard.substr(8));

    EXPECT_EQ(input.maxSteps, 7);
    EXPECT_EQ(input.numAtoms, 2);
}

TEST_F(MetropolisReaderTest, LineEnds) {
    const std::string text = "maxSteps 7\n\n" + geometryCard + "\n" + swappingCard;
    for (const std::string& written : {withoutLastCharacter(text), withCarriageReturns(text),
                                       withoutLastCharacter(withCarriageReturns(text))}) {
        input = {};
        expectCards(read(written));
        EXPECT_EQ(input.maxSteps, 7);
    }
}

TEST_F(MetropolisReaderTest, LongLinesAreReadWhole) {
    read("# " + std::string(1000, 'x') + " maxSteps 3\nmaxSteps " + std::string(1000, ' ') + "7\n" +
         geometryCard);

    EXPECT_EQ(input.maxSteps, 7);
}

TEST_F(MetropolisReaderTest, UnknownWords) {
    EXPECT_EQ(messageOf("Geometry\n"), "unknown key word: Geometry");
    EXPECT_EQ(messageOf("maxSteps 1\nnumAtoms 1\n"), "unknown key word: numAtoms");
    EXPECT_EQ(messageOf(geometryCard + "maxSteps 1\n"), "unknown key card: maxSteps");
    EXPECT_EQ(messageOf(geometryCard + "O 1 2 3\n"), "unknown key card: O");
    EXPECT_EQ(messageOf(geometryCard + "\n" + geometryCard), "unknown key card: GEOMETRY");
    EXPECT_EQ(messageOf(swappingCard + swappingCard), "unknown key card: SWAPPING");
    EXPECT_EQ(messageOf(swappingCard + geometryCard + swappingCard), "unknown key card: SWAPPING");
}

TEST_F(MetropolisReaderTest, NoGeometry) {
    EXPECT_EQ(messageOf(""), "there is not GEOMETRY: melta.metro");
    EXPECT_EQ(messageOf("maxSteps 1\n# GEOMETRY\n"), "there is not GEOMETRY: melta.metro");
    EXPECT_EQ(messageOf(swappingCard), "there is not GEOMETRY: melta.metro");
    EXPECT_EQ(messageOf("withShift 0\n"), "there is not GEOMETRY: melta.metro");
}

TEST_F(MetropolisReaderTest, NoMoves) {
    EXPECT_EQ(messageOf("withShift 0\n" + geometryCard),
              "there are not atomic shift nor swapping: melta.metro");
    expectCards(read("withShift 0\n" + swappingCard + geometryCard));
}

TEST_F(MetropolisReaderTest, NoFile) {
    EXPECT_EQ(stopMessageOf([] { MetropolisReader("melta.metro", "melta.gdist", "start"); }),
              "cannot open file: melta.metro");
}

TEST_F(MetropolisReaderTest, DistributionsComeAfterTheAtoms) {
    fs::remove("melta.gdist");

    EXPECT_EQ(messageOf("GEOMETRY\n1\n4 0 0\n0 5 0\n0 0 6\nX 1 2 3\n"),
              "there are no real atoms: melta.metro");
    EXPECT_EQ(messageOf(geometryCard), "cannot open file: melta.gdist");
    EXPECT_FALSE(fs::exists("start"));
}

TEST_F(MetropolisReaderTest, ElementThatTheNetworkLacks) {
    writeTextFile("melta.gdist", "1 10 1\nSi 0.5 0\n");

    EXPECT_EQ(messageOf(geometryCard), "the neural network does not have the element: O");
    EXPECT_FALSE(fs::exists("start"));
}

// A vacancy is nothing that a network knows.
TEST_F(MetropolisReaderTest, NetworkNeedNotKnowVacancies) {
    writeTextFile("melta.gdist", "1 10 1\nO 0.5 0\n");

    EXPECT_EQ(read("GEOMETRY\n2\n4 0 0\n0 5 0\n0 0 6\nO 1 2 3\nX 1 2 3\n").numVacancies, 1);
}

// Wherever a file ends, it is read or refused with a message of its own.
TEST_F(MetropolisReaderTest, EveryCut) {
    const std::string text = "maxSteps 20\nshiftCoord 5\n" + swappingCard + "\n" + geometryCard;
    const std::vector<std::string> beginnings = {"(no stop)",          "unknown key ",       "incorrect ",
                                                 "cannot read ",       "there is ",          "same-element ",
                                                 "there are no real ", "the neural network "};
    for (std::size_t size = 0; size <= text.size(); ++size) {
        const std::string message = messageOf(text.substr(0, size));

        EXPECT_TRUE(std::ranges::any_of(
            beginnings, [&message](const std::string& begin) { return message.starts_with(begin); }))
            << size << ": " << message;
        EXPECT_EQ(message == "(no stop)", size + 1 >= text.size()) << size << ": " << message;
    }
}

} // namespace
} // namespace melta::test
