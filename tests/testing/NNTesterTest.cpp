#include "testing/NNTester.hpp"

#include "base/Reporting.hpp"
#include "baseline/classical/ClassicalPot.hpp"
#include "modelio/ModelStore.hpp"
#include "structure/Units.hpp"
#include "training/TrainingRun.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <numeric>
#include <regex>
#include <sstream>

namespace melta {
namespace {

using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;

// One line of a table: reference and network.
struct Pair {
    double reference;
    double predicted;
};

// Lines of a table behind its head. Any line of another form fails the test.
std::vector<Pair> readTable(const std::string& name, const std::string& quantity) {
    static const std::regex form(R"((-?\d\.\d{8}e[+-]\d\d) (-?\d\.\d{8}e[+-]\d\d))");
    std::istringstream stream(readTextFile(name));
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(line, quantity + "(DFT)  " + quantity + "(NNP)");
    std::vector<Pair> pairs;
    while (std::getline(stream, line)) {
        std::smatch match;
        EXPECT_TRUE(std::regex_match(line, match, form)) << name << ": " << line;
        pairs.push_back({std::stod(match[1]), std::stod(match[2])});
    }
    return pairs;
}

double rootMeanSquare(const std::vector<Pair>& pairs) {
    double squares = 0.0;
    for (const Pair& pair : pairs) {
        squares += (pair.predicted - pair.reference) * (pair.predicted - pair.reference);
    }
    return std::sqrt(squares / static_cast<double>(pairs.size()));
}

struct Tables {
    std::vector<Pair> etot;
    std::vector<Pair> eatom;
    std::vector<Pair> force;
};

class Tester : public test::EnergyTraining {
protected:
    // Stores a model of silicon and oxygen.
    Tester() {
        property.epochs = 2;
        const auto set = makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}, .seed = 40}));
        train(*set);
    }

    // The testing set as the mode reads it: without the settings of a training.
    std::unique_ptr<GeometrySet> makeTestSet(const std::string& text) const {
        Property settings = property;
        settings.withHDNNP = 0;
        settings.minEDev = 0.0f;
        settings.maxEDev = 1.0e8f;
        return makeSet(settings, text);
    }

    [[nodiscard]] TestFiles files() const {
        return {file("etot"), file("eatom"), file("force"), file("charge"), file("stress"), file("worst")};
    }

    std::string runTest(const GeometrySet& set, bool withBias = false) const {
        return outputOf([&] {
            NNTester tester(&property, &set);
            tester.setWithBias(withBias);
            tester.performTesting(network, "", files());
        });
    }

    [[nodiscard]] Tables readTables() const {
        return {readTable(file("etot"), "Etot"), readTable(file("eatom"), "Eatom"),
                readTable(file("force"), "Force")};
    }

    // The model, ready for the geometries of a set.
    std::unique_ptr<NNArch> makeArch(const GeometrySet& set) const {
        auto arch = std::make_unique<NNArch>(NNArch::onlyEnergy, set.numElems, &property, false, false);
        outputOf([&] {
            arch->initLayers(&set);
            restoreNN(*arch, network, &set, false);
        });
        return arch;
    }

    // What the tables have to say, without bias or with it.
    Tables expectTables(const GeometrySet& set, bool withBias) const {
        const auto arch = makeArch(set);
        std::vector<double> shift;
        for (std::size_t e = 0; e < set.energyAve.size(); ++e) {
            const NNLayer& last = arch->getEnergyEnsembles()[e].getLastLayer();
            const float bias = (last.biasOf(0).front() + last.biasOf(1).front()) / 2.0f;
            shift.push_back(withBias ? set.energyAve[e] : -static_cast<double>(bias));
        }
        Tables tables;
        for (const auto& geometry : set.geometries) {
            Geometry* const batch[] = {geometry.get()};
            arch->setGeometries(batch);
            arch->calculateSymmFuncs(true, false, true);
            arch->renormalizeSymmFuncs(false);
            arch->goBackwardOnForce();
            addGeometry(*geometry, arch->obtainEnergies(0), arch->obtainForces(0), shift, tables);
            arch->clearGeometries();
        }
        return tables;
    }

    static void addGeometry(const Geometry& geometry, std::span<const float> energies,
                            std::span<const float> forces, const std::vector<double>& shift, Tables& tables) {
        Pair total{geometry.energyTotal, 0.0};
        for (std::size_t a = 0; a < energies.size(); ++a) {
            const double own = shift[static_cast<std::size_t>(geometry.elements[a])];
            total.reference += own;
            total.predicted += static_cast<double>(energies[a]) + own;
            tables.eatom.push_back({geometry.energies[a] + own, static_cast<double>(energies[a]) + own});
        }
        tables.etot.push_back({total.reference / geometry.numAtoms, total.predicted / geometry.numAtoms});
        for (std::size_t i = 0; i < forces.size(); ++i) {
            tables.force.push_back({static_cast<double>(geometry.forces[i]), static_cast<double>(forces[i])});
        }
    }

    static void addBaseline(const GeometrySet& set, ClassicalPot& pot, Tables& tables) {
        std::size_t atom = 0;
        const auto shift = [](Pair& pair, float value) {
            pair.reference += static_cast<double>(value);
            pair.predicted += static_cast<double>(value);
        };
        for (std::size_t g = 0; g < set.geometries.size(); ++g) {
            const Geometry& geometry = *set.geometries[g];
            std::vector<float> energies(geometry.energies.size());
            std::vector<float> forces(geometry.forces.size());
            const float total = pot.obtainEnergiesAndForces(&geometry, energies, forces);
            EXPECT_GT(std::abs(total), 0.1f);
            shift(tables.etot[g], total / static_cast<float>(geometry.numAtoms));
            for (std::size_t a = 0; a < energies.size(); ++a, ++atom) {
                shift(tables.eatom[atom], energies[a]);
                for (std::size_t c = 0; c < 3; ++c) {
                    shift(tables.force[3 * atom + c], forces[3 * a + c]);
                }
            }
        }
    }

    static void expectSame(const std::vector<Pair>& found, const std::vector<Pair>& expected) {
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_LE(std::abs(found[i].reference - expected[i].reference),
                      1.0e-7 * std::abs(expected[i].reference))
                << "line " << i + 2;
            EXPECT_LE(std::abs(found[i].predicted - expected[i].predicted),
                      1.0e-5 * std::abs(expected[i].predicted) + 1.0e-6)
                << "line " << i + 2;
        }
    }
};

const test::DataShape mixed{.numGeoms = 4, .labels = {"O", "Si", "Si", "O"}, .seed = 41};

TEST_F(Tester, RefusesNullArguments) {
    const GeometrySet set;

    EXPECT_EQ(stopMessageOf([&] { NNTester(nullptr, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { NNTester(&property, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { NNTester(nullptr, &set); }), "property is null.");
}

TEST_F(Tester, PrintsTheErrorsOfItsTables) {
    const auto set = makeTestSet(makeDataText(mixed));

    const std::string output = runTest(*set);

    const Tables tables = readTables();
    const std::regex form(R"(  \* There are 12 symmetry functions\.\n\n)"
                          R"(  \* Restore the neural network from the file\.\n\n)"
                          R"(  Testing:\n\n)"
                          R"(    RMSE\(Etot\)  : ( \d\.\d{5}e[+-]\d\d) eV/atom\n)"
                          R"(    RMSE\(Eatom\) : ( \d\.\d{5}e[+-]\d\d) eV\n)"
                          R"(    RMSE\(Force\) : ( \d\.\d{5}e[+-]\d\d) eV/Angstrom\n)"
                          R"(\n  \* Wall time: 0d 0h 0m \d+\.\d\ds\.\n\n)");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(output, match, form)) << output;
    const double expected[] = {rootMeanSquare(tables.etot), rootMeanSquare(tables.eatom),
                               rootMeanSquare(tables.force)};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_LE(std::abs(std::stod(match[i + 1]) - expected[i]), 2.0e-5 * expected[i]) << "measure " << i;
    }
}

TEST_F(Tester, TablesWithoutBiasLeaveTheOutputBiasOut) {
    const auto set = makeTestSet(makeDataText(mixed));

    runTest(*set);

    const Tables found = readTables();
    const Tables expected = expectTables(*set, false);
    EXPECT_EQ(found.etot.size(), 4U);
    EXPECT_EQ(found.eatom.size(), 16U);
    EXPECT_EQ(found.force.size(), 48U);
    expectSame(found.etot, expected.etot);
    expectSame(found.eatom, expected.eatom);
    expectSame(found.force, expected.force);
}

TEST_F(Tester, TablesWithBiasHoldAbsoluteEnergies) {
    const auto set = makeTestSet(makeDataText(mixed));
    // The first head and the first atom of the data file, in Ry.
    std::istringstream text(makeDataText(mixed));
    std::string word;
    double total = 0.0;
    text >> word >> word >> total;
    for (int i = 0; i < 9 + 4; ++i) {
        text >> word;
    }
    double atom = 0.0;
    text >> atom;

    runTest(*set, true);

    const Tables found = readTables();
    const Tables expected = expectTables(*set, true);
    expectSame(found.etot, expected.etot);
    expectSame(found.eatom, expected.eatom);
    expectSame(found.force, expected.force);
    EXPECT_LE(std::abs(found.etot[0].reference - total * units::rydbergOfTotal / 4.0), 1.0e-6);
    EXPECT_LE(std::abs(found.eatom[0].reference - atom * units::rydbergOfAtoms), 1.0e-6);
}

TEST_F(Tester, TheBiasChangesEnergyLinesAndNothingElse) {
    const auto set = makeTestSet(makeDataText(mixed));
    const std::string plain = runTest(*set);
    const Tables without = readTables();
    const std::string forces = readTextFile(file("force"));

    const std::string biased = runTest(*set, true);

    const Tables with = readTables();
    EXPECT_EQ(readTextFile(file("force")), forces);
    const auto wall = plain.find("  * Wall time");
    EXPECT_EQ(biased.substr(0, wall), plain.substr(0, wall));
    for (std::size_t i = 0; i < with.eatom.size(); ++i) {
        EXPECT_GT(std::abs(with.eatom[i].reference - without.eatom[i].reference), 0.1);
        EXPECT_GT(std::abs(with.eatom[i].predicted - without.eatom[i].predicted), 0.1);
    }
    for (std::size_t i = 0; i < with.etot.size(); ++i) {
        EXPECT_GT(std::abs(with.etot[i].reference - without.etot[i].reference), 0.1);
        EXPECT_GT(std::abs(with.etot[i].predicted - without.etot[i].predicted), 0.1);
    }
}

// Errors are those of the networks; the tables have the baseline in both columns.
TEST_F(Tester, ShowsTheBaselineInItsTablesAndNotInItsErrors) {
    property.withClassical = 1;
    train(*makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}, .seed = 40})));
    const std::string classFile = file("melta.class");
    test::writeTextFile(classFile, "2\nSi 5\nO 6\nSi Si 30 0 0 -40\nSi O 20 10 0 -30\nO O 10 0 20 -20\n");
    const auto without = makeTestSet(makeDataText(mixed));
    ClassicalPot pot(without.get(), &property);
    (void)outputOf([&] { pot.restoreParameters(classFile); });
    for (const auto& geometry : without->geometries) {
        pot.removeFromGeometry(geometry.get());
    }
    Tables expected = expectTables(*without, false);
    const double errors[3] = {rootMeanSquare(expected.etot), rootMeanSquare(expected.eatom),
                              rootMeanSquare(expected.force)};
    addBaseline(*without, pot, expected);
    const auto set = makeTestSet(makeDataText(mixed));
    NNTester tester(&property, set.get());

    const std::string output = outputOf([&] { tester.performTesting(network, classFile, files()); });

    const std::string begin = "  * There are 12 symmetry functions.\n\n"
                              "  * Restore the neural network from the file.\n\n"
                              "  * Restore the Lennard-Jones-like parameters from the file.\n\n"
                              "  Testing:\n\n    RMSE(Etot)  : ";
    ASSERT_EQ(output.substr(0, begin.size()), begin);
    double shown[3] = {};
    ASSERT_EQ(std::sscanf(output.c_str() + begin.size(),
                          "%lf eV/atom RMSE(Eatom) : %lf eV RMSE(Force) : %lf eV/Angstrom", &shown[0],
                          &shown[1], &shown[2]),
              3)
        << output;
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_LE(std::abs(shown[i] - errors[i]), 2.0e-5 * errors[i]) << "measure " << i;
    }
    const Tables found = readTables();
    expectSame(found.etot, expected.etot);
    expectSame(found.eatom, expected.eatom);
    expectSame(found.force, expected.force);
}

// A model with charges of its own, tested on charges.
TEST_F(Tester, TestsTheCharges) {
    property.withCharge = 1;
    property.modelsCharge = 2;
    property.layersCharge = 1;
    property.nodesCharge = 3;
    const auto set = makeTestSet(makeDataText(mixed));
    for (const auto& geometry : set->geometries) {
        const auto step = static_cast<float>(geometry->numAtoms) * 0.01f;
        for (std::size_t a = 0; a < geometry->charges.size(); ++a) {
            geometry->charges[a] = 0.25f - step * static_cast<float>(a);
        }
    }
    NNArch arch(NNArch::energyAndCharge, set->numElems, &property, false, false);
    outputOf([&] {
        arch.initLayers(set.get());
        arch.statisticsSymmFuncs(set.get());
        storeNN(arch, network, set.get());
    });

    const std::string output = runTest(*set);

    const std::vector<Pair> charges = readTable(file("charge"), "Charge");
    ASSERT_EQ(charges.size(), 16U);
    std::size_t line = 0;
    for (const auto& geometry : set->geometries) {
        Geometry* const batch[] = {geometry.get()};
        arch.setGeometries(batch);
        arch.calculateSymmFuncs(false, false, true);
        arch.renormalizeSymmFuncs(false);
        arch.goForwardOnCharge();
        for (std::size_t a = 0; a < geometry->charges.size(); ++a, ++line) {
            EXPECT_NEAR(charges[line].reference, static_cast<double>(geometry->charges[a]), 1.0e-8);
            EXPECT_NEAR(charges[line].predicted, static_cast<double>(arch.obtainCharges(0)[a]), 1.0e-6);
        }
        arch.clearGeometries();
    }
    const std::string label = " eV/Angstrom\n    RMSE(Charge): ";
    const std::size_t place = output.find(label);
    ASSERT_NE(place, std::string::npos) << output;
    const double expected = rootMeanSquare(charges);
    EXPECT_NEAR(std::stod(output.substr(place + label.size())), expected, 2.0e-5 * expected);
    EXPECT_EQ(output.substr(place + label.size() + 12, 4), " e\n\n");
}

TEST_F(Tester, MakesNoTableOfChargesWithoutTheirNetworks) {
    const auto set = makeTestSet(makeDataText(mixed));

    const std::string output = runTest(*set);

    EXPECT_FALSE(std::filesystem::exists(file("charge")));
    EXPECT_EQ(output.find("Charge"), std::string::npos);
}

// What the output says behind a label.
double numberBehind(const std::string& output, const std::string& label) {
    const std::size_t place = output.find(label);
    EXPECT_NE(place, std::string::npos) << output;
    return place == std::string::npos ? -1.0 : std::stod(output.substr(place + label.size()));
}

TEST_F(Tester, TestsTheStressThatTheDataHave) {
    test::DataShape shape = mixed;
    shape.stressEvery = 2;
    const auto set = makeTestSet(makeDataText(shape));

    const std::string output = runTest(*set);

    const std::vector<Pair> stress = readTable(file("stress"), "Stress");
    ASSERT_EQ(stress.size(), 12U);
    const Geometry& first = set->getGeometry(0);
    const double unit = first.computeVolume() / units::gigapascal; // eV for 1 GPa
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(stress[i].reference * unit, static_cast<double>((*first.stressVolume)[i]), 1.0e-4);
    }
    // All cells are of one size.
    const double expected = rootMeanSquare(stress) * unit / first.numAtoms;
    EXPECT_NEAR(numberBehind(output, "    RMSE(Stress): "), expected, 3.0e-5 * expected);
    EXPECT_NE(output.find(" eV/atom\n\n"), std::string::npos);
}

TEST_F(Tester, MakesNoTableOfStressWithoutData) {
    const auto set = makeTestSet(makeDataText(mixed));

    const std::string output = runTest(*set);

    EXPECT_FALSE(std::filesystem::exists(file("stress")));
    EXPECT_EQ(output.find("Stress"), std::string::npos);
}

TEST_F(Tester, ShowsTheStressOfTheBaselineInItsTableAndNotInItsErrors) {
    property.withClassical = 1;
    train(*makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}, .seed = 40})));
    const std::string classFile = file("melta.class");
    test::writeTextFile(classFile, "2\nSi 5\nO 6\nSi Si 30 0 0 -40\nSi O 20 10 0 -30\nO O 10 0 20 -20\n");
    test::DataShape shape = mixed;
    shape.stressEvery = 1;
    const auto set = makeTestSet(makeDataText(shape));
    const auto fresh = makeTestSet(makeDataText(shape));
    NNTester tester(&property, set.get());

    (void)outputOf([&] { tester.performTesting(network, classFile, files()); });

    const std::vector<Pair> stress = readTable(file("stress"), "Stress");
    ASSERT_EQ(stress.size(), 24U);
    double largest = 0.0;
    for (std::size_t i = 0; i < 6; ++i) {
        const Geometry& geometry = set->getGeometry(1);
        const double unit = geometry.computeVolume() / units::gigapascal;
        const auto whole = static_cast<double>((*fresh->getGeometry(1).stressVolume)[i]);
        EXPECT_NEAR(stress[6 + i].reference * unit, whole, 1.0e-4);
        largest = std::max(largest, std::abs(whole - static_cast<double>((*geometry.stressVolume)[i])));
    }
    EXPECT_GT(largest, 0.1);
}

// Lines of the table of geometries behind its head.
std::vector<std::string> readWorst(const std::string& name) {
    std::istringstream stream(readTextFile(name));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    EXPECT_FALSE(lines.empty());
    lines.erase(lines.begin());
    return lines;
}

TEST_F(Tester, NamesTheWorstGeometriesFirst) {
    const auto set =
        makeTestSet(makeDataText(mixed) + makeDataText({.numGeoms = 1, .labels = {"Si", "Si"}, .seed = 43}));
    for (float& force : set->getGeometry(2).forces) {
        force += 50.0f;
    }
    set->getGeometry(4).energyTotal += 200.0;

    runTest(*set);

    const std::vector<std::string> lines = readWorst(file("worst"));
    ASSERT_EQ(lines.size(), 5U);
    const Tables tables = readTables();
    double largestForce = 0.0;
    std::vector<Pair> forces(tables.force.begin() + 24, tables.force.begin() + 36);
    for (std::size_t i = 0; i < forces.size(); i += 3) {
        const std::vector<Pair> atom(forces.begin() + static_cast<std::ptrdiff_t>(i),
                                     forces.begin() + static_cast<std::ptrdiff_t>(i) + 3);
        largestForce = std::max(largestForce, rootMeanSquare(atom) * std::sqrt(3.0));
    }
    const auto lineOf = [&](int number) {
        const auto found = std::ranges::find_if(
            lines, [&](const std::string& line) { return line.starts_with(std::to_string(number) + " "); });
        EXPECT_LT(found - lines.begin(), 2) << number;
        return found == lines.end() ? std::string() : *found;
    };
    double energy = 0.0;
    double force = 0.0;
    double largest = 0.0;
    ASSERT_EQ(std::sscanf(lineOf(3).c_str(), "3 4 O2Si2 %lf %lf %lf", &energy, &force, &largest), 3)
        << lines[0];
    EXPECT_NEAR(energy, 1000.0 * (tables.etot[2].predicted - tables.etot[2].reference),
                1.0e-4 * std::abs(energy));
    EXPECT_NEAR(force, rootMeanSquare(forces), 2.0e-5 * force);
    EXPECT_NEAR(largest, largestForce, 2.0e-5 * largest);
    ASSERT_EQ(std::sscanf(lineOf(5).c_str(), "5 2 Si2 %lf", &energy), 1) << lines[1];
    EXPECT_NEAR(energy, -1.0e5, 1.0e4);
}

TEST_F(Tester, TellsTheStressOfEachGeometryWhereItIsKnown) {
    test::DataShape shape = mixed;
    shape.stressEvery = 3;
    const auto set = makeTestSet(makeDataText(shape));

    runTest(*set);

    for (const std::string& line : readWorst(file("worst"))) {
        std::istringstream fields(line);
        const std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
        ASSERT_EQ(words.size(), 9U) << line;
        EXPECT_EQ(words[6] == "-", words[0] == "2" || words[0] == "3") << line;
    }
}

TEST_F(Tester, LosesOldTables) {
    const auto set = makeTestSet(makeDataText(mixed));
    test::writeTextFile(file("etot"), std::string(100000, 'x'));

    runTest(*set);

    EXPECT_EQ(readTables().etot.size(), 4U);
}

TEST_F(Tester, TestsDataWithFewerElements) {
    const auto set = makeTestSet(makeDataText({.numGeoms = 2, .labels = {"O", "O", "O"}, .seed = 42}));

    runTest(*set);

    const Tables found = readTables();
    const Tables expected = expectTables(*set, false);
    expectSame(found.etot, expected.etot);
    expectSame(found.eatom, expected.eatom);
    expectSame(found.force, expected.force);
}

// The networks of an element depend neither on which other elements the data have nor on their order.
TEST_F(Tester, AnElementKeepsItsNetworkAmongOthers) {
    const std::string oxygen = makeDataText({.numGeoms = 2, .labels = {"O", "O", "O"}, .seed = 42});
    const std::string silicon = makeDataText({.numGeoms = 1, .labels = {"Si", "Si"}, .seed = 43});
    runTest(*makeTestSet(oxygen));
    const std::vector<Pair> alone = readTables().force;

    runTest(*makeTestSet(silicon + oxygen));

    std::vector<Pair> among = readTables().force;
    among.erase(among.begin(), among.begin() + 6);
    expectSame(among, alone);
}

TEST_F(Tester, StopsAtAnElementWithoutNetworks) {
    const auto set = makeTestSet(makeDataText({.numGeoms = 2, .labels = {"Si", "C"}}));
    std::string message;

    outputOf([&] {
        message = stopMessageOf([&] { NNTester(&property, set.get()).performTesting(network, "", files()); });
    });

    EXPECT_EQ(message, "symmDev have not been prepared.");
}

TEST_F(Tester, StopsWithoutANetworkFile) {
    const auto set = makeTestSet(makeDataText(mixed));
    std::filesystem::remove(network + "_e");
    std::string message;

    const std::string output = outputOf([&] {
        message = stopMessageOf([&] { NNTester(&property, set.get()).performTesting(network, "", files()); });
    });

    EXPECT_EQ(message, "cannot open file: " + network + "_e");
    EXPECT_EQ(output.find("Testing:"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(file("etot")));
}

TEST_F(Tester, NamesTheTableThatCannotBeOpened) {
    const auto set = makeTestSet(makeDataText(mixed));
    const std::string missing = file("nowhere/table");
    for (const int which : {0, 1, 2}) {
        TestFiles names = files();
        (which == 0 ? names.etot : which == 1 ? names.eatom : names.force) = missing;
        std::string message;

        const std::string output = outputOf([&] {
            message =
                stopMessageOf([&] { NNTester(&property, set.get()).performTesting(network, "", names); });
        });

        EXPECT_EQ(message, "cannot open file: " + missing);
        EXPECT_TRUE(output.ends_with("  Testing:\n\n")) << output;
        EXPECT_EQ(std::filesystem::exists(file("etot")), which > 0);
        EXPECT_FALSE(which == 1 && std::filesystem::exists(file("force")));
    }
}

TEST_F(Tester, AnEmptySetHasNoErrorsToTell) {
    const auto full = makeTestSet(makeDataText(mixed));
    GeometrySet set;
    set.numElems = full->numElems;
    set.elemNames = full->elemNames;
    set.elemAtomNumbers = full->elemAtomNumbers;
    set.energyAve = full->energyAve;
    set.energyDev = full->energyDev;

    const std::string output = runTest(set);

    const std::regex form(R"([^]*RMSE\(Etot\)  : +-?nan eV/atom\n)"
                          R"(    RMSE\(Eatom\) : +-?nan eV\n)"
                          R"(    RMSE\(Force\) : +-?nan eV/Angstrom\n\n[^]*)");
    EXPECT_TRUE(std::regex_match(output, form)) << output;
    EXPECT_EQ(readTextFile(file("etot")), "Etot(DFT)  Etot(NNP)\n");
    EXPECT_EQ(readTextFile(file("eatom")), "Eatom(DFT)  Eatom(NNP)\n");
    EXPECT_EQ(readTextFile(file("force")), "Force(DFT)  Force(NNP)\n");
}

TEST_F(Tester, TestsASingleGeometryOfOneAtom) {
    const std::string text = "1 1 -0.5\n5 0 0\n0 5 0\n0 0 5\nSi 0 0 0 -0.5 0 0 0 0 0 0 0 0\n";
    const auto set = makeTestSet(text);

    runTest(*set);

    const Tables found = readTables();
    ASSERT_EQ(found.etot.size(), 1U);
    ASSERT_EQ(found.force.size(), 3U);
    EXPECT_EQ(found.etot[0].predicted, found.eatom[0].predicted);
    // Every image feels the same from all sides.
    for (const Pair& pair : found.force) {
        EXPECT_LE(std::abs(pair.predicted), 1.0e-4);
    }
}

} // namespace
} // namespace melta
