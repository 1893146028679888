#include "dfttools/DFTInput.hpp"

#include "base/FieldScanner.hpp"
#include "base/LineReader.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "structure/LebedevDirections.hpp"
#include "support/FileSizeLimit.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::FileSizeLimit;
using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;
using Vector = std::array<double, 3>;

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

class JobInput : public testing::Test {
protected:
    JobInput() {
        lines.headLines = {"&CONTROL", "  prefix = '100%s'", "ATOMIC_POSITIONS {angstrom}"};
        lines.tailLines = {"K_POINTS gamma", ""};
        random.seed(42);
    }

    static std::vector<DFTAtom> makeAtoms(int count) {
        std::vector<DFTAtom> atoms;
        for (int i = 0; i < count; ++i) {
            atoms.push_back({i % 2 == 0 ? "Si" : "Carbon7", {1.0 * i, -0.5 * i, 1e3 + i}});
        }
        return atoms;
    }

    bool write(const std::vector<DFTAtom>& atoms, double shift) {
        return writeDisplacedInput(fileName, lines, atoms, shift, random);
    }

    // The same file the plain way.
    static std::string literalText(const std::vector<DFTAtom>& atoms, double shift, RandomSource random) {
        std::string text = "&CONTROL\n  prefix = '100%s'\nATOMIC_POSITIONS {angstrom}\n";
        const auto add = [&](const DFTAtom& atom, double length) {
            const double u = random.draw() * std::pow(2.0, -15.0);
            std::size_t row = numLebedevDirections - 1;
            while (lebedevDirections()[row].weightBefore > u) {
                --row;
            }
            const Vector d = lebedevDirections()[row].vector;
            text += formatText("%-6s %.8e %.8e %.8e\n", atom.name.c_str(), atom.position[0] + length * d[0],
                               atom.position[1] + length * d[1], atom.position[2] + length * d[2]);
        };
        for (std::size_t i = 0; i < atoms.size(); i += 2) {
            const int first = random.draw();
            const int second = random.draw();
            const double r = std::sqrt(std::max(0.0, -2.0 * std::log((first + 1) * std::pow(2.0, -15.0))));
            const double theta = (second + 1) * std::pow(2.0, -15.0) * 6.283185307179586;
            add(atoms[i], std::sin(theta) * r * shift);
            if (i + 1 < atoms.size()) {
                add(atoms[i + 1], std::cos(theta) * r * shift);
            }
        }
        return text + "K_POINTS gamma\n\n";
    }

    // Displacement of the first atoms of the file from the origin.
    [[nodiscard]] std::vector<Vector> readDisplacements(std::size_t count) const {
        LineReader reader(fileName);
        for (std::size_t line = 0; line < lines.headLines.size(); ++line) {
            reader.next();
        }
        std::vector<Vector> displacements(count);
        for (Vector& displacement : displacements) {
            reader.next();
            FieldScanner fields(reader.line());
            std::string name;
            fields.readWord(name);
            for (double& component : displacement) {
                EXPECT_TRUE(fields.readDouble(component)) << reader.line();
            }
        }
        return displacements;
    }

    test::TemporaryDirectory directory;
    std::string fileName = directory.file("inp.1");
    std::string geometryFile = directory.file("geom.1");
    DFTTemplate lines;
    RandomSource random;
};

// Number of the direction along a displacement, which may point either way; the first of the two such rows.
std::size_t rowAlong(const Vector& displacement) {
    const double length = std::sqrt(dot(displacement, displacement));
    const auto table = lebedevDirections();
    for (std::size_t row = 0; row < table.size(); ++row) {
        if (std::abs(std::abs(dot(table[row].vector, displacement)) / length - 1.0) < 1e-12) {
            return row;
        }
    }
    return table.size();
}

double weightOf(std::size_t row) {
    const auto table = lebedevDirections();
    return (row + 1 < table.size() ? table[row + 1].weightBefore : 1.0) - table[row].weightBefore;
}

} // namespace

TEST_F(JobInput, HasEachAtomDisplacedAlongADirectionOfItsOwn) {
    for (const int numAtoms : {1, 2, 3, 8, 101}) {
        const std::vector<DFTAtom> atoms = makeAtoms(numAtoms);
        const std::string expected = literalText(atoms, 0.3, random);

        EXPECT_TRUE(write(atoms, 0.3));

        EXPECT_EQ(readTextFile(fileName), expected) << numAtoms << " atoms";
    }
}

TEST_F(JobInput, WithOneAtomTakesThreeNumbersOfTheSource) {
    RandomSource same = random;

    EXPECT_TRUE(write(makeAtoms(1), 0.1));

    for (int i = 0; i < 3; ++i) {
        same.draw();
    }
    EXPECT_EQ(random.draw(), same.draw());
}

TEST_F(JobInput, FollowsOnInTheRandomNumbers) {
    const std::vector<DFTAtom> atoms = makeAtoms(2);

    EXPECT_TRUE(write(atoms, 0.1));
    const std::string first = readTextFile(fileName);
    EXPECT_TRUE(write(atoms, 0.1));

    EXPECT_NE(readTextFile(fileName), first);
}

TEST_F(JobInput, HasNormallyDistributedLengths) {
    constexpr std::size_t count = 40000;
    const double shift = 0.25;
    EXPECT_TRUE(write(std::vector<DFTAtom>(count, DFTAtom{"Si", {0.0, 0.0, 0.0}}), shift));

    double sumOfSquares = 0.0;
    double sumOfFourthPowers = 0.0;
    double numWithinDeviation = 0.0;
    for (const Vector& displacement : readDisplacements(count)) {
        const double square = dot(displacement, displacement) / (shift * shift);
        sumOfSquares += square;
        sumOfFourthPowers += square * square;
        numWithinDeviation += square <= 1.0 ? 1.0 : 0.0;
    }

    // Five standard deviations of such means.
    const double unit = 5.0 / std::sqrt(count);
    EXPECT_LE(std::abs(sumOfSquares / count - 1.0), unit * std::sqrt(2.0));
    EXPECT_LE(std::abs(sumOfFourthPowers / count - 3.0), unit * std::sqrt(96.0));
    EXPECT_LE(std::abs(numWithinDeviation / count - 0.682689), unit * std::sqrt(0.6827 * 0.3173));
}

TEST_F(JobInput, HasDirectionsWithTheProbabilityOfTheirWeights) {
    constexpr std::size_t count = 40000;
    EXPECT_TRUE(write(std::vector<DFTAtom>(count, DFTAtom{"Si", {0.0, 0.0, 0.0}}), 1.0e3));
    std::vector<int> counts(numLebedevDirections, 0);
    Vector mean{};
    Vector meanSquare{};

    for (const Vector& displacement : readDisplacements(count)) {
        const std::size_t row = rowAlong(displacement);
        ASSERT_LT(row, numLebedevDirections);
        ++counts[row];
        for (std::size_t k = 0; k < 3; ++k) {
            mean[k] += displacement[k] / 1.0e3 / count;
            meanSquare[k] += displacement[k] * displacement[k] / 1.0e6 / count;
        }
    }

    double chiSquare = 0.0;
    int numAxes = 0;
    for (std::size_t row = 0; row < counts.size(); ++row) {
        if (rowAlong(lebedevDirections()[row].vector) == row) {
            const double expected = count * 2.0 * weightOf(row);
            chiSquare += (counts[row] - expected) * (counts[row] - expected) / expected;
            ++numAxes;
        }
    }
    EXPECT_EQ(numAxes, 175);
    EXPECT_LE(std::abs(chiSquare - 174.0), 5.0 * std::sqrt(2.0 * 174.0));
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_LE(std::abs(mean[k]), 5.0 * std::sqrt(1.0 / 3.0 / count));
        EXPECT_LE(std::abs(meanSquare[k] - 1.0 / 3.0), 5.0 * std::sqrt((3.0 / 5.0 - 1.0 / 9.0) / count));
    }
}

TEST_F(JobInput, TakesThePlaceOfAnOlderOne) {
    writeTextFile(fileName, std::string(10000, 'x'));

    EXPECT_TRUE(write(makeAtoms(1), 0.1));

    EXPECT_EQ(readTextFile(fileName).find('x', 40), std::string::npos);
}

TEST_F(JobInput, TakesItsNameOnlyWhenItIsWhole) {
    writeTextFile(fileName, "older\n");
    writeTextFile(geometryFile, std::string(10000, 'x'));
    const std::vector<DFTAtom> atoms = makeAtoms(1000);
    bool isWritten = true;

    outputOf([&] { isWritten = writeMetropolisInput(fileName, {"head"}, directory.file("missing")); });
    EXPECT_FALSE(isWritten);
    {
        const FileSizeLimit limit(4000);
        stopMessageOf([&] { write(atoms, 0.1); });
        stopMessageOf([&] { (void)writeMetropolisInput(fileName, {}, geometryFile); });
    }

    EXPECT_EQ(readTextFile(fileName), "older\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()), 2);
}

TEST_F(JobInput, ThatCannotBeOpenedIsTold) {
    fs::create_directory(fileName);
    bool isWritten = true;

    const std::string output = outputOf([&] { isWritten = write(makeAtoms(1), 0.1); });

    EXPECT_FALSE(isWritten);
    EXPECT_EQ(output, "\ncannot open the file: " + fileName + "\n\n");
}

TEST_F(JobInput, ThatTheMediumRefusesStops) {
    const std::vector<DFTAtom> atoms = makeAtoms(1000);
    writeTextFile(geometryFile, std::string(10000, 'x'));
    const FileSizeLimit limit(4000);

    EXPECT_EQ(stopMessageOf([&] { write(atoms, 0.1); }), "cannot write file: " + fileName);
    EXPECT_EQ(stopMessageOf([&] { (void)writeMetropolisInput(fileName, {}, geometryFile); }),
              "cannot write file: " + fileName);
}

TEST_F(JobInput, WithMetropolisIsTheHeadAndTheGeometryToTheByte) {
    const std::string geometry = "CELL_PARAMETERS {angstrom}\r\n 1  0 0\n\n\tATOMIC_POSITIONS\nno line end";
    writeTextFile(geometryFile, geometry);

    EXPECT_TRUE(writeMetropolisInput(fileName, {"&CONTROL", "", "100%s"}, geometryFile));

    EXPECT_EQ(readTextFile(fileName), "&CONTROL\n\n100%s\n" + geometry);
}

TEST_F(JobInput, WithMetropolisThatCannotBeOpenedIsTold) {
    writeTextFile(geometryFile, "geometry\n");
    const std::string missing = directory.file("missing") + "/inp.1";
    bool isWritten = true;

    const std::string output =
        outputOf([&] { isWritten = writeMetropolisInput(missing, {"head"}, geometryFile); });

    EXPECT_FALSE(isWritten);
    EXPECT_EQ(output, "\ncannot open the file: " + missing + "\n\n");
}

TEST_F(JobInput, WithMetropolisTellsThatAGeometryCannotBeOpened) {
    bool isWritten = true;

    const std::string output =
        outputOf([&] { isWritten = writeMetropolisInput(fileName, {"head"}, geometryFile); });

    EXPECT_FALSE(isWritten);
    EXPECT_EQ(output, "\ncannot open the file: " + geometryFile + "\n\n");
}

} // namespace melta
