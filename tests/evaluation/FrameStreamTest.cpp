#include "evaluation/FrameStream.hpp"

#include "potential/PotentialFixture.hpp"
#include "structure/io/ExtxyzReader.hpp"

#include <filesystem>
#include <omp.h>

namespace melta {
namespace {

class FrameStreamTest : public test::PotentialFixture {
protected:
    FrameStreamTest() { makeModel(); }

    // Frames of two atoms, each with another distance.
    static std::string textOf(int numFrames) {
        std::string text;
        for (int i = 0; i < numFrames; ++i) {
            text += "2\nnumber=" + std::to_string(i) + "\nSi 0 0 0\nO 0 0 " + std::to_string(1.5 + 0.01 * i) +
                    "\n";
        }
        return text;
    }

    StreamSummary run(const std::string& text) {
        test::writeTextFile(input, text);
        return FrameStream(Potential::load(directory.path()), input).run(output);
    }

    std::string stopOf(const std::string& text) {
        return test::stopMessageOf([&] { run(text); });
    }

    std::string input = file("in.xyz");
    std::string output = file("out.xyz");
};

TEST_F(FrameStreamTest, KeepsTheOrderWithAnyNumberOfThreads) {
    const int numThreads = omp_get_max_threads();
    constexpr int numFrames = 400; // more than are held at once
    std::vector<std::string> texts;
    for (const int count : {1, 3}) {
        omp_set_num_threads(count);
        const StreamSummary summary = run(textOf(numFrames));
        EXPECT_EQ(summary.geometries, numFrames);
        EXPECT_EQ(summary.atoms, 2 * numFrames);
        texts.push_back(test::readTextFile(output));
    }
    omp_set_num_threads(numThreads);

    EXPECT_EQ(texts[0], texts[1]);
    ExtxyzReader reader(output, ExtxyzReader::Reference::read);
    ExtxyzFrame frame;
    for (int i = 0; i < numFrames; ++i) {
        ASSERT_TRUE(reader.next(frame, i));
        EXPECT_EQ(*frame.comment.find("number"), std::to_string(i));
        EXPECT_EQ(frame.forces.size(), 6U);
        EXPECT_DOUBLE_EQ(frame.positions[5], 1.5 + 0.01 * i);
    }
    EXPECT_FALSE(reader.next(frame, numFrames));
}

TEST_F(FrameStreamTest, MayWriteOverItsInput) {
    output = input;

    EXPECT_EQ(run(textOf(2)).geometries, 2);

    EXPECT_NE(test::readTextFile(input).find("energy="), std::string::npos);
}

TEST_F(FrameStreamTest, TellsTheFirstFault) {
    const std::string tiny = "1\nLattice=\"0.1 0 0 0 0.1 0 0 0 0.1\"\nSi 0 0 0\n";

    EXPECT_EQ(stopOf(textOf(3) + tiny + tiny),
              "the frame of line 13 cannot be evaluated (volume of lattice is zero): " + input);
    EXPECT_EQ(stopOf(textOf(1) + "1\n\nFe 0 0 0\n"),
              "element that the model does not know in line 7: " + input);
    EXPECT_EQ(stopOf("\n"), "there are no geometries: " + input);
}

} // namespace
} // namespace melta
