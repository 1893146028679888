#include "training/NNEnergyTrainer.hpp"

#include "training/EnergyTrainerFixture.hpp"

#include <cmath>
#include <limits>
#include <numeric>
#include <sstream>

namespace melta {
namespace {

using test::countOf;
using test::EnergyTrainer;
using test::makeDataText;
using test::makeSet;
using test::outputOf;
using test::printed;
using test::Progress;
using test::readProgress;
using test::Reference;

const std::string onlyEnergyLine = "  >>> Only energy-gradient is used.\n";

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

TEST_F(EnergyTrainer, StressInTheLossNeedsData) {
    property.hasStressCoef = 1;
    property.coefStress = 1.0f;
    const auto set = makeSet(property, makeDataText({}));

    EXPECT_EQ(stopOfTraining(*set), "this training data has no stress, please set \"coefStress 0\".");
}

// --- level of the energies
// ------------------------------------------------------------------------------------------

double meanErrorOf(const GeometrySet& set, const Reference& reference) {
    double sum = 0.0;
    for (std::size_t g = 0; g < set.geometries.size(); ++g) {
        const std::vector<float>& energies = reference.energies[g];
        const double total = std::accumulate(energies.begin(), energies.end(), 0.0);
        sum += (total - set.geometries[g]->energyTotal) / set.geometries[g]->numAtoms;
    }
    return sum / static_cast<double>(set.geometries.size());
}

TEST_F(EnergyTrainer, TakesTheMeanErrorOfTheEnergiesAwayWhereTheDataGiveTheWeights) {
    property.lbfgs = 0;
    property.batchs = 2;
    property.modelsEnergy = 2;
    const auto set = makeSet(property, makeDataText({.numGeoms = 5}));

    const std::string plain = train(*set);
    const double left = meanErrorOf(*set, evaluate(*set));
    property.coefFromData = 1;
    const std::string settled = train(*set);

    EXPECT_GT(std::abs(left), 1.0e-3);
    EXPECT_EQ(countOf(plain, "Mean Error of Energy"), 0);
    EXPECT_NEAR(meanErrorOf(*set, evaluate(*set)), 0.0, 1.0e-5);
    EXPECT_EQ(countOf(settled, "\n  * Mean Error of Energy taken away: "), 1);
}

TEST_F(EnergyTrainer, LeavesTheEnergiesOfTheBestEpochAsTheyWereTested) {
    property.lbfgs = 0;
    property.insituTest = 1;
    property.keepBest = 1;
    property.coefFromData = 1;
    const auto set = makeSet(property, makeDataText({.numGeoms = 3}));

    EXPECT_EQ(countOf(train(*set, set.get()), "Mean Error of Energy"), 0);
}

// --- stress
// ----------------------------------------------------------------------------------------------------------

// The numbers of the columns for stress of all lines of an epoch; -1 for a line without.
std::vector<double> stressErrorsOf(const std::string& output) {
    std::vector<double> errors;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("  #.") || line.starts_with("  @")) {
            const std::size_t at = line.find("  RMSE(S):");
            errors.push_back(at == std::string::npos ? -1.0 : std::stod(line.substr(at + 10)));
        }
    }
    return errors;
}

TEST_F(EnergyTrainer, FitsStress) {
    property.hasStressCoef = 1;
    property.coefStress = 10.0f;
    property.epochs = 200;
    switchTerms(true, false); // the random forces do not belong to the stress
    const auto set = makeSet(property, makeDataText({.numGeoms = 4}));
    for (const int g : {0, 2}) {
        set->getGeometry(g).stressVolume = {3.0f, 3.0f, 0, 0, 0, 0}; // the atoms lie in the plane of x and y
    }

    const std::vector<double> errors = stressErrorsOf(train(*set));

    ASSERT_GE(errors.size(), 20U);
    EXPECT_GT(errors.front(), 0.1);
    EXPECT_LT(errors.back(), 0.3 * errors.front());
}

TEST_F(EnergyTrainer, ShowsTheErrorsOfStressWhereTheTestHasIt) {
    property.epochs = 1;
    const auto set = makeSet(property, makeDataText({.stressEvery = 1}));
    const auto testSet = makeSet(property, makeDataText({.seed = 5, .stressEvery = 3}), set.get());
    const auto plainSet = makeSet(property, makeDataText({.seed = 5}), set.get());

    const std::vector<double> errors = stressErrorsOf(train(*set, testSet.get()));

    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0], -1.0);
    EXPECT_GT(errors[1], 0.0);
    EXPECT_EQ(stressErrorsOf(train(*set, plainSet.get())), (std::vector<double>{-1.0, -1.0}));
    EXPECT_EQ(stressErrorsOf(train(*set)), std::vector<double>{-1.0});
    property.hasStressCoef = 1;
    property.coefStress = 1.0f;
    const std::vector<double> ofPlainTest = stressErrorsOf(train(*set, plainSet.get()));
    ASSERT_EQ(ofPlainTest.size(), 2U);
    EXPECT_GT(ofPlainTest[0], 0.0);
    EXPECT_EQ(ofPlainTest[1], -1.0);
}

// Without derivatives no stress is known.
TEST_F(EnergyTrainer, LeavesStressOutWithoutForces) {
    property.epochs = 1;
    switchTerms(true, false);
    const auto set = makeSet(property, makeDataText({.stressEvery = 1}));
    const auto testSet = makeSet(property, makeDataText({.seed = 5, .stressEvery = 1}), set.get());

    EXPECT_EQ(stressErrorsOf(train(*set, testSet.get())), (std::vector<double>{-1.0, -1.0}));
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

// A search that takes the smallest loss must not take a network of NaN for a perfect one.
TEST_F(EnergyTrainer, TheRootKeepsALossThatIsNotANumber) {
    property.sqrtLoss = 1;
    const auto set = makeSet(property, makeDataText({}));
    NNArch arch(NNArch::onlyEnergy, 1, &property, true, false);
    outputOf([&] {
        arch.setGeometriesAll(set.get());
        arch.initLayers(set.get());
        arch.calculateSymmFuncs(true, true, true);
        arch.statisticsSymmFuncs(set.get());
        arch.renormalizeSymmFuncs(true);
    });
    arch.setGeometries(std::vector<int>{0, 1});
    arch.setEnergyModeScheme(EnergyModeScheme::exactForce, true);
    arch.getEnergyEnsembles()[0].getInterLayers()[0].weightOf(0)[0] = std::numeric_limits<float>::quiet_NaN();
    std::vector<LossTerm> terms{{atomicEnergy(), {1.0f}, true}, {atomicForce(), {1.0f}, true}};

    arch.evaluateLoss(NetworkTarget::energy, terms);

    for (const LossTerm& term : terms) {
        EXPECT_TRUE(std::isnan(term.getLoss()[0]));
        EXPECT_GT(term.getLoss()[1], 0.0f);
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
            switchTerms(given.hasEnergy, given.hasForce);
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

} // namespace
} // namespace melta
