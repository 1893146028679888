#include "training/NNEnergyTrainer.hpp"

#include "driver/Reporting.hpp"
#include "modelio/ModelStore.hpp"
#include "network/Numbers.hpp"
#include "symmfunc/SymmFuncFactory.hpp"
#include "training/TrainingRun.hpp"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <set>

namespace melta {
namespace {

using test::countOf;
using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::Progress;
using test::readProgress;
using test::stopMessageOf;

const std::string onlyEnergyLine = "  >>> Only energy-gradient is used.\n";
const std::string approximateLine = "  >>> Energy-gradient and APPROXIMATE force-gradient are used.\n";
const std::string exactLine = "  >>> Energy-gradient and EXACT force-gradient are used.\n";
const std::string warning = "\n  WARNNING: THIS NEURAL NETWORK WAS COMPLETELY OPTIMIZED.\n";

// Four digits are printed.
constexpr double printed = 1.0e-3;

#define EXPECT_CLOSE(actual, expected, tolerance)                                                            \
    EXPECT_LE(std::abs((actual) - (expected)), (tolerance)*std::abs(expected))                               \
        << #actual " = " << (actual) << ", " #expected " = " << (expected)

// Errors of a set, summed in double precision from what a stored model says about each geometry.
struct Reference {
    std::vector<std::vector<float>> energies; // [numGeoms][numAtoms]
    std::vector<std::vector<float>> forces;   // [numGeoms][numAtoms][3]
    double etot = 0.0;                        // mean squares
    double eatom = 0.0;
    double force = 0.0;
    std::vector<double> eatomOfElem; // sums of squares over the elements' atoms, divided by all atoms
    std::vector<double> forceOfElem; // the same, divided by all components
};

class EnergyTrainer : public test::EnergyTraining {
protected:
    Reference evaluate(const GeometrySet& set) const {
        // The energies of a testing set are measured from the means of its training set.
        const GeometrySet* const origin = set.trainingSet != nullptr ? set.trainingSet : &set;
        NNArch arch(NNArch::onlyEnergy, set.numElems, &property, false, false);
        outputOf([&] {
            arch.initLayers(&set);
            restoreNN(arch, network, origin, false);
        });
        Reference result;
        for (const auto& geometry : set.geometries) {
            Geometry* const batch[] = {geometry.get()};
            arch.setGeometries(batch);
            arch.calculateSymmFuncs(true, false, true);
            arch.renormalizeSymmFuncs(false);
            arch.goForwardOnEnergy();
            arch.goBackwardOnForce();
            const auto energies = arch.obtainEnergies(0);
            const auto forces = arch.obtainForces(0);
            result.energies.emplace_back(energies.begin(), energies.end());
            result.forces.emplace_back(forces.begin(), forces.end());
            arch.clearGeometries();
        }
        sumUp(set, result);
        return result;
    }

    static void sumUp(const GeometrySet& set, Reference& result) {
        const auto square = [](double value) { return value * value; };
        result.eatomOfElem.assign(static_cast<std::size_t>(set.numElems), 0.0);
        result.forceOfElem.assign(static_cast<std::size_t>(set.numElems), 0.0);
        double numAtoms = 0.0;
        for (std::size_t g = 0; g < set.geometries.size(); ++g) {
            const Geometry& geometry = *set.geometries[g];
            double total = -geometry.energyTotal;
            for (std::size_t a = 0; a < geometry.energies.size(); ++a) {
                const auto e = static_cast<std::size_t>(geometry.elements[a]);
                const auto energy = static_cast<double>(result.energies[g][a]);
                total += energy;
                result.eatomOfElem[e] += square(energy - geometry.energies[a]);
                for (std::size_t c = 3 * a; c < 3 * a + 3; ++c) {
                    result.forceOfElem[e] += square(static_cast<double>(result.forces[g][c]) -
                                                    static_cast<double>(geometry.forces[c]));
                }
            }
            result.etot += square(total / geometry.numAtoms) / set.numGeoms;
            numAtoms += geometry.numAtoms;
        }
        for (std::size_t e = 0; e < result.eatomOfElem.size(); ++e) {
            result.eatomOfElem[e] /= numAtoms;
            result.forceOfElem[e] /= 3.0 * numAtoms;
            result.eatom += result.eatomOfElem[e];
            result.force += result.forceOfElem[e];
        }
    }

    // The settings of the models of this fixture: one network, so that the ensemble's errors are its own.
    void useOneModel() { property.modelsEnergy = 1; }

    // Stores a model of the set, then gives the only epoch of a restart that changes nothing.
    Progress firstEpochOfRestart(const GeometrySet& set, const GeometrySet* testSet = nullptr) {
        const Property settings = property;
        property.restart = 0;
        property.renormLoss = 0;
        train(set);
        property = settings;
        freezeAtStoredModel();
        output = train(set, testSet);
        const std::vector<Progress> list = readProgress(output);
        EXPECT_EQ(list.size(), 1U) << output;
        return list.empty() ? Progress{} : list.front();
    }

    std::string output;
};

// --- checks before anything else
// -------------------------------------------------------------------------------------

TEST_F(EnergyTrainer, AtomicTargetsNeedAtomicEnergies) {
    property.withHDNNP = 0;
    const auto set = makeSet(property, makeDataText({.numGeoms = 2}) +
                                           makeDataText({.numGeoms = 1, .hasAtomEnergy = false}));

    EXPECT_EQ(stopOfTraining(*set), "this training data does not support MELTA, please set \"withHDNNP 1\".");
}

TEST_F(EnergyTrainer, TotalTargetsRefuseARenormalisedLoss) {
    property.renormLoss = 1;
    const auto set = makeSet(property, makeDataText({}));

    EXPECT_EQ(stopOfTraining(*set), "HDNNP does not support \"renormLoss 1\".");
}

TEST_F(EnergyTrainer, TotalTargetsNeedNoAtomicEnergies) {
    const auto set = makeSet(property, makeDataText({.hasAtomEnergy = false}));

    EXPECT_EQ(readProgress(train(*set)).size(), 3U);
}

// --- errors and losses
// -----------------------------------------------------------------------------------------------

TEST_F(EnergyTrainer, PrintsTheErrorsOfTotalEnergies) {
    useOneModel();
    property.coefEnergy = 2.0f;
    property.coefForce = 0.5f;
    const auto set = makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}}));

    const Progress first = firstEpochOfRestart(*set);

    const Reference expected = evaluate(*set);
    EXPECT_CLOSE(first.energy, std::sqrt(expected.etot), printed);
    EXPECT_CLOSE(first.force, std::sqrt(expected.force), printed);
    EXPECT_CLOSE(first.loss, 2.0 * expected.etot + 0.5 * expected.force, printed);
}

TEST_F(EnergyTrainer, PrintsTheErrorsOfAtomicEnergies) {
    useOneModel();
    property.withHDNNP = 0;
    property.coefEnergy = 2.0f;
    property.coefForce = 0.5f;
    const auto set = makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}}));

    const Progress first = firstEpochOfRestart(*set);

    const Reference expected = evaluate(*set);
    EXPECT_CLOSE(first.energy, std::sqrt(expected.eatom), printed);
    EXPECT_CLOSE(first.force, std::sqrt(expected.force), printed);
    EXPECT_CLOSE(first.loss, 2.0 * expected.eatom + 0.5 * expected.force, printed);
}

// The factors are squared, so that the root of a term carries the coefficient itself.
TEST_F(EnergyTrainer, TakesTheRootOfEachTerm) {
    useOneModel();
    for (const int withHDNNP : {0, 1}) {
        property = test::makeSmallProperty();
        useOneModel();
        property.withHDNNP = withHDNNP;
        property.sqrtLoss = 1;
        property.coefEnergy = 2.0f;
        property.coefForce = 3.0f;
        const auto set = makeSet(property, makeDataText({}));

        const Progress first = firstEpochOfRestart(*set);

        const Reference expected = evaluate(*set);
        const double energy = withHDNNP != 0 ? expected.etot : expected.eatom;
        EXPECT_CLOSE(first.loss, 2.0 * std::sqrt(energy) + 3.0 * std::sqrt(expected.force), printed);
    }
}

TEST_F(EnergyTrainer, SumsTheLossesOfTheModels) {
    property.coefEnergy = 2.0f;
    property.coefForce = 0.5f;
    const auto set = makeSet(property, makeDataText({}));

    const Progress first = firstEpochOfRestart(*set);

    // The mean of two models is better than the models.
    const Reference expected = evaluate(*set);
    EXPECT_CLOSE(first.energy, std::sqrt(expected.etot), printed);
    EXPECT_CLOSE(first.force, std::sqrt(expected.force), printed);
    EXPECT_GT(first.loss, 2.0 * (2.0 * expected.etot + 0.5 * expected.force));
}

TEST_F(EnergyTrainer, RenormalisesByTheSpreadOfEachElement) {
    for (const int sqrtLoss : {0, 1}) {
        property = test::makeSmallProperty();
        useOneModel();
        property.withHDNNP = 0;
        property.minEDev = 1.0e-3f;
        property.renormLoss = 1;
        property.sqrtLoss = sqrtLoss;
        property.coefEnergy = 2.0f;
        property.coefForce = 0.5f;
        const auto set = makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}}));
        set->energyDev = {0.5, 0.02};

        const Progress first = firstEpochOfRestart(*set);

        const Reference expected = evaluate(*set);
        double energy = 0.0;
        double force = 0.0;
        for (std::size_t e = 0; e < 2; ++e) {
            const double square = set->energyDev[e] * set->energyDev[e];
            energy += expected.eatomOfElem[e] / square;
            force += expected.forceOfElem[e] / square;
        }
        const double loss =
            sqrtLoss != 0 ? 2.0 * std::sqrt(energy) + 0.5 * std::sqrt(force) : 2.0 * energy + 0.5 * force;
        EXPECT_CLOSE(first.loss, loss, printed);
        EXPECT_CLOSE(first.energy, std::sqrt(expected.eatom), printed);
        EXPECT_EQ(countOf(output, "  * Renormalize the loss function.\n\n"), 1);
    }
}

TEST_F(EnergyTrainer, SaysInEachSuperEpochThatTheLossIsRenormalised) {
    property.withHDNNP = 0;
    property.renormLoss = 1;
    property.superEpochs = 2;
    property.epochs = 1;
    const auto set = makeSet(property, makeDataText({}));

    const std::string text = train(*set);

    EXPECT_NE(text.find("  >>> Energy-gradient and EXACT force-gradient are used.\n"
                        "  * Renormalize the loss function.\n\n"
                        "  #.     1  RMSE(E):"),
              std::string::npos)
        << text;
    EXPECT_EQ(countOf(text, "  * Renormalize the loss function.\n\n"), 2);
}

TEST_F(EnergyTrainer, WithoutAForceTermForcesAreLeftOut) {
    useOneModel();
    property.coefForce = 0.0f;
    property.hasForceCoef = 0;
    property.coefEnergy = 3.0f;
    const auto set = makeSet(property, makeDataText({}));

    const Progress first = firstEpochOfRestart(*set);

    const Reference expected = evaluate(*set);
    EXPECT_CLOSE(first.energy, std::sqrt(expected.etot), printed);
    EXPECT_EQ(first.force, 0.0);
    EXPECT_CLOSE(first.loss, 3.0 * expected.etot, printed);
    EXPECT_EQ(countOf(output, "RMSE(F): 0.000e+00"), 1);
}

TEST_F(EnergyTrainer, WithoutAnEnergyTermItsErrorIsStillPrinted) {
    useOneModel();
    property.coefEnergy = 0.0f;
    property.hasEnergyCoef = 0;
    property.coefForce = 0.5f;
    const auto set = makeSet(property, makeDataText({}));

    const Progress first = firstEpochOfRestart(*set);

    const Reference expected = evaluate(*set);
    EXPECT_CLOSE(first.energy, std::sqrt(expected.etot), printed);
    EXPECT_CLOSE(first.loss, 0.5 * expected.force, printed);
}

// The scheme of energies only leaves the force term out of the loss, but not its error.
TEST_F(EnergyTrainer, EnergiesOnlyStillShowTheForceError) {
    useOneModel();
    property.epochsOnlyE = 10;
    const auto set = makeSet(property, makeDataText({}));
    property.lbfgs = 0;
    property.epochs = 1;
    property.learnRate = 1.0e-20f;
    property.learnRateFinal = 1.0e-20f;

    output = train(*set);

    const Reference expected = evaluate(*set);
    const std::vector<Progress> list = readProgress(output);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_CLOSE(list[0].force, std::sqrt(expected.force), printed);
    EXPECT_CLOSE(list[0].loss, expected.etot, printed);
    EXPECT_EQ(countOf(output, onlyEnergyLine), 1);
}

// --- targets
// ---------------------------------------------------------------------------------------------------------

TEST_F(EnergyTrainer, ConvergesWhenBothTargetsAreMet) {
    struct Case {
        float energy;
        float force;
        bool hasEnergy;
        bool hasForce;
        bool isConverged;
    };
    const Case cases[] = {
        {1.0e3f, 1.0e3f, true, true, true},    {1.0e-6f, 1.0e3f, true, true, false},
        {1.0e3f, 1.0e-6f, true, true, false},  {1.0e-6f, 1.0e3f, false, true, true},
        {1.0e3f, 1.0e-6f, false, true, false}, {1.0e3f, 1.0e-6f, true, false, true},
        {1.0e-6f, 1.0e3f, true, false, false},
    };
    for (const Case& given : cases) {
        for (const int lbfgs : {0, 4}) {
            SCOPED_TRACE(testing::Message() << "case " << &given - cases << " with lbfgs " << lbfgs);
            property = test::makeSmallProperty();
            property.lbfgs = lbfgs;
            property.epochs = 2;
            property.rmseEnergy = given.energy;
            property.rmseForce = given.force;
            property.hasEnergyCoef = given.hasEnergy ? 1 : 0;
            property.coefEnergy = given.hasEnergy ? 1.0f : 0.0f;
            property.hasForceCoef = given.hasForce ? 1 : 0;
            property.coefForce = given.hasForce ? 1.0f : 0.0f;
            const auto set = makeSet(property, makeDataText({}));

            const std::string text = train(*set);

            EXPECT_EQ(countOf(text, "\n  Converged.\n\n"), given.isConverged ? 1 : 0) << text;
            EXPECT_EQ(readProgress(text).size(), given.isConverged ? 1U : 2U);
        }
    }
}

// --- in-situ test
// ----------------------------------------------------------------------------------------------------

TEST_F(EnergyTrainer, PrintsTheErrorsOfTheTestData) {
    for (const int withHDNNP : {0, 1}) {
        property = test::makeSmallProperty();
        property.insituTest = 1;
        property.withHDNNP = withHDNNP;
        const auto set = makeSet(property, makeDataText({.labels = {"Si", "O", "Si"}}));
        const auto testSet =
            makeSet(property, makeDataText({.numGeoms = 3, .labels = {"O", "Si"}, .seed = 5}), set.get());

        const Progress first = firstEpochOfRestart(*set, testSet.get());

        const Reference expected = evaluate(*testSet);
        EXPECT_CLOSE(first.testEnergy, std::sqrt(withHDNNP != 0 ? expected.etot : expected.eatom), printed);
        EXPECT_CLOSE(first.testForce, std::sqrt(expected.force), printed);
    }
}

TEST_F(EnergyTrainer, TestsWithTheWeightsAfterTheUpdate) {
    property.insituTest = 1;
    property.lbfgs = 0;
    property.learnRate = 0.01f;
    property.learnRateFinal = 0.01f;
    property.epochs = 1;
    const auto set = makeSet(property, makeDataText({}));
    const auto testSet = makeSet(property, makeDataText({}), set.get());

    const std::vector<Progress> list = readProgress(train(*set, testSet.get()));

    const Reference expected = evaluate(*testSet);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_CLOSE(list[0].testForce, std::sqrt(expected.force), printed);
    EXPECT_GT(std::abs(list[0].testForce - list[0].force), 1.0e-3 * list[0].force);
}

TEST_F(EnergyTrainer, TheTestIgnoresForcesWithoutAForceTerm) {
    property.insituTest = 1;
    property.coefForce = 0.0f;
    property.hasForceCoef = 0;
    const auto set = makeSet(property, makeDataText({}));
    const auto testSet = makeSet(property, makeDataText({.numGeoms = 2, .seed = 5}), set.get());

    const std::vector<Progress> list = readProgress(train(*set, testSet.get()));

    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0].testForce, 0.0);
    EXPECT_GT(list[0].testEnergy, 0.0);
}

TEST_F(EnergyTrainer, PrintsNoTestLineWithoutTestData) {
    property.insituTest = 1;
    const auto set = makeSet(property, makeDataText({}));

    EXPECT_EQ(countOf(train(*set), "(for test data)"), 0);
}

// --- schemes
// ---------------------------------------------------------------------------------------------------------

struct SchemeCase {
    const char* name;
    int epochsOnlyE;
    int epochsApproxF;
    bool approxForce;
    bool hasEnergy;
    bool hasForce;
    std::string lines;
};

// A line search of one step never succeeds, so that nothing but stalls moves the scheme.
TEST_F(EnergyTrainer, StallsMoveTheScheme) {
    const SchemeCase cases[] = {
        {"energies to exact", 99, 99, false, true, true, onlyEnergyLine + exactLine},
        {"energies to approximate", 99, 99, true, true, true, onlyEnergyLine + approximateLine},
        {"approximate to exact", 0, 99, false, true, true, approximateLine + exactLine},
        {"approximate is the end", 0, 0, true, true, true, approximateLine},
        {"exact is the end", 0, 0, false, true, true, exactLine},
        {"no force term", 0, 0, false, true, false, onlyEnergyLine},
        {"no energy term", 99, 99, false, false, true, approximateLine + exactLine},
    };
    for (const SchemeCase& given : cases) {
        SCOPED_TRACE(given.name);
        property = test::makeSmallProperty();
        property.lineSteps = 1;
        property.epochsOnlyE = given.epochsOnlyE;
        property.epochsApproxF = given.epochsApproxF;
        property.approxForce = given.approxForce ? 1 : 0;
        property.hasEnergyCoef = given.hasEnergy ? 1 : 0;
        property.coefEnergy = given.hasEnergy ? 1.0f : 0.0f;
        property.hasForceCoef = given.hasForce ? 1 : 0;
        property.coefForce = given.hasForce ? 1.0f : 0.0f;
        const auto set = makeSet(property, makeDataText({}));

        const std::string text = train(*set);

        const std::string expected = "  Optimization:\n\n" + given.lines + warning + "\n  Converged.\n\n";
        EXPECT_NE(text.find(expected), std::string::npos) << text;
    }
}

TEST_F(EnergyTrainer, EpochsMoveTheScheme) {
    for (const int lbfgs : {0, 4}) {
        property.lbfgs = lbfgs;
        property.epochs = 6;
        property.epochsOnlyE = 2;
        property.epochsApproxF = 4;
        const auto set = makeSet(property, makeDataText({}));

        const std::string text = train(*set);

        // Positions of the lines among those of the epochs.
        std::string order;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            line += "\n";
            order += line.starts_with("  #.") ? "#" : "";
            order += line == onlyEnergyLine ? "1" : "";
            order += line == approximateLine ? "2" : "";
            order += line == exactLine ? "3" : "";
        }
        EXPECT_EQ(order, "1##2##3##");
    }
}

TEST_F(EnergyTrainer, FurtherSuperEpochsStartWithTheExactScheme) {
    property.superEpochs = 2;
    property.epochs = 1;
    property.epochsOnlyE = 99;
    property.approxForce = 1;
    property.coefForce = 0.0f;
    property.hasForceCoef = 0;
    const auto set = makeSet(property, makeDataText({}));

    const std::string text = train(*set);

    EXPECT_EQ(countOf(text, "  * Start the Super Epoch of [ 1 / 2 ].\n\n" + onlyEnergyLine), 1) << text;
    EXPECT_EQ(countOf(text, "  * Start the Super Epoch of [ 2 / 2 ].\n\n" + exactLine), 1) << text;
}

// --- restart and storage
// ---------------------------------------------------------------------------------------------

TEST_F(EnergyTrainer, ARestartReproducesTheModelOnOtherData) {
    const auto first = makeSet(property, makeDataText({.numGeoms = 4}));
    // Denser data of other energies and another range of the symmetry functions.
    const auto second = makeSet(
        property, makeDataText({.numGeoms = 8, .labels = {"Si", "Si", "Si", "Si", "Si", "Si"}, .seed = 9}));
    train(*first);
    const std::string head = test::readTextFile(network);
    const Reference before = evaluate(*first);
    freezeAtStoredModel();

    train(*second);

    ASSERT_NE(test::readTextFile(network), head) << "the range should have changed";
    const Reference after = evaluate(*first);
    double scale = 0.0;
    for (std::size_t g = 0; g < before.energies.size(); ++g) {
        for (std::size_t i = 0; i < before.forces[g].size(); ++i) {
            scale = std::max(scale, static_cast<double>(std::abs(before.forces[g][i])));
        }
    }
    for (std::size_t g = 0; g < before.energies.size(); ++g) {
        for (std::size_t a = 0; a < before.energies[g].size(); ++a) {
            EXPECT_LE(std::abs(after.energies[g][a] - before.energies[g][a]), 2.0e-5f);
        }
        for (std::size_t i = 0; i < before.forces[g].size(); ++i) {
            const double error = static_cast<double>(std::abs(after.forces[g][i] - before.forces[g][i]));
            EXPECT_LE(error, 2.0e-5 * scale);
        }
    }
}

TEST_F(EnergyTrainer, ARestartContinuesWhereTheTrainingEnded) {
    property.epochs = 30;
    const auto set = makeSet(property, makeDataText({}));
    const double reached = readProgress(train(*set)).back().loss;
    property.restart = 1;
    property.epochs = 1;

    const double next = readProgress(train(*set)).back().loss;

    EXPECT_LE(next, reached * (1.0 + printed));
}

// Whatever ends the iteration, the stored model is the one of the last line, also after searches that have
// failed.
TEST_F(EnergyTrainer, TheStoredModelIsThatOfTheLastLine) {
    for (const int epochs : {1, 7, 200}) {
        for (const int lineSearch :
             {LineSearch::moreThuente, LineSearch::armijo, LineSearch::wolfe, LineSearch::strongWolfe}) {
            for (const int sqrtLoss : {0, 1}) {
                SCOPED_TRACE(testing::Message()
                             << epochs << " epochs, line search " << lineSearch << ", sqrtLoss " << sqrtLoss);
                property = test::makeSmallProperty();
                useOneModel();
                property.activEnergy = Activation::asis;
                property.coefForce = 0.0f;
                property.hasForceCoef = 0;
                property.epochs = epochs;
                property.lineSearch = lineSearch;
                property.sqrtLoss = sqrtLoss;
                const auto set = makeSet(property, makeDataText({.numGeoms = 8}));

                const std::vector<Progress> list = readProgress(train(*set));

                const Reference stored = evaluate(*set);
                ASSERT_FALSE(list.empty());
                EXPECT_LE(std::abs(std::sqrt(stored.etot) - list.back().energy),
                          printed * list.back().energy + 1.0e-6);
                EXPECT_LE(list.back().loss, list.front().loss);
            }
        }
    }
}

TEST_F(EnergyTrainer, ASuperEpochSeesItsShareOnly) {
    useOneModel();
    const auto set = makeSet(property, makeDataText({.numGeoms = 3}));
    train(*set);
    const Reference stored = evaluate(*set);
    std::multiset<std::string> expected;
    for (int g = 0; g < 3; ++g) {
        double squares = 0.0;
        const auto index = static_cast<std::size_t>(g);
        const Geometry& geometry = set->obtainGeometry(g);
        for (std::size_t i = 0; i < geometry.forces.size(); ++i) {
            const auto error = static_cast<double>(stored.forces[index][i] - geometry.forces[i]);
            squares += error * error / static_cast<double>(geometry.forces.size());
        }
        expected.insert(formatText("%.2e", std::sqrt(squares)));
    }
    freezeAtStoredModel();
    property.geomsEpoch = 1;
    property.superEpochs = 3;

    std::multiset<std::string> found;
    for (const Progress& epoch : readProgress(train(*set))) {
        found.insert(formatText("%.2e", epoch.force));
    }

    EXPECT_EQ(found, expected);
}

// --- what can be learnt
// ----------------------------------------------------------------------------------------------

// Gives the set the energies and forces of a network with random weights.
void teach(const Property& property, GeometrySet& set, unsigned seed) {
    sharedRandom().seed(seed);
    NNArch teacher(NNArch::onlyEnergy, set.numElems, &property, true, false);
    outputOf([&] {
        teacher.initLayers(&set);
        teacher.statisticsSymmFuncs(&set);
    });
    for (const auto& geometry : set.geometries) {
        Geometry* const batch[] = {geometry.get()};
        teacher.setGeometries(batch);
        teacher.calculateSymmFuncs(true, false, true);
        teacher.renormalizeSymmFuncs(false);
        teacher.evaluateEnergy(true);
        const auto energies = teacher.obtainEnergies(0);
        const auto forces = teacher.obtainForces(0);
        geometry->energyTotal = 0.0;
        for (std::size_t a = 0; a < energies.size(); ++a) {
            geometry->energies[a] = static_cast<double>(energies[a]);
            geometry->energyTotal += geometry->energies[a];
        }
        std::ranges::copy(forces, geometry->forces.begin());
        teacher.clearGeometries();
    }
}

TEST_F(EnergyTrainer, LearnsWhatANetworkOfItsShapeSays) {
    for (const int withHDNNP : {0, 1}) {
        SCOPED_TRACE(testing::Message() << "withHDNNP " << withHDNNP);
        property = test::makeSmallProperty();
        useOneModel();
        property.withHDNNP = withHDNNP;
        const auto set = makeSet(property, makeDataText({.numGeoms = 4}));
        teach(property, *set, 3);
        property.epochs = 600;
        sharedRandom().seed(12);

        const std::vector<Progress> list = readProgress(train(*set));

        ASSERT_FALSE(list.empty());
        EXPECT_LE(list.back().loss, 5.0e-3 * list.front().loss)
            << "from " << list.front().loss << " to " << list.back().loss;
    }
}

TEST_F(EnergyTrainer, LearnsByAdamFromMiniBatches) {
    useOneModel();
    const auto set = makeSet(property, makeDataText({.numGeoms = 6}));
    teach(property, *set, 3);
    property.lbfgs = 0;
    property.batchs = 2;
    property.epochs = 600;
    property.learnRate = 0.01f;
    property.learnRateFinal = 1.0e-4f;
    property.learnRateDecay = 0.99f;
    sharedRandom().seed(12);

    const std::vector<Progress> list = readProgress(train(*set));

    ASSERT_EQ(list.size(), 600U);
    EXPECT_LE(list.back().loss, 0.1 * list.front().loss)
        << "from " << list.front().loss << " to " << list.back().loss;
}

// Solves a symmetric positive system by elimination.
std::vector<double> solve(std::vector<std::vector<double>> matrix, std::vector<double> right) {
    const std::size_t n = right.size();
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i + 1; j < n; ++j) {
            const double factor = matrix[j][i] / matrix[i][i];
            for (std::size_t k = i; k < n; ++k) {
                matrix[j][k] -= factor * matrix[i][k];
            }
            right[j] -= factor * right[i];
        }
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t k = i + 1; k < n; ++k) {
            right[i] -= matrix[i][k] * right[k];
        }
        right[i] /= matrix[i][i];
    }
    return right;
}

// Mean symmetry functions of the atoms of each geometry, and 1 behind them.
std::vector<std::vector<double>> meanInputs(const Property& property, const GeometrySet& set) {
    const auto symmFunc = SymmFuncFactory().createSymmFunc(set.numElems, property);
    const auto numBasis = static_cast<std::size_t>(symmFunc->getNumBasis());
    std::vector<std::vector<double>> rows;
    std::vector<float> values(numBasis);
    for (const auto& geometry : set.geometries) {
        std::vector<double> mean(numBasis + 1, 0.0);
        mean.back() = 1.0;
        for (int a = 0; a < geometry->numAtoms; ++a) {
            symmFunc->calculate(*geometry, a, values, {});
            for (std::size_t i = 0; i < numBasis; ++i) {
                mean[i] += static_cast<double>(values[i]) / geometry->numAtoms;
            }
        }
        rows.push_back(mean);
    }
    return rows;
}

// Smallest mean square of the energy errors per atom that energies linear in the rows reach.
double leastSquares(const std::vector<std::vector<double>>& rows, const GeometrySet& set) {
    const std::size_t numColumns = rows.front().size();
    std::vector<double> targets;
    for (const auto& geometry : set.geometries) {
        targets.push_back(geometry->energyTotal / geometry->numAtoms);
    }
    std::vector<std::vector<double>> matrix(numColumns, std::vector<double>(numColumns, 0.0));
    std::vector<double> right(numColumns, 0.0);
    for (std::size_t g = 0; g < rows.size(); ++g) {
        for (std::size_t i = 0; i < numColumns; ++i) {
            right[i] += rows[g][i] * targets[g];
            for (std::size_t j = 0; j < numColumns; ++j) {
                matrix[i][j] += rows[g][i] * rows[g][j];
            }
        }
    }
    const std::vector<double> solution = solve(matrix, right);
    double squares = 0.0;
    for (std::size_t g = 0; g < rows.size(); ++g) {
        double error = -targets[g];
        for (std::size_t i = 0; i < numColumns; ++i) {
            error += solution[i] * rows[g][i];
        }
        squares += error * error;
    }
    return squares / static_cast<double>(rows.size());
}

TEST_F(EnergyTrainer, ALinearNetworkReachesTheLeastSquares) {
    for (const int numLayers : {1, 2}) {
        SCOPED_TRACE(testing::Message() << numLayers << " layers");
        property = test::makeSmallProperty();
        useOneModel();
        property.numRadius = 2;
        property.numAngle = 0;
        property.rcutAngle = 0.0f;
        property.layersEnergy = numLayers;
        property.activEnergy = Activation::asis;
        property.coefForce = 0.0f;
        property.hasForceCoef = 0;
        property.epochs = 400;
        const auto set = makeSet(property, makeDataText({.numGeoms = 10}));
        // Some of the energies depend on the inputs, the rest is noise.
        const auto inputs = meanInputs(property, *set);
        for (std::size_t g = 0; g < inputs.size(); ++g) {
            set->geometries[g]->energyTotal += 50.0 * set->geometries[g]->numAtoms * inputs[g][0];
        }
        const double least = leastSquares(inputs, *set);
        const double ofConstant = leastSquares(std::vector(inputs.size(), std::vector(1, 1.0)), *set);
        ASSERT_GT(least, 1.0e-3);
        ASSERT_GT(ofConstant, 2.0 * least);

        const std::vector<Progress> list = readProgress(train(*set));

        ASSERT_FALSE(list.empty());
        EXPECT_CLOSE(list.back().loss, least, 2.0e-3);
    }
}

} // namespace
} // namespace melta
