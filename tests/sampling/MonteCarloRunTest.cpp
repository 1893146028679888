#include "base/FieldScanner.hpp"
#include "sampling/NNMetropolis.hpp"
#include "sampling/TrainedModel.hpp"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

namespace melta::test {
namespace {

const std::string geometryCard = "GEOMETRY\n4\n"
                                 "4.9 0 0\n0 4.9 0\n0 0 4.9\n"
                                 "Si 0.1 0.1 0.1 fix\nO 2.5 0.1 0.2\nSi1 0.2 2.4 0.1\nX 2.4 2.5 2.5\n";
const std::string pairs = "SWAPPING\n2\nO Si1 5000\nX O\n";

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> linesWith(const std::string& text, const std::string& part) {
    std::vector<std::string> lines = linesOf(text);
    std::erase_if(lines, [&part](const std::string& line) { return line.find(part) == std::string::npos; });
    return lines;
}

int countFiles(const std::string& directoryName) {
    return static_cast<int>(std::distance(fs::directory_iterator(directoryName), fs::directory_iterator()));
}

// A whole walk from its input file on.
class MonteCarloRun : public TrainedModel {
protected:
    std::string walk(const std::string& head, const std::string& cards) {
        NNMetropolis sampler(&property);
        return outputOf([&] {
            read(sampler, head + cards);
            perform(sampler);
        });
    }

    static void read(NNMetropolis& sampler, const std::string& text) {
        writeTextFile("melta.metro", text);
        sampler.readMetropolisFile("melta.metro", "melta.train", "melta.gdist");
    }

    static void perform(NNMetropolis& sampler) {
        sampler.performMonteCarlo("melta.data", "melta.class", "melta.gdist");
    }

    // What the walk alone says, without the summary of its input, and how it stops.
    std::string stopOf(const std::string& text, std::string* output = nullptr) {
        NNMetropolis sampler(&property);
        std::string message;
        outputOf([&] { read(sampler, text); });
        const std::string all = outputOf([&] { message = stopMessageOf([&] { perform(sampler); }); });
        if (output != nullptr) {
            *output = all;
        }
        return message;
    }
};

TEST_F(MonteCarloRun, TellsTheStepsAndTheCounts) {
    const std::string output = walk("maxSteps 21\nunknownGeoms 0\nnumGeoms 1000\n", geometryCard + pairs);

    const std::vector<std::string> steps = linesWith(output, "  #.");
    ASSERT_EQ(steps.size(), 3U) << output;
    EXPECT_TRUE(steps[0].starts_with("  #.       1  Energy:"));
    EXPECT_TRUE(steps[1].starts_with("  #.      11  Energy:"));
    EXPECT_TRUE(steps[2].starts_with("  #.      21  Energy:"));
    EXPECT_NE(output.find("  * Read distributions of symmetry functions.\n\n  Monte Carlo:\n\n  #.       1 "),
              std::string::npos)
        << output;
    EXPECT_NE(output.find("\n\n  Accepted / Total Geometries:\n    Atomic Shift         =>"),
              std::string::npos)
        << output;
    EXPECT_EQ(linesWith(output, "    O     <-->    Si1    =>").size(), 1U);
    EXPECT_EQ(linesWith(output, "    X     <-->    O      =>").size(), 1U);
    EXPECT_TRUE(linesOf(output).at(linesOf(output).size() - 2).starts_with("  * Wall time: 0d 0h 0m "));
    int sum = 0;
    for (const std::string& line : linesWith(output, " =>")) {
        sum += std::stoi(line.substr(line.find('/') + 1));
    }
    EXPECT_EQ(sum, 21);
}

TEST_F(MonteCarloRun, LeavesTheGeometriesItHasCounted) {
    const std::string output = walk("maxSteps 60\nunknownGeoms 0\ntemperature 3000\n", geometryCard + pairs);

    int numAccepted = 0;
    for (const std::string& line : linesWith(output, " =>")) {
        numAccepted += std::stoi(line.substr(line.find("=>") + 2));
    }
    ASSERT_GT(numAccepted, 5);
    EXPECT_EQ(countFiles("dft_geom"), numAccepted);
    for (int n = 1; n <= numAccepted; ++n) {
        EXPECT_EQ(linesOf(readTextFile("dft_geom/geom." + std::to_string(n))).size(), 10U) << n;
    }
    EXPECT_EQ(linesOf(readTextFile("movie/metro_1.xyz")).size(), 5U * static_cast<std::size_t>(numAccepted));
    EXPECT_FALSE(fs::exists(".metropolis.geom"));
}

// The cards spell elements as the network does, the movie as the user.
TEST_F(MonteCarloRun, NamesOfTheElements) {
    walk("maxSteps 1\nunknownGeoms 0\ntemperature 1e12\n", geometryCard);

    const std::vector<std::string> cards = linesOf(readTextFile("dft_geom/geom.1"));
    const std::vector<std::string> frame = linesOf(readTextFile("movie/metro_1.xyz"));
    ASSERT_EQ(cards.size(), 10U);
    ASSERT_EQ(frame.size(), 5U);
    EXPECT_EQ(frame[0], "3");
    EXPECT_TRUE(cards[6].starts_with("  Si     "));
    EXPECT_TRUE(cards[7].starts_with("  O      "));
    EXPECT_TRUE(cards[8].starts_with("  Si     "));
    EXPECT_EQ(cards[9], "");
    EXPECT_TRUE(frame[4].starts_with("  Si1    "));
    EXPECT_EQ(frame[4].substr(8), cards[8].substr(8));
}

TEST_F(MonteCarloRun, FixedAtomsStay) {
    walk("maxSteps 100\nunknownGeoms 0\ntemperature 3000\n", geometryCard + pairs);

    for (const std::string& line : linesWith(readTextFile("movie/metro_1.xyz"), "  Si  ")) {
        EXPECT_EQ(line, "  Si       0.100000   0.100000   0.100000");
    }
}

TEST_F(MonteCarloRun, StopsWithTheLastGeometry) {
    const std::string output =
        walk("maxSteps 1000\nnumGeoms 3\nunknownGeoms 0\ntemperature 1e12\n", geometryCard);

    const std::vector<std::string> steps = linesWith(output, "  #.");
    ASSERT_EQ(steps.size(), 2U) << output;
    EXPECT_TRUE(steps[0].ends_with("#GEOM:     1 /     3")) << steps[0];
    EXPECT_TRUE(steps[1].starts_with("  #.       3 ")) << steps[1];
    EXPECT_TRUE(steps[1].ends_with("#GEOM:     3 /     3")) << steps[1];
    EXPECT_EQ(linesWith(output, "Atomic Shift         =>").at(0),
              "    Atomic Shift         =>     3 /     3");
    EXPECT_EQ(countFiles("dft_geom"), 3);
}

TEST_F(MonteCarloRun, NothingFoundLeavesEmptyDirectories) {
    const std::string output = walk("maxSteps 5\nupperEnergy 1e-30\nlowerEnergy 1e-30\n", geometryCard);

    EXPECT_EQ(linesWith(output, "Atomic Shift         =>").at(0),
              "    Atomic Shift         =>     0 /     5");
    EXPECT_EQ(countFiles("dft_geom"), 0);
    EXPECT_EQ(countFiles("movie"), 0);
}

TEST_F(MonteCarloRun, OldFilesWithHigherNumbersStay) {
    fs::create_directories("dft_geom");
    fs::create_directories("movie");
    writeTextFile("dft_geom/geom.1", "older\n");
    writeTextFile("dft_geom/geom.2", "older\n");
    writeTextFile("movie/metro_1.xyz", "older\n");

    walk("maxSteps 9\nnumGeoms 1\nunknownGeoms 0\ntemperature 1e12\n", geometryCard);

    EXPECT_TRUE(readTextFile("dft_geom/geom.1").starts_with("CELL_PARAMETERS"));
    EXPECT_EQ(readTextFile("dft_geom/geom.2"), "older\n");
    EXPECT_TRUE(readTextFile("movie/metro_1.xyz").starts_with("3\nLattice:"));
}

TEST_F(MonteCarloRun, InitialShiftTakesMobileAtomsAndVacancies) {
    NNMetropolis sampler(&property);
    std::vector<float> vacancy;

    outputOf([&] {
        read(sampler, "maxSteps 1\nshiftCoord 1e-6\nunknownGeoms 0\ntemperature 1e12\n" + geometryCard);
        vacancy = sampler.input.vacancyCoords;
        perform(sampler);
    });

    const std::vector<std::string> atoms = linesOf(readTextFile("movie/metro_1.xyz"));
    EXPECT_EQ(atoms.at(2), "  Si       0.100000   0.100000   0.100000");
    EXPECT_NE(atoms.at(3), "  O        2.500000   0.100000   0.200000");
    EXPECT_NE(atoms.at(4), "  Si1      0.200000   2.400000   0.100000");
    EXPECT_NE(sampler.input.vacancyCoords, vacancy);
}

// The move is much too small to be seen in the energy, and the initial shift is not.
TEST_F(MonteCarloRun, EnergiesAreMeasuredFromTheStartAfterTheInitialShift) {
    const std::string output = walk("maxSteps 1\nshiftCoord 1e-7\nshiftCoordInit 0.5\n", geometryCard);

    const std::string step = linesWith(output, "  #.").at(0);
    const std::string energy = "Energy:";
    EXPECT_LE(std::abs(std::stod(step.substr(step.find(energy) + energy.size()))), 1.0e-3) << step;
}

TEST_F(MonteCarloRun, NoInitialShiftOnRequest) {
    for (const char* const head : {"shiftInit 0\nshiftCoord 1e-7\n", "withShift 0\n"}) {
        NNMetropolis sampler(&property);
        outputOf([&] {
            read(sampler, std::string(head) + "maxSteps 1\nunknownGeoms 0\ntemperature 1e12\n" +
                              "SWAPPING\n1\nX O\n" + geometryCard);
            perform(sampler);
        });

        const std::string movie = readTextFile("movie/metro_1.xyz");
        EXPECT_NE(movie.find("  Si1      0.200000   2.400000   0.100000\n"), std::string::npos) << movie;
    }
}

// Without shifts and with one pair of single places nothing is left to chance.
TEST_F(MonteCarloRun, AnAtomAndAVacancyChangePlaces) {
    NNMetropolis sampler(&property);

    outputOf([&] {
        read(sampler,
             "withShift 0\nmaxSteps 3\nunknownGeoms 0\ntemperature 1e12\nSWAPPING\n1\nX O\n" + geometryCard);
        perform(sampler);
    });

    const std::vector<std::string> oxygen = linesWith(readTextFile("movie/metro_1.xyz"), "  O  ");
    EXPECT_EQ(oxygen, (std::vector<std::string>{"  O        2.400000   2.500000   2.500000",
                                                "  O        2.500000   0.100000   0.200000",
                                                "  O        2.400000   2.500000   2.500000"}));
    EXPECT_LE(std::abs(sampler.input.vacancyCoords[0] - 2.5f), 1.0e-6f);
    EXPECT_LE(std::abs(sampler.input.vacancyCoords[1] - 0.1f), 1.0e-6f);
    EXPECT_LE(std::abs(sampler.input.vacancyCoords[2] - 0.2f), 1.0e-6f);
}

TEST_F(MonteCarloRun, OnlyUnknownGeometriesByDefault) {
    const std::string output = walk("maxSteps 1\ntemperature 1e12\n", geometryCard);

    const std::string step = linesWith(output, "  #.").at(0);
    const bool isUnknown = step.find("Unknown: Yes") != std::string::npos;
    EXPECT_NE(step.find("Accept: Yes"), std::string::npos);
    EXPECT_EQ(countFiles("dft_geom"), isUnknown ? 1 : 0);
    EXPECT_TRUE(isUnknown) << "such a geometry is far from the few of the training";
}

TEST_F(MonteCarloRun, SameSeedSameWalk) {
    const auto run = [this] {
        sharedRandom().seed(5);
        const std::string output =
            walk("maxSteps 30\nunknownGeoms 0\ntemperature 3000\n", geometryCard + pairs);
        return output.substr(0, output.find("  * Wall time")) + readTextFile("movie/metro_1.xyz");
    };

    EXPECT_EQ(run(), run());
}

TEST_F(MonteCarloRun, ChargesAreIgnored) {
    std::string output = walk("maxSteps 1\n", geometryCard);
    EXPECT_EQ(output.find("Electrostatic"), std::string::npos);

    property.withCharge = 1;
    std::string head = readTextFile("melta.data");
    ASSERT_EQ(linesOf(head).at(2), "0");
    const std::string shape = linesOf(head).at(3);
    head.replace(head.find("\n0\n" + shape), 3, "\n1\n" + shape + "\n");
    writeTextFile("melta.data", head);
    output = walk("maxSteps 1\n", geometryCard);
    EXPECT_NE(output.find("  * Read distributions of symmetry functions.\n\n"
                          "  * Electrostatic interaction (or Atomic charge) is ignored !!\n\n"
                          "  Monte Carlo:\n\n"),
              std::string::npos)
        << output;
}

TEST_F(MonteCarloRun, NoMoves) {
    std::string output;
    EXPECT_EQ(stopOf(geometryCard + "SWAPPING\n1\nO N\n", &output),
              "a swapping element is not contained in the geometry: N");
    EXPECT_EQ(output.find("symmetry functions."), std::string::npos) << "too late";
    EXPECT_EQ(stopOf(geometryCard + "SWAPPING\n1\nO Si\n"), "all swapping atoms are fixed: Si");
    const std::string fixed = "GEOMETRY\n2\n5 0 0\n0 5 0\n0 0 5\nSi 0 0 0 fix\nX 2 2 2\n";
    EXPECT_EQ(stopOf(fixed + "SWAPPING\n1\nX Si\n"), "there are no mobile atoms.");
    EXPECT_EQ(stopOf("withShift 0\n" + fixed + "SWAPPING\n1\nX Si\n"), "all swapping atoms are fixed: Si");
    EXPECT_FALSE(fs::exists("dft_geom"));

    NNMetropolis sampler(&property);
    outputOf([&] { read(sampler, geometryCard); });
    sampler.input.withShift = 0;
    EXPECT_EQ(stopMessageOf([&] { outputOf([&] { perform(sampler); }); }),
              "there are not atomic shift nor swapping.");
}

TEST_F(MonteCarloRun, StartThatDoesNotFit) {
    NNMetropolis sampler(&property);
    outputOf([&] { read(sampler, geometryCard); });
    const std::string atom = " 0 0 0 0 0 0 0 0 0 0 0 0\n";
    const std::string cell = "9 0 0\n0 9 0\n0 0 9\n";
    const auto stopWith = [&](const std::string& text) {
        writeTextFile(".metropolis.geom", text);
        std::string message;
        outputOf([&] { message = stopMessageOf([&] { perform(sampler); }); });
        return message;
    };

    EXPECT_EQ(stopWith("2 0 0\n" + cell + "Si" + atom + "O" + atom), "incorrect number of atoms.");
    EXPECT_FALSE(fs::exists(".metropolis.geom"));
    EXPECT_EQ(stopWith(""), "there are no geometries: .metropolis.geom");
    EXPECT_TRUE(stopWith("2 0 0\n" + cell + "Si" + atom).ends_with(": .metropolis.geom"));
    fs::remove(".metropolis.geom");
    EXPECT_EQ(stopMessageOf([&] { outputOf([&] { perform(sampler); }); }),
              "cannot open file: .metropolis.geom");
}

TEST_F(MonteCarloRun, ModelThatIsNotThere) {
    const auto stopWith = [this](const std::string& fileName, const std::string& text) {
        NNMetropolis sampler(&property);
        outputOf([&] { read(sampler, geometryCard); });
        const std::string kept = readTextFile(fileName);
        fs::remove(fileName);
        if (!text.empty()) {
            writeTextFile(fileName, text);
        }
        std::string message;
        outputOf([&] { message = stopMessageOf([&] { perform(sampler); }); });
        writeTextFile(fileName, kept);
        return message;
    };

    EXPECT_EQ(stopWith("melta.data", ""), "cannot open file: melta.data");
    EXPECT_EQ(stopWith("melta.data_e", ""), "cannot open file: melta.data_e");
    EXPECT_EQ(stopWith("melta.gdist", ""), "cannot open file: melta.gdist");
    EXPECT_EQ(stopWith("melta.gdist", "2 10 1\nSi 0.5 0\nO 0.5 0\n"), "incorrect #basis: melta.gdist");
    EXPECT_FALSE(fs::exists("dft_geom"));
}

TEST_F(MonteCarloRun, BaselineThatIsNotThere) {
    property.withClassical = 1;
    std::string head = readTextFile("melta.data");
    ASSERT_TRUE(linesOf(head).at(0).ends_with(" 0"));
    head[head.find('\n') - 1] = '1';
    writeTextFile("melta.data", head);

    EXPECT_EQ(stopOf(geometryCard), "cannot open file: melta.class");
}

TEST_F(MonteCarloRun, PlacesThatCannotBeWritten) {
    fs::create_symlink("nowhere/at/all", "dft_geom");
    std::string output;
    EXPECT_EQ(stopOf("maxSteps 1\n" + geometryCard, &output), "cannot make directory: dft_geom");
    EXPECT_TRUE(output.ends_with("  Monte Carlo:\n\n")) << output;

    fs::remove("dft_geom");
    writeTextFile("dft_geom", "no directory\n");
    EXPECT_EQ(stopOf("maxSteps 1\nunknownGeoms 0\ntemperature 1e12\n" + geometryCard),
              "cannot open file: dft_geom/geom.1");
}

} // namespace
} // namespace melta::test
