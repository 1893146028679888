// How the scheme of a training moves on, and what its files hold.
#include "base/Reporting.hpp"
#include "training/EnergyTrainerFixture.hpp"

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>

namespace melta {
namespace {

using test::countOf;
using test::EnergyTrainer;
using test::makeDataText;
using test::makeSet;
using test::printed;
using test::Progress;
using test::readProgress;
using test::Reference;

const std::string onlyEnergyLine = "  >>> Only energy-gradient is used.\n";
const std::string approximateLine = "  >>> Energy-gradient and APPROXIMATE force-gradient are used.\n";
const std::string exactLine = "  >>> Energy-gradient and EXACT force-gradient are used.\n";
const std::string warning = "\n  WARNNING: THIS NEURAL NETWORK WAS COMPLETELY OPTIMIZED.\n";

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
        switchTerms(given.hasEnergy, given.hasForce);
        const auto set = makeSet(property, makeDataText({}));

        const std::string text = train(*set);

        const std::string expected = "  Optimization:\n\n" + given.lines + warning +
                                     "\n  NOT converged.\n\n" +
                                     "  * There was no epoch, so that nothing is stored.\n\n";
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

// Adam whose epochs differ by the weight of the energies alone: from 2 to 32.
class MovingWeight : public EnergyTrainer {
protected:
    MovingWeight() {
        useOneModel();
        property.coefEnergy = 2.0f;
        property.epochs = 2;
        set = makeSet(property, makeDataText({.numGeoms = 3}));
        train(*set);
        freezeAtStoredModel();
        property.coefEnergyFinal = 32.0f;
        property.epochs = 5;
    }

    void expectWeights(const std::string& text, const std::vector<double>& weights) const {
        const std::vector<Progress> list = readProgress(text);
        ASSERT_EQ(list.size(), weights.size()) << text;
        for (std::size_t e = 0; e < list.size(); ++e) {
            const double loss = weights[e] * list[e].energy * list[e].energy +
                                static_cast<double>(property.coefForce) * list[e].force * list[e].force;
            EXPECT_CLOSE(list[e].loss, loss, 3.0 * printed);
        }
    }

    [[nodiscard]] std::string course() const { return test::readTextFile(network + "_e.course"); }

    std::unique_ptr<GeometrySet> set;
};

TEST_F(MovingWeight, GoesGeometricallyToItsFinalValue) {
    expectWeights(train(*set), {2, 4, 8, 16, 32});

    EXPECT_TRUE(course().starts_with("1.000000000 ")) << course();
}

TEST_F(MovingWeight, GoesOverAllSuperEpochs) {
    property.superEpochs = 2;
    property.epochs = 2;
    property.coefEnergyFinal = 54.0f;

    expectWeights(train(*set), {2, 6, 18, 54});
}

TEST_F(MovingWeight, GoesOnWhereItWas) {
    test::writeTextFile(network + "_e.course", "0.25 1\n");
    property.epochs = 4;
    expectWeights(train(*set), {4, 8, 16, 32});

    expectWeights(train(*set), {32, 32, 32, 32});
}

TEST_F(MovingWeight, IsForgottenByATrainingWithout) {
    train(*set);
    const double position = std::stod(course());
    EXPECT_EQ(position, 1.0);
    property.coefEnergyFinal = 0.0f;
    property.epochs = 2;

    expectWeights(train(*set), {2, 2});

    EXPECT_FALSE(std::filesystem::exists(network + "_e.course"));
}

TEST_F(MovingWeight, NeedsAPlaceForItsCourse) {
    std::filesystem::create_directory(network + "_e.course");

    EXPECT_EQ(test::stopMessageOf([&] { train(*set); }), "cannot open file: " + network + "_e.course");
}

TEST_F(MovingWeight, BeginsAnewWithoutRestart) {
    train(*set);
    property.restart = 0;

    expectWeights(train(*set), {2, 4, 8, 16, 32});
}

// The loss grows with the weight, although the networks stay as they are.
TEST_F(MovingWeight, SpoilsNoNetworks) {
    property.coefEnergyFinal = 2.0e4f;

    const std::string text = train(*set);

    EXPECT_GE(readProgress(text).back().loss, 2.0 * readProgress(text).front().loss);
    EXPECT_EQ(text.find("WARNING"), std::string::npos) << text;
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
        const Geometry& geometry = set->getGeometry(g);
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

} // namespace
} // namespace melta
