// The file of configurations about which the committee disagrees.
#include "lammps/PairStyleFixture.hpp"

#include <regex>
#include <sstream>

namespace melta::test {
namespace {

struct Frame {
    std::string head;
    HostCell cell;
    std::vector<double> spreads; // [n]
};

std::vector<double> numbersOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<double> numbers;
    for (double number = 0.0; stream >> number;) {
        numbers.push_back(number);
    }
    return numbers;
}

std::vector<Frame> readFrames(const std::string& file) {
    std::istringstream stream(readTextFile(file));
    std::vector<Frame> frames;
    for (std::string line; std::getline(stream, line);) {
        Frame frame;
        std::getline(stream, frame.head);
        std::smatch lattice;
        EXPECT_TRUE(std::regex_search(frame.head, lattice, std::regex("^Lattice=\"([^\"]*)\" ")));
        const std::vector<double> vectors = numbersOf(lattice[1]);
        EXPECT_EQ(vectors.size(), frame.cell.cell.size());
        std::ranges::copy(vectors, frame.cell.cell.begin());
        for (std::size_t i = std::stoul(line); i > 0 && std::getline(stream, line); --i) {
            const std::size_t gap = line.find(' ');
            const std::vector<double> numbers = numbersOf(line.substr(gap));
            EXPECT_EQ(numbers.size(), 4U) << line;
            frame.cell.labels.push_back(line.substr(0, gap));
            frame.cell.positions.insert(frame.cell.positions.end(), numbers.begin(), numbers.begin() + 3);
            frame.spreads.push_back(numbers[3]);
        }
        frames.push_back(frame);
    }
    return frames;
}

class DumpTest : public PairStyleFixture {
protected:
    [[nodiscard]] LammpsRun runOfLimit(const std::string& forceField, const std::string& limit,
                                       const std::string& more = "") const {
        HostCell cell = cubicCell();
        cell.cell[3] = 0.45 * cell.cell[0];
        cell.cell[6] = -0.4 * cell.cell[0];
        cell.cell[7] = 0.35 * cell.cell[4];
        return runOf(cell, "pair_style melta spread 1 " + limit + "\npair_coeff * * " + forceField +
                               " O Si\nneighbor 0.6 bin\n" + more);
    }
};

TEST_F(DumpTest, HoldsTheConfiguration) {
    const std::string forceField = exportBaseline("zbl");
    const Potential potential = Potential::read(forceField);
    std::string ofOneProcess;
    for (const int ranks : {1, 2, 4}) {
        std::remove("found.xyz");
        // The corner of the cell is not the origin.
        LammpsRun run = runOfLimit(forceField, "warn 1.0e-6 dump found.xyz",
                                   "change_box all z delta -30.0 -30.0 units box\n");
        run.numRanks = ranks;

        const auto outcome = run.run();

        ASSERT_EQ(outcome.status, 0) << outcome.output;
        const std::vector<Frame> frames = readFrames("found.xyz");
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(frames[0].cell.labels, run.cell.labels);
        expectSame(evaluate(potential, frames[0].cell), evaluate(potential, run.cell));
        for (std::size_t z = 2; z < frames[0].cell.positions.size(); z += 3) {
            EXPECT_GE(frames[0].cell.positions[z], 0.0);
            EXPECT_LE(frames[0].cell.positions[z], frames[0].cell.cell[8]);
        }
        const double largest = std::ranges::max(frames[0].spreads);
        EXPECT_NEAR(numberBehind(frames[0].head, "largest_force_spread="), largest, 1.0e-5 * largest);
        EXPECT_NEAR(numberBehind(outcome.output, "largest spread of forces"), largest, 1.0e-3 * largest);
        EXPECT_NE(frames[0].head.find(" step=0 "), std::string::npos) << frames[0].head;
        EXPECT_NE(frames[0].head.find("pbc=\"T T T\""), std::string::npos) << frames[0].head;
        if (ranks == 1) {
            ofOneProcess = readTextFile("found.xyz");
        }
        EXPECT_EQ(readTextFile("found.xyz").substr(0, 200), ofOneProcess.substr(0, 200));
    }
}

TEST_F(DumpTest, TakesWhatExceedsTheLimit) {
    const std::string forceField = exportKind("cluster");
    const std::string move = "mass * 20.0\nvelocity all create 300 1\nfix 1 all nve\nrun 4\n";

    const auto none = runOfLimit(forceField, "warn 1.0e6 dump none.xyz", move).run();
    const auto each = runOfLimit(forceField, "warn 1.0e-9 dump each.xyz", move).run();
    const auto ended = runOfLimit(forceField, "stop 1.0e-9 dump ended.xyz", move).run();

    ASSERT_EQ(none.status, 0) << none.output;
    EXPECT_EQ(readTextFile("none.xyz"), "");
    ASSERT_EQ(each.status, 0) << each.output;
    const std::vector<Frame> frames = readFrames("each.xyz");
    // One more for the "run 0" behind it.
    ASSERT_EQ(frames.size(), 6U);
    for (std::size_t step = 0; step < 5; ++step) {
        EXPECT_EQ(numberBehind(frames[step].head, " step="), static_cast<double>(step));
    }
    EXPECT_NE(frames[0].cell.positions, frames[4].cell.positions);
    EXPECT_EQ(frames[4].cell.positions, frames[5].cell.positions);
    EXPECT_EQ(ended.status, 1) << ended.output;
    EXPECT_EQ(readFrames("ended.xyz").size(), 1U);
}

TEST_F(DumpTest, LeavesEarlierFramesInPlace) {
    const std::string forceField = exportKind("cluster");
    const LammpsRun run = runOfLimit(forceField, "warn 1.0e-9 dump found.xyz");

    const auto first = run.run();
    const auto second = run.run();

    ASSERT_EQ(first.status, 0) << first.output;
    ASSERT_EQ(second.status, 0) << second.output;
    EXPECT_EQ(readFrames("found.xyz").size(), 2U);
}

} // namespace
} // namespace melta::test
