#include "testing/NNForceTester.hpp"

#include "modelio/ModelStore.hpp"
#include "structure/ThreadCount.hpp"
#include "training/TrainingRun.hpp"

#include <cmath>
#include <filesystem>
#include <limits>
#include <numeric>
#include <regex>

namespace melta {
namespace {

using test::countOf;
using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::stopMessageOf;

// One row of the table.
struct Row {
    double reference = 0.0;
    double analytic = 0.0;
    double numerical = 0.0;
    double error = 0.0;
    double percent = 0.0;
};

// All rows of an output, three for each atom. The atoms have to carry the labels.
std::vector<Row> readTable(const std::string& output, const std::vector<std::string>& labels) {
    std::istringstream stream(output);
    std::string line;
    while (std::getline(stream, line) &&
           line != "                        F(DFT)        F(NNP)        F(Num)        Error") {
    }
    const char axes[] = {'X', 'Y', 'Z'};
    std::vector<Row> rows;
    for (std::size_t i = 0; i < 3 * labels.size(); ++i) {
        EXPECT_TRUE(std::getline(stream, line));
        char head[32];
        if (i % 3 == 0) {
            std::snprintf(head, sizeof(head), "  #.%5d  %-6s (X)  ", static_cast<int>(i / 3) + 1,
                          labels[i / 3].c_str());
        } else {
            std::snprintf(head, sizeof(head), "                  (%c)  ", axes[i % 3]);
        }
        EXPECT_TRUE(line.starts_with(head)) << line;
        Row row;
        int end = 0;
        const std::string columns = line.substr(std::min(line.size(), std::string(head).size()));
        const int count = std::sscanf(columns.c_str(), "%12lf  %12lf  %12lf  %12lf (%lf%%)%n", &row.reference,
                                      &row.analytic, &row.numerical, &row.error, &row.percent, &end);
        EXPECT_EQ(count, 5) << line;
        EXPECT_EQ(static_cast<std::size_t>(end), columns.size()) << line;
        rows.push_back(row);
    }
    EXPECT_TRUE(std::getline(stream, line));
    EXPECT_EQ(line, "");
    return rows;
}

// The rows of the table of the stress.
std::vector<Row> readStressTable(const std::string& output) {
    std::istringstream stream(output.substr(
        output.find("\n                        S(DFT)        S(NNP)        S(Num)        Error\n")));
    std::string line;
    std::getline(stream, line);
    std::getline(stream, line);
    std::vector<Row> rows;
    for (const char* const name : {"XX", "YY", "ZZ", "YZ", "XZ", "XY"}) {
        std::getline(stream, line);
        EXPECT_TRUE(line.starts_with("                 (" + std::string(name) + ")  ")) << line;
        Row row;
        EXPECT_EQ(std::sscanf(line.c_str() + 23, "%12lf  %12lf  %12lf  %12lf (%lf%%)", &row.reference,
                              &row.analytic, &row.numerical, &row.error, &row.percent),
                  5)
            << line;
        rows.push_back(row);
    }
    return rows;
}

class ForceTester : public test::EnergyTraining {
protected:
    ForceTester() { storeModel(); }

    // Stores a model of silicon and oxygen.
    void storeModel() {
        property.epochs = 2;
        train(*makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}, .seed = 40})));
    }

    std::string run(const GeometrySet& set, float shift) const {
        return outputOf([&] { NNForceTester(&property, &set).performTesting(network, shift); });
    }

    std::string stopOf(const GeometrySet& set, float shift, std::string& output) const {
        std::string message;
        output = outputOf([&] {
            message = stopMessageOf([&] { NNForceTester(&property, &set).performTesting(network, shift); });
        });
        return message;
    }

    // The sum of the absolute atomic energies, and the forces, of the first geometry.
    struct Reference {
        double energy = 0.0;
        std::vector<float> forces;
    };
    Reference evaluate(const GeometrySet& set) const {
        NNArch arch(NNArch::onlyEnergy, set.numElems, &property, false, false);
        outputOf([&] {
            arch.initLayers(&set);
            restoreNN(arch, network, &set, false);
        });
        Geometry* const batch[] = {&set.getGeometry(0)};
        arch.setGeometries(batch);
        arch.calculateSymmFuncs(true, false, true);
        arch.renormalizeSymmFuncs(false);
        arch.goBackwardOnForce();
        Reference result;
        for (const float energy : arch.obtainEnergies(0)) {
            result.energy += std::abs(static_cast<double>(energy));
        }
        const auto forces = arch.obtainForces(0);
        result.forces.assign(forces.begin(), forces.end());
        return result;
    }

    // The mean of forward and backward differences agrees with the analytic force, but for rounding and for
    // three times the error of the length of the shift, which the mean for twice the shift shows.
    void expectAgreement(const GeometrySet& set, const std::vector<std::string>& labels) const {
        constexpr float shift = 0.015625f;
        constexpr double roundings = 8.0;
        const double noise = roundings * static_cast<double>(std::numeric_limits<float>::epsilon()) *
                             evaluate(set).energy / static_cast<double>(shift);
        std::vector<std::vector<Row>> tables;
        for (const float by : {shift, -shift, 2.0f * shift, -2.0f * shift}) {
            tables.push_back(readTable(run(set, by), labels));
        }
        double largest = 0.0;
        for (std::size_t i = 0; i < tables[0].size(); ++i) {
            const double near = 0.5 * (tables[0][i].numerical + tables[1][i].numerical);
            const double far = 0.5 * (tables[2][i].numerical + tables[3][i].numerical);
            const double bound = noise + std::abs(far - near);
            const double analytic = tables[0][i].analytic;
            EXPECT_LE(std::abs(analytic - near), bound) << "component " << i << ": " << analytic;
            largest = std::max(largest, std::abs(analytic) - 10.0 * bound);
        }
        EXPECT_GT(largest, 0.0) << "the bounds prove nothing";
    }

    test::ThreadCount threads{1}; // the many small evaluations are not worth more
};

const std::vector<std::string> labels{"O", "Si", "Si", "O"};
const test::DataShape mixed{.numGeoms = 2, .labels = labels, .seed = 41};

TEST_F(ForceTester, RefusesNullArguments) {
    const GeometrySet set;

    EXPECT_EQ(stopMessageOf([&] { NNForceTester(nullptr, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { NNForceTester(&property, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { NNForceTester(nullptr, &set); }), "property is null.");
}

TEST_F(ForceTester, RefusesAShiftOfZeroBeforeItSaysAnything) {
    const GeometrySet set;
    std::string output;

    EXPECT_EQ(stopOf(set, 0.0f, output), "atomic position shift is zero.");
    EXPECT_EQ(output, "");
    EXPECT_EQ(stopOf(set, -0.0f, output), "atomic position shift is zero.");
}

TEST_F(ForceTester, NeedsAGeometry) {
    const auto full = makeSet(property, makeDataText(mixed));
    GeometrySet set;
    set.numElems = full->numElems;
    set.elemNames = full->elemNames;
    set.elemAtomNumbers = full->elemAtomNumbers;
    set.energyAve = full->energyAve;
    set.energyDev = full->energyDev;
    std::string output;

    EXPECT_EQ(stopOf(set, 0.01f, output), "index of geometry is out of range.");
    EXPECT_TRUE(output.ends_with("  Force Testing:\n\n")) << output;
}

TEST_F(ForceTester, NeedsTheNetworkFile) {
    const auto set = makeSet(property, makeDataText(mixed));
    std::filesystem::remove(network + "_e");
    std::string output;

    EXPECT_EQ(stopOf(*set, 0.01f, output), "cannot open file: " + network + "_e");
    EXPECT_EQ(countOf(output, "Force Testing:"), 0);
}

TEST_F(ForceTester, RefusesAnElementThatIsNotInTheTable) {
    for (const int element : {2, -1}) {
        const auto set = makeSet(property, makeDataText({.numGeoms = 1, .labels = {"Si", "O"}}));
        set->getGeometry(0).elements[1] = element;
        std::string output;

        EXPECT_EQ(stopOf(*set, 0.01f, output), "index of element is out of range.");
        EXPECT_TRUE(output.ends_with("  Force Testing:\n\n")) << output;
    }
}

TEST_F(ForceTester, TellsItsStepsInOrder) {
    const auto set = makeSet(property, makeDataText({.numGeoms = 1, .labels = {"O", "Si"}, .seed = 41}));

    const std::string output = run(*set, -0.00125f);

    const std::string number = R"([ -]\d\.\d{5}e[+-]\d\d)";
    const std::string columns =
        number + "  " + number + "  " + number + "  " + number + R"( \( *\d+\.\d\d%\)\n)";
    const std::string other =
        R"(                  \(Y\)  )" + columns + R"(                  \(Z\)  )" + columns;
    const std::regex form(R"(  \* Atomic position shift is -1\.250e-03 Angstrom\.\n\n)"
                          R"(  \* There are 12 symmetry functions\.\n\n)"
                          R"(  \* Restore the neural network from the file\.\n\n)"
                          R"(  Force Testing:\n\n)"
                          R"(                        F\(DFT\)        F\(NNP\)        F\(Num\)        Error\n)"
                          R"(  #\.    1  O      \(X\)  )" +
                          columns + other + R"(  #\.    2  Si     \(X\)  )" + columns + other +
                          R"(\n  \* Wall time: 0d 0h 0m \d+\.\d\ds\.\n\n)");
    EXPECT_TRUE(std::regex_match(output, form)) << output;
}

TEST_F(ForceTester, ShowsTheForcesOfTheFirstGeometry) {
    const auto set = makeSet(property, makeDataText(mixed));

    const std::vector<Row> rows = readTable(run(*set, 0.01f), labels);

    const std::vector<float> expected = evaluate(*set).forces;
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto reference = static_cast<double>(set->getGeometry(0).forces[i]);
        const auto analytic = static_cast<double>(expected[i]);
        EXPECT_LE(std::abs(rows[i].reference - reference), 1.0e-5 * std::abs(reference)) << i;
        EXPECT_LE(std::abs(rows[i].analytic - analytic), 1.0e-5 * std::abs(analytic) + 1.0e-6) << i;
        EXPECT_LE(std::abs(rows[i].error - std::abs(rows[i].analytic - rows[i].numerical)), 1.0e-5) << i;
    }
}

TEST_F(ForceTester, NumericalForcesAgree) {
    expectAgreement(*makeSet(property, makeDataText(mixed)), labels);
}

TEST_F(ForceTester, NumericalForcesAgreeWithElementWeights) {
    property.elemWeight = 1;
    storeModel();

    expectAgreement(*makeSet(property, makeDataText(mixed)), labels);
}

TEST_F(ForceTester, NumericalStressAgrees) {
    test::DataShape shape = mixed;
    shape.stressEvery = 1;
    const auto set = makeSet(property, makeDataText(shape));
    const Geometry& geometry = set->getGeometry(0);
    const std::vector<float> positions = geometry.positions;
    const auto lattice = geometry.lattice;
    constexpr float strain = 4.0e-3f;

    const std::vector<Row> forward = readStressTable(run(*set, strain));
    const std::vector<Row> backward = readStressTable(run(*set, -strain));

    ASSERT_EQ(forward.size(), 6U);
    ASSERT_EQ(backward.size(), 6U);
    double largest = 0.0;
    for (std::size_t i = 0; i < forward.size(); ++i) {
        const double numerical = 0.5 * (forward[i].numerical + backward[i].numerical);
        EXPECT_NEAR(forward[i].reference, static_cast<double>((*geometry.stressVolume)[i] / 4.0f), 1.0e-5)
            << i;
        EXPECT_NEAR(forward[i].analytic, numerical, 1.0e-4 + 1.0e-2 * std::abs(numerical)) << i;
        largest = std::max(largest, std::abs(numerical));
    }
    EXPECT_GT(largest, 0.01);
    EXPECT_EQ(geometry.positions, positions);
    EXPECT_EQ(geometry.lattice, lattice);
}

// The difference is taken to one side, so that the curvature of the energy shows with the sign of the shift.
TEST_F(ForceTester, ADifferenceLooksInTheDirectionOfTheShift) {
    const auto set = makeSet(property, makeDataText(mixed));

    const std::vector<Row> forward = readTable(run(*set, 0.05f), labels);
    const std::vector<Row> backward = readTable(run(*set, -0.05f), labels);
    const std::vector<Row> half = readTable(run(*set, 0.025f), labels);

    for (std::size_t i = 0; i < forward.size(); ++i) {
        const double slope = forward[i].numerical - backward[i].numerical;
        EXPECT_LE(std::abs(forward[i].numerical - half[i].numerical - 0.25 * slope),
                  0.1 * std::abs(slope) + 1.0e-3)
            << i;
    }
}

TEST_F(ForceTester, LeavesTheGeometryAsItWas) {
    const auto set = makeSet(property, makeDataText(mixed));
    Geometry& geometry = set->getGeometry(0);
    const std::vector<float> positions = geometry.positions;
    const auto listed = geometry.getNeighbors(0);
    const std::vector<Neighbor> neighbors(listed.begin(), listed.end());

    // Not every coordinate comes back when this is added and subtracted.
    run(*set, 0.3333333f);

    EXPECT_EQ(geometry.positions, positions);
    const auto after = geometry.getNeighbors(0);
    EXPECT_EQ(std::vector<Neighbor>(after.begin(), after.end()), neighbors);
}

// Neighbours are those of the unshifted geometry, even if the shift brings another atom into range.
TEST_F(ForceTester, KeepsTheNeighborsWhileItShifts) {
    const std::string text = "2 1 -0.5\n18 0 0\n0 18 0\n0 0 18\n"
                             "Si 0 0 0 -0.5 0 0 0 0 0 0 0 0\nSi 7 0 0 -0.5 0 0 0 0 0 0 0 0\n";
    const auto set = makeSet(property, text);

    // Towards each other, from 3.70 to 2.70 Angstrom; the range is 3.50 Angstrom.
    const std::vector<Row> rows = readTable(run(*set, 1.0f), {"Si", "Si"});

    for (const Row& row : rows) {
        EXPECT_EQ(row.analytic, 0.0);
        EXPECT_EQ(row.numerical, 0.0);
        EXPECT_EQ(row.percent, 0.0);
    }
}

TEST_F(ForceTester, ManyThreadsGiveTheSameForces) {
    const auto set = makeSet(property, makeDataText(mixed));
    const std::vector<Row> one = readTable(run(*set, 0.05f), labels);
    const test::ThreadCount four(4);

    const std::vector<Row> many = readTable(run(*set, 0.05f), labels);

    for (std::size_t i = 0; i < one.size(); ++i) {
        EXPECT_LE(std::abs(one[i].analytic - many[i].analytic), 1.0e-5) << i;
        EXPECT_LE(std::abs(one[i].numerical - many[i].numerical), 1.0e-3) << i;
    }
}

TEST(ForceColumns, HaveFixedWidth) {
    EXPECT_EQ(forceColumns(0.5f, -0.25f, -0.125f),
              " 5.00000e-01  -2.50000e-01  -1.25000e-01   1.25000e-01 ( 66.67%)");
    EXPECT_EQ(forceColumns(-1234.5f, 2.0f, 2.0078125f),
              "-1.23450e+03   2.00000e+00   2.00781e+00   7.81250e-03 (  0.39%)");
    EXPECT_EQ(forceColumns(1.0f, 0.0f, 0.0f),
              " 1.00000e+00   0.00000e+00   0.00000e+00   0.00000e+00 (  0.00%)");
}

// Forces of opposite signs make the percentage large, but the column goes on behind it.
TEST(ForceColumns, OppositeForcesWidenThePercentage) {
    EXPECT_EQ(forceColumns(0.0f, 1.0e-5f, -0.5e-5f),
              " 0.00000e+00   1.00000e-05  -5.00000e-06   1.50000e-05 (600.00%)");
    EXPECT_EQ(forceColumns(0.0f, 1.0f, -0.99609375f),
              " 0.00000e+00   1.00000e+00  -9.96094e-01   1.99609e+00 (102200.00%)");
}

} // namespace
} // namespace melta
