#include "structure/GeometrySet.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "config/Property.hpp"
#include "structure/DataFileText.hpp"
#include "structure/GeometrySetLoader.hpp"
#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

using test::atomLine;
using test::cubicCell;
using test::outputOf;
using test::stopMessageOf;
using test::TemporaryDirectory;
using test::ThreadCount;
using test::writeTextFile;

constexpr double rydberg = 13.605691909790039;

// Two blocks whose atomic energies mean something: H at -1 and -2 Ry, O at -30 Ry.
std::string twoBlocks(const std::string& headOfSecond = "1 1 -2.5\n") {
    return "2 1 -31.5\n" + cubicCell() +
           "H 1 1 1 -1 0.1 0 0 0.25 0 0 0 0\nO 3 3 3 -30 0 -0.2 0 -0.5 0 0 0 0\n" + headOfSecond +
           cubicCell() + "H 2 2 2 -2 0 0 0.3 0.75 0 0 0 0\n";
}

class GeometryConditioning : public testing::Test {
protected:
    GeometryConditioning() { property.withHDNNP = 0; }

    void read(GeometrySet& target, const std::string& text) {
        writeTextFile(name, text);
        target.readGeometrySet(name, false);
    }

    std::string condition(GeometrySet& target, int printMode = 0) {
        return outputOf([&] { target.haveReadGeometrySet(&property, false, {}, printMode); });
    }

    TemporaryDirectory directory;
    std::string name = directory.file("melta.train");
    Property property;
    GeometrySet set;
};

TEST_F(GeometryConditioning, GathersStatistics) {
    read(set, twoBlocks());

    condition(set);

    EXPECT_LE(std::abs(set.energyAve[0] + 1.5 * rydberg), 1.0e-12);
    EXPECT_LE(std::abs(set.energyDev[0] - 0.5 * rydberg), 1.0e-12);
    EXPECT_EQ(set.energyMax[0], -1.0 * rydberg);
    EXPECT_EQ(set.energyMin[0], -2.0 * rydberg);
    EXPECT_EQ(set.energyAve[1], -30.0 * rydberg);
    EXPECT_EQ(set.energyDev[1], 0.0);
    EXPECT_EQ(set.chargeAve, (std::vector<float>{0.5f, -0.5f}));
    EXPECT_EQ(set.chargeDev, (std::vector<float>{0.25f, 0.0f}));
    EXPECT_EQ(set.chargeMax, (std::vector<float>{0.75f, -0.5f}));
    EXPECT_EQ(set.chargeMin, (std::vector<float>{0.25f, -0.5f}));
    EXPECT_EQ(set.forceMax, (std::vector<float>{0.3f * 25.711033f, 0.2f * 25.711033f}));
    EXPECT_EQ(set.forceMin, (std::vector<float>{0.1f * 25.711033f, 0.2f * 25.711033f}));
}

TEST_F(GeometryConditioning, ClampsDeviations) {
    read(set, twoBlocks());
    set.minEDev = 0.5f;
    set.maxEDev = 2.0f;
    set.minQDev = 0.1f;
    set.maxQDev = 0.2f;

    condition(set);

    EXPECT_EQ(set.energyDev, (std::vector<double>{2.0, 0.5}));
    EXPECT_EQ(set.chargeDev, (std::vector<float>{0.2f, 0.1f}));
}

TEST_F(GeometryConditioning, ShiftsEnergiesByTheMeans) {
    read(set, twoBlocks());

    condition(set);

    EXPECT_LE(std::abs(set.getGeometry(0).energies[0] - 0.5 * rydberg), 1.0e-12);
    EXPECT_EQ(set.getGeometry(0).energies[1], 0.0);
    EXPECT_LE(std::abs(set.getGeometry(1).energies[0] + 0.5 * rydberg), 1.0e-12);
    EXPECT_LE(std::abs(set.getGeometry(0).energyTotal - (-31.5 * 13.605691930242388 + 31.5 * rydberg)),
              1.0e-12);
    EXPECT_LE(std::abs(set.getGeometry(1).energyTotal - (-2.5 * 13.605691930242388 + 1.5 * rydberg)),
              1.0e-12);
    EXPECT_EQ(set.getGeometry(0).charges, (std::vector<float>{0.25f, -0.5f}));
    EXPECT_EQ(set.getGeometry(0).forces[0], 0.1f * 25.711033f);
}

TEST_F(GeometryConditioning, MakesListsWithinTheLargestCutoff) {
    property.rcutRadius = 4.0f;
    property.rcutAngle = 5.5f;
    read(set, twoBlocks());
    condition(set);
    Geometry expected(set.getGeometry(0).lattice, 2, true);
    expected.positions = set.getGeometry(0).positions;
    expected.haveSetAtoms(5.5f, false);

    EXPECT_TRUE(set.getGeometry(1).hasNeighbors());
    EXPECT_EQ(set.getGeometry(0).numNeighbors(0), expected.numNeighbors(0));
}

TEST_F(GeometryConditioning, MakesNoListsWithoutFunctions) {
    property.numRadius = 0;
    property.numAngle = 0;
    read(set, twoBlocks());

    condition(set);

    EXPECT_FALSE(set.getGeometry(0).hasNeighbors());
    GeometrySet other;
    read(other, twoBlocks());
    EXPECT_EQ(stopMessageOf([&] { other.haveReadGeometrySet(&property, true, {}, 0); }),
              "cannot calculate short-coulomb, because cutoff is not positive.");
}

TEST_F(GeometryConditioning, TakesTheShortCoulombPartBeforeTheStatistics) {
    read(set, twoBlocks());
    GeometrySet plain;
    read(plain, twoBlocks());

    set.haveReadGeometrySet(&property, true, {}, 0);
    condition(plain);

    EXPECT_GT(std::abs(set.energyAve[1] - plain.energyAve[1]), 1.0e-3);
    EXPECT_NE(set.getGeometry(0).forces, plain.getGeometry(0).forces);
}

TEST_F(GeometryConditioning, FitsEnergiesWhenABlockLacksThem) {
    read(set, twoBlocks("1 0 -2.5\n"));

    const std::string text = condition(set, 1);

    // H alone has -2.5 Ry, so that O has -29.
    EXPECT_LE(std::abs(set.energyAve[0] + 2.5 * 13.605691930242388), 1.0e-9);
    EXPECT_LE(std::abs(set.energyAve[1] + 29.0 * 13.605691930242388), 1.0e-9);
    EXPECT_LE(std::abs(set.getGeometry(0).energyTotal), 1.0e-9);
    EXPECT_EQ(set.energyMax[0], -1.0 * rydberg);
    EXPECT_NE(text.find("Presumed Atomic Energy"), std::string::npos);
}

TEST_F(GeometryConditioning, FitsEnergiesForTotalsAsTheTarget) {
    set.withHDNNP = true;
    read(set, twoBlocks());

    condition(set);

    EXPECT_LE(std::abs(set.energyAve[0] + 2.5 * 13.605691930242388), 1.0e-9);
}

TEST_F(GeometryConditioning, ClampsTheDeviationsOfTheFit) {
    set.withHDNNP = true;
    set.minEDev = 0.5f;
    read(set, twoBlocks());

    condition(set);

    EXPECT_EQ(set.energyDev, (std::vector<double>{0.5, 0.5}));
}

TEST_F(GeometryConditioning, MeasuresATestingSetFromTheTrainingMeans) {
    read(set, twoBlocks());
    condition(set);
    GeometrySet testing;
    testing.trainingSet = &set;
    read(testing, "1 1 -3\n" + cubicCell() + "H 1 1 1 -3 0 0 0 0.125 0 0 0 0\n");

    const std::string text = condition(testing, 1);

    EXPECT_LE(std::abs(testing.getGeometry(0).energies[0] + 1.5 * rydberg), 1.0e-12);
    EXPECT_EQ(testing.energyAve, (std::vector<double>{-3.0 * rydberg, 0.0}));
    EXPECT_EQ(testing.energyMax[1], 0.0);
    EXPECT_EQ(testing.energyMin[1], 0.0);
    EXPECT_EQ(testing.chargeMin[1], 0.0f);
    EXPECT_EQ(testing.forceMin[1], 0.0f);
    EXPECT_EQ(testing.elemCounts, (std::vector<std::int32_t>{1, 0}));
    EXPECT_NE(text.find("H     ->        1 atoms  E: [ -4.082e+01 eV   , -4.082e+01 eV   ]"),
              std::string::npos)
        << text;
}

TEST_F(GeometryConditioning, PrintsAFullSummary) {
    set.maxForce = 12.5f;
    set.minEDev = 0.5f;
    read(set, twoBlocks("1 0 -2.5\n") + "1 0 -1\n" + cubicCell() + "H 1 1 1 0 9 0 0 0 0 0 0 0\n");

    const std::string text = condition(set, 1);

    EXPECT_EQ(text, "  Geometry Set:\n"
                    "    Total Geometries    = 3\n"
                    "    Accepted Geometries = 2\n"
                    "    Rejected Geometries = 1  (Force > 1.250e+01 eV/A)\n"
                    "    Number of Atoms     = 3\n"
                    "    Number of Elements  = 2\n"
                    "    List of Elements:\n"
                    "        H     ->        2 atoms  E: [ -2.721e+01 eV   , -1.361e+01 eV   ]\n"
                    "                                 F: [  2.571e+00 eV/A ,  7.713e+00 eV/A ]\n"
                    "                                 Q: [ +2.500e-01 e    , +7.500e-01 e    ]\n"
                    "        O     ->        1 atoms  E: [ -4.082e+02 eV   , -4.082e+02 eV   ]\n"
                    "                                 F: [  5.142e+00 eV/A ,  5.142e+00 eV/A ]\n"
                    "                                 Q: [ -5.000e-01 e    , -5.000e-01 e    ]\n"
                    "\n"
                    "  Presumed Atomic Energy (from Total Energy)\n"
                    "        H      :   -3.401e+01 (+/- 5.000e-01) eV\n"
                    "        O      :   -3.946e+02 (+/- 5.000e-01) eV\n"
                    "\n");
}

TEST_F(GeometryConditioning, PrintsAShortSummary) {
    read(set, twoBlocks("1 0 -2.5\n"));

    const std::string text = condition(set, 2);

    EXPECT_EQ(text, "  Geometry Set:\n"
                    "    Total Geometries    = 2\n"
                    "    Accepted Geometries = 2\n"
                    "    Rejected Geometries = 0\n"
                    "    Number of Atoms     = 3\n"
                    "    Number of Elements  = 2\n"
                    "    List of Elements:\n"
                    "        H     ->        2 atoms\n"
                    "        O     ->        1 atoms\n"
                    "\n");
    EXPECT_EQ(outputOf([&] { set.printGeometrySet(0); }), "");
}

TEST_F(GeometryConditioning, PrintsNoPresumedEnergiesWithoutAFit) {
    read(set, twoBlocks());

    const std::string text = condition(set, 1);

    EXPECT_EQ(text.find("Presumed"), std::string::npos);
    EXPECT_NE(text.find("Q: [ -5.000e-01 e    , -5.000e-01 e    ]\n\n"), std::string::npos);
}

TEST_F(GeometryConditioning, ForgetsAFitWithTheDataItBelongedTo) {
    read(set, twoBlocks("1 0 -2.5\n"));
    condition(set, 1);
    read(set, twoBlocks());

    const std::string text = condition(set, 1);

    EXPECT_EQ(text.find("Presumed"), std::string::npos);
}

TEST_F(GeometryConditioning, LeavesAnEmptySetAlone) {
    const BaselineRemoval refuse = [](const GeometrySet&, const Property&, std::span<const int>) {
        stopWithMessage("no geometry to take a baseline from");
    };
    EXPECT_EQ(stopMessageOf([&] { set.haveReadGeometrySet(nullptr, true, refuse, 1); }), "(no stop)");
    EXPECT_TRUE(set.energyAve.empty());
}

TEST_F(GeometryConditioning, NeedsSettings) {
    read(set, twoBlocks());

    EXPECT_EQ(stopMessageOf([&] { set.haveReadGeometrySet(nullptr, false, {}, 1); }), "property is null.");
}

// The baseline goes out of data that have neighbours, before the statistics are made.
TEST_F(GeometryConditioning, TakesTheBaselineOutBeforeTheStatistics) {
    read(set, twoBlocks());
    std::vector<int> seen;
    const BaselineRemoval removal = [&](const GeometrySet& of, const Property& settings,
                                        std::span<const int> order) {
        EXPECT_EQ(&settings, &property);
        EXPECT_TRUE(of.energyAve.empty());
        seen.assign(order.begin(), order.end());
        for (const int index : order) {
            EXPECT_TRUE(of.getGeometry(index).hasNeighbors());
            of.getGeometry(index).forces[0] = 77.0f;
        }
    };

    (void)outputOf([&] { set.haveReadGeometrySet(&property, false, removal, 1); });

    std::ranges::sort(seen);
    EXPECT_EQ(seen, (std::vector<int>{0, 1}));
    EXPECT_GE(*std::ranges::max_element(set.forceMax), 77.0f);
}

TEST_F(GeometryConditioning, PassesStopsOutOfTheParallelLoop) {
    read(set, twoBlocks() + "1 1 -1\n0.1 0 0\n0 0.1 0\n0 0 0.1\nH 0 0 0 0 0 0 0 0 0 0 0 0\n");
    for (const int count : {1, 4}) {
        const ThreadCount threads(count);

        EXPECT_EQ(stopMessageOf([&] { set.haveReadGeometrySet(&property, false, {}, 0); }),
                  "volume of lattice is zero.");
    }
}

TEST_F(GeometryConditioning, NamesTheCellThatItCannotUse) {
    const std::string atom = "H 0 0 0 0 0 0 0 0 0 0 0 0\n";
    for (const std::string cell : {"0.1 0 0\n0 0.1 0\n0 0 0.1\n", "1e30 0 0\n0 1e30 0\n0 0 1e30\n"}) {
        read(set, twoBlocks() + "1 1 -1\n" + cell + atom + "1 1 -1\n" + cell + atom);

        std::string message;
        const std::string output = outputOf(
            [&] { message = stopMessageOf([&] { set.haveReadGeometrySet(&property, false, {}, 0); }); });

        EXPECT_NE(message, "(no stop)");
        EXPECT_EQ(output, "  * The cell of the 2 -th geometry is not usable: " + name + "\n\n");
    }
}

TEST_F(GeometryConditioning, WarnsOfAtomsThatAreTooClose) {
    const auto pair = [](const std::string& second) {
        return "2 1 -2\n" + cubicCell() + "H 0.05 1 1 -1 0 0 0 0 0 0 0 0\nH " + second +
               " -1 0 0 0 0 0 0 0 0\n";
    };
    // 0.1 Angstrom are 0.18897 Bohr; the third pair is close through the side of the cell.
    read(set, pair("0.05 1 1.2") + pair("0.05 1.18 1") + pair("9.95 1 1") + pair("5 5 5"));

    const std::string output = condition(set, 1);

    EXPECT_TRUE(output.ends_with("\n\n  * WARNING: atoms are too close in the 1 -th geometry: " + name +
                                 "\n\n  * WARNING: atoms are too close in the 2 -th geometry: " + name +
                                 "\n\n"));
    EXPECT_EQ(output.find("0 -th"), std::string::npos);
    EXPECT_EQ(output.find("3 -th"), std::string::npos);
}

TEST_F(GeometryConditioning, WarnsOfEnergiesFarFromTheOthers) {
    std::string text;
    for (const char* const total : {"-1.1", "-1.2", "1e15", "-1.3"}) {
        text += "1 0 " + std::string(total) + "\n" + cubicCell() + "H 1 1 1 -1 0 0 0 0 0 0 0 0\n";
    }
    read(set, text);

    EXPECT_TRUE(condition(set, 1).ends_with(
        "\n\n  * WARNING: the energy of the 2 -th geometry is far from the others: " + name + "\n\n"));
}

TEST_F(GeometryConditioning, WarnsOfLinesThatAreNotRead) {
    const std::string large = "1 1 -1\n" + cubicCell() + "H 1 1 1 -1 9 0 0 0 0 0 0 0\n";
    const std::vector<std::pair<std::string, std::string>> cases = {{"", ""},
                                                                    {"\n \t\r\n\n", ""},
                                                                    {"\n" + twoBlocks(), "1"},
                                                                    {"# a comment", "1"},
                                                                    {" \n\n\n\n.", "1"},
                                                                    {"\n" + std::string(1U << 21U, 'x'), "1"},
                                                                    {large + "\nx", "2"}};
    for (const auto& [rest, number] : cases) {
        GeometrySet fresh;
        fresh.maxForce = 20.0f;
        read(fresh, twoBlocks() + rest);
        const std::string output = condition(fresh, 1);

        const std::string expected =
            "\n\n  * WARNING: lines behind the " + number + " -th geometry are not read: " + name + "\n\n";
        EXPECT_EQ(output.ends_with(expected), !number.empty()) << output;
        EXPECT_EQ(output.find("WARNING") != std::string::npos, !number.empty()) << output;
    }
}

TEST_F(GeometryConditioning, WarnsInTheFullSummaryOnly) {
    const std::string text =
        "2 1 1e15\n" + cubicCell() + "H 1 1 1 -1 0 0 0 0 0 0 0 0\nH 1 1 1 -1 0 0 0 0 0 0 0 0\nx\n";
    for (const int mode : {0, 2}) {
        GeometrySet fresh;
        read(fresh, text);
        EXPECT_EQ(condition(fresh, mode).find("WARNING"), std::string::npos) << mode;
    }
    GeometrySet first;
    writeTextFile(name, text);
    first.readFirstGeometry(name, false);
    EXPECT_EQ(condition(first, 1).find("not read"), std::string::npos);
}

TEST_F(GeometryConditioning, GuardsItsTables) {
    read(set, twoBlocks());

    EXPECT_EQ(set.getElementName(1), "O");
    for (const int index : {-1, 2}) {
        EXPECT_EQ(stopMessageOf([&] { (void)set.getElementName(index); }),
                  "index of element is out of range.");
        EXPECT_EQ(stopMessageOf([&] { (void)set.getElementEnergy(index); }),
                  "index of element is out of range.");
        EXPECT_EQ(stopMessageOf([&] { (void)set.getGeometry(index); }), "index of geometry is out of range.");
    }
    EXPECT_EQ(stopMessageOf([&] { (void)set.getElementEnergy(0); }), "index of element is out of range.");
    condition(set);
    EXPECT_EQ(set.getElementEnergy(1), -30.0 * rydberg);
}

TEST_F(GeometryConditioning, StopsForATrainingSetWithoutMeans) {
    read(set, twoBlocks());
    GeometrySet testing;
    testing.trainingSet = &set;
    read(testing, twoBlocks());

    EXPECT_EQ(stopMessageOf([&] { testing.haveReadGeometrySet(&property, false, {}, 0); }),
              "index of element is out of range.");
}

// A set of many geometries with many threads and another shuffle.
TEST_F(GeometryConditioning, GivesTheSameForAnyThreadsAndShuffle) {
    std::string text;
    for (int i = 0; i < 40; ++i) {
        const std::string shift = std::to_string(0.1 * i);
        text += "3 0 -" + std::to_string(30 + i % 7) + ".5\n" + cubicCell() + "H 1 1 " + shift +
                " -1 0.1 0 0 0.25 0 0 0 0\nO 3 " + shift + " 6 -30 0 -0.2 0 -0.5 0 0 0 0\n" +
                (i % 3 == 0 ? "H" : "O") + " 7 8 5 -2 0 0 0.3 0.75 0 0 0 0\n";
    }
    GeometrySet expected;
    read(expected, text);
    {
        const ThreadCount one(1);
        expected.haveReadGeometrySet(&property, true, {}, 0);
    }
    for (const int count : {2, 5}) {
        const ThreadCount several(count);
        sharedRandom().seed(static_cast<unsigned>(count));
        read(set, text);

        set.haveReadGeometrySet(&property, true, {}, 0);

        EXPECT_EQ(set.energyAve, expected.energyAve);
        EXPECT_EQ(set.energyDev, expected.energyDev);
        EXPECT_EQ(set.chargeAve, expected.chargeAve);
        EXPECT_EQ(set.forceMax, expected.forceMax);
        for (int g = 0; g < 40; ++g) {
            const Geometry& one = expected.getGeometry(g);
            const Geometry& other = set.getGeometry(g);
            EXPECT_EQ(other.energies, one.energies);
            EXPECT_EQ(other.energyTotal, one.energyTotal);
            EXPECT_EQ(other.forces, one.forces);
            for (int i = 0; i < 3; ++i) {
                const auto a = one.getNeighbors(i);
                const auto b = other.getNeighbors(i);
                EXPECT_EQ(std::vector<Neighbor>(a.begin(), a.end()),
                          std::vector<Neighbor>(b.begin(), b.end()));
            }
        }
    }
}

TEST_F(GeometryConditioning, LoadsWithTheSettingsOfTheRun) {
    writeTextFile(name, twoBlocks() + "1 1 -1\n" + cubicCell() + "H9 1 1 1 0 9 0 0 0 0 0 0 0\n");
    property.maxForce = 100.0f;
    property.withHDNNP = 1;
    property.minEDev = 0.75f;
    property.maxEDev = 8.0f;
    property.minQDev = 0.125f;
    property.maxQDev = 4.0f;

    std::unique_ptr<GeometrySet> training;
    const std::string text = outputOf([&] { training = loadGeometrySet(name, property, {}); });
    std::unique_ptr<GeometrySet> testing;
    (void)outputOf([&] { testing = loadGeometrySet(name, property, {}, training.get()); });

    EXPECT_EQ(training->numGeoms, 2);
    EXPECT_EQ(training->numRejected, 1);
    EXPECT_EQ(training->elemNames, (std::vector<std::string>{"H", "O"}));
    EXPECT_EQ(training->minEDev, 0.75f);
    EXPECT_EQ(training->maxEDev, 8.0f);
    EXPECT_EQ(training->minQDev, 0.125f);
    EXPECT_EQ(training->maxQDev, 4.0f);
    EXPECT_TRUE(training->withHDNNP);
    EXPECT_FALSE(training->withClassical);
    EXPECT_FALSE(training->withReaxFF);
    EXPECT_NE(text.find("Presumed Atomic Energy"), std::string::npos);
    EXPECT_EQ(testing->trainingSet, training.get());
    EXPECT_EQ(testing->getGeometry(0).energies, training->getGeometry(0).energies);
}

TEST_F(GeometryConditioning, LoadsWithChargesAndBaseline) {
    writeTextFile(name, "1 1 -1\n" + cubicCell() + "H 1 1 1 -1 0 0 0 0 0.25 0 0 0\n");
    property.withCharge = 1;
    std::unique_ptr<GeometrySet> charged;
    (void)outputOf([&] { charged = loadGeometrySet(name, property, {}); });
    EXPECT_EQ(charged->energyMax[0], -1.25 * rydberg);

    property.withClassical = 1;
    bool hasFlag = false;
    const BaselineRemoval removal = [&](const GeometrySet& loaded, const Property&, std::span<const int>) {
        hasFlag = loaded.withClassical && !loaded.withReaxFF;
    };
    (void)outputOf([&] { (void)loadGeometrySet(name, property, removal); });
    EXPECT_TRUE(hasFlag);
}

} // namespace
} // namespace melta
