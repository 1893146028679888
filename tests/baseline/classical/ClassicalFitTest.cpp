#include "baseline/classical/ClassicalFit.hpp"

#include "base/Interrupt.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "baseline/classical/ClassicalPot.hpp"
#include "baseline/classical/ClassicalTwin.hpp"
#include "config/Property.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <thread>

namespace melta {
namespace {

using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

constexpr float rc = 5.0f;

std::size_t countOf(const std::string& part, const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::string pairLine(const std::string& names, const std::array<float, numPowers>& coefs) {
    return formatText("      %s :   %+.3e /r^12  %+.3e /r^10  %+.3e /r^8  %+.3e /r^6", names.c_str(),
                      static_cast<double>(coefs[0]), static_cast<double>(coefs[1]),
                      static_cast<double>(coefs[2]), static_cast<double>(coefs[3]));
}

class ClassicalFitTest : public testing::Test {
protected:
    ClassicalFitTest() {
        property.rcutRadius = rc;
        property.rcutAngle = rc;
        property.rmseEnergy = 1.0e-9f;
        property.rmseForce = 1.0e-9f;
        sharedRandom().seed(7);
    }

    // Cells of many volumes, so that close and far pairs occur.
    void addCells(int numElems, int number) {
        std::mt19937 random(11);
        test::addElements(set, numElems);
        for (int g = 0; g < number; ++g) {
            const float side = 3.4f + 0.16f * static_cast<float>(g % 20);
            test::addGeometry(set, test::randomCell(random, {side, side + 0.3f, side + 0.1f}, 4 + g % 3,
                                                    numElems, 1.6f, rc));
        }
    }

    void setTruth(std::array<float, numPowers> coefs) {
        truth = ClassicalParameters(1);
        truth.coefA = {coefs[0]};
        truth.coefB = {coefs[1]};
        truth.coefC = {coefs[2]};
        truth.coefD = {coefs[3]};
        truth.elemEnergy = {0.75f};
        test::setReference(set, truth, static_cast<double>(rc));
    }

    std::string fit() {
        pot = std::make_unique<ClassicalPot>(&set, &property);
        return outputOf([this] { pot->optimizeParameters(name, stopName); });
    }

    std::string fittedLine() { return pairLine("Aa     Aa    ", pot->parameters.coefsOf(0)); }

    test::TemporaryDirectory directory;
    std::string name = directory.file("melta.class");
    std::string stopName = directory.file("melta.EXIT");
    Property property{true};
    GeometrySet set;
    ClassicalParameters truth{1};
    std::unique_ptr<ClassicalPot> pot;
};

TEST_F(ClassicalFitTest, TellsWhatItDoes) {
    addCells(1, 6);
    setTruth({2000.0f, 0.0f, 0.0f, -40.0f});
    property.rmseEnergy = 10000.0f;
    property.rmseForce = 10000.0f;

    const std::string text = fit();

    const std::string begin = "  * L-BFGS optimizer is used.\n\n  * Full-batch algorithm is used.\n\n"
                              "  Classical Potential's Optimization:\n\n  #.     1  RMSE(E): ";
    EXPECT_EQ(text.substr(0, begin.size()), begin);
    const std::size_t end = text.find("\n\n  Converged.");
    ASSERT_NE(end, std::string::npos);
    const std::size_t start = text.find("  #.");
    const std::string line = text.substr(start, end - start);
    char shown[4][16] = {};
    EXPECT_EQ(std::sscanf(line.c_str(), "  #.     1  RMSE(E):%10s  RMSE(F):%10s  Loss:%10s  Time[ wall=%6s",
                          shown[0], shown[1], shown[2], shown[3]),
              4)
        << line;
    EXPECT_EQ(line.substr(line.find(" epoch=")).size(), std::string(" epoch=00.00s ]").size()) << line;
    const std::string rest = "\n\n  Converged.\n\n  Lennard-Jones-like Potential:\n\n" + fittedLine() +
                             "\n\n  * Store the Lennard-Jones-like parameters to the file.\n\n"
                             "  * Print the classical potential to the csv-file.\n\n"
                             "  * Wall time: 0d 0h 0m ";
    EXPECT_EQ(text.substr(end, rest.size()), rest);
    EXPECT_EQ(text.substr(text.size() - 4), "s.\n\n");
    EXPECT_TRUE(std::filesystem::exists(name + ".csv"));
    EXPECT_EQ(readTextFile(name).substr(0, 5), "1\nAa ");
}

// Neighbouring powers are hard to tell apart, so that the fit has to go far down before it ends: the library
// measures gradients against the size of the parameters, and larger weights of the loss raise them.
TEST_F(ClassicalFitTest, FindsTheCoefficientsThatTheDataWereMadeWith) {
    addCells(1, 60);
    property.coefEnergy = 10000.0f;
    property.coefForce = 10000.0f;
    for (const auto& coefs : {std::array<float, numPowers>{2000, 300, -50, -30},
                              std::array<float, numPowers>{3000, 500, 200, -100},
                              std::array<float, numPowers>{1000, -200, -20, -10}}) {
        setTruth(coefs);

        const std::string text = fit();

        for (std::size_t k = 0; k < numPowers; ++k) {
            EXPECT_LE(std::fabs(pot->parameters.coefsOf(0)[k] / coefs[k] - 1.0f), 0.01f) << k << text;
        }
        EXPECT_LE(std::fabs(pot->parameters.elemEnergy[0] - 0.75f), 0.001f);
        EXPECT_EQ(countOf("\n\n  Converged.\n\n", text), 1U);
    }
}

TEST_F(ClassicalFitTest, EndsAfterTheLastTry) {
    addCells(1, 6);
    setTruth({2000.0f, 0.0f, 0.0f, -60.0f});
    property.epochs = 2;
    property.classicalTry = 1;
    const std::string one = fit();
    property.classicalTry = 3;
    const std::string three = fit();

    EXPECT_EQ(countOf("  #.     2 ", one), 1U);
    EXPECT_EQ(countOf("\n  NOT converged.\n\n", one), 1U);
    EXPECT_EQ(countOf("Try to optimize again", one), 0U);
    EXPECT_EQ(countOf("  * Try to optimize again (1).\n\n  #.     1  ", three), 1U);
    EXPECT_EQ(countOf("  * Try to optimize again (2).\n\n  #.     1  ", three), 1U);
    EXPECT_EQ(countOf("  #.     2 ", three), 3U);
    EXPECT_EQ(countOf("  #.     3 ", three), 0U);
    EXPECT_EQ(countOf("[ERROR]", three), 0U);
    EXPECT_EQ(countOf("\n\n  NOT converged.\n\n  Lennard-Jones-like Potential:\n\n", three), 1U);
}

TEST_F(ClassicalFitTest, AcceptsSignsThatComeTwice) {
    addCells(1, 30);
    setTruth({4000.0f, -500.0f, 0.0f, 50.0f});
    property.coefEnergy = 10000.0f;
    property.coefForce = 10000.0f;

    const std::string text = fit();

    EXPECT_LE(std::fabs(pot->parameters.coefB[0] / -500.0f - 1.0f), 0.01f);
    EXPECT_EQ(countOf("  [ERROR]\n", text), 1U) << text;
    EXPECT_EQ(countOf("\n\n  Lennard-Jones-like Potential:\n\n      Aa     Aa     :", text), 2U);
    EXPECT_EQ(countOf("  * Try to optimize again (1).\n\n", text), 1U);
    EXPECT_EQ(
        countOf("\n\n  Converged.\n\n  Lennard-Jones-like Potential:\n\n" + fittedLine() + "\n\n", text), 1U);
}

// Without a range only A is left, as it was drawn.
TEST_F(ClassicalFitTest, DrawsNewParametersWhenNothingButAIsLeft) {
    addCells(2, 4);
    property.numRadius = 0;
    property.numAngle = 0;
    property.classicalTry = 3;
    property.rmseEnergy = 1000.0f;
    property.rmseForce = 1000.0f;

    const std::string text = fit();

    sharedRandom().seed(7);
    std::vector<int> order{0, 1, 2, 3};
    sharedRandom().shuffle(order);
    std::string expected;
    for (int attempt = 0; attempt < 3; ++attempt) {
        std::array<float, 3> a{10000.0f, 10000.0f, 10000.0f};
        for (float& value : a) {
            if (attempt > 0) {
                value = static_cast<float>(sharedRandom().draw()) * 0.30517578125f;
                for (int unused = 0; unused < 3; ++unused) {
                    sharedRandom().draw();
                }
                value = std::sqrt(value) * std::sqrt(value);
            }
        }
        expected = "  Lennard-Jones-like Potential:\n\n" + pairLine("Aa     Aa    ", {a[0], 0, 0, 0}) + "\n" +
                   pairLine("Aa     Bb    ", {a[1], 0, 0, 0}) + "\n" +
                   pairLine("Bb     Bb    ", {a[2], 0, 0, 0}) + "\n\n";
        EXPECT_EQ(countOf(expected, text), 1U) << expected << text;
    }
    EXPECT_EQ(countOf("  * Try to optimize again (2).\n\n", text), 1U);
    EXPECT_EQ(countOf("\n  NOT converged.\n\n", text), 1U);
}

TEST_F(ClassicalFitTest, TakesIllegalValuesForAFailedTry) {
    addCells(1, 4);
    set.geometries[1]->energyTotal = std::numeric_limits<double>::quiet_NaN();
    property.classicalTry = 2;

    const std::string text = fit();

    EXPECT_EQ(countOf("nan  RMSE(F):", text), 2U) << text;
    EXPECT_EQ(countOf("  #.", text), 2U);
    EXPECT_EQ(countOf("\n  NOT converged.\n\n", text), 1U);
    EXPECT_TRUE(pot->parameters.isFinite());
}

TEST_F(ClassicalFitTest, EndsWhenTheUserWants) {
    addCells(1, 4);
    property.numRadius = 0; // no range: every try is followed by another
    property.numAngle = 0;
    property.classicalTry = std::numeric_limits<int>::max();
    std::atomic<bool> isDone = false;
    std::thread user([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300)); // the fit is under way by then
        while (!isDone) {
            const std::ofstream request(stopName);
        }
    });

    const std::string text = fit();

    isDone = true;
    user.join();
    EXPECT_EQ(countOf("\n\n  Exited by user.\n\n  Lennard-Jones-like Potential:\n\n" + fittedLine(), text),
              1U);
    const std::string stored = readTextFile(name);
    const std::string a = formatText("%.8e", static_cast<double>(pot->parameters.coefA[0]));
    EXPECT_NE(stored.find("Aa Aa " + a), std::string::npos) << stored;
}

TEST_F(ClassicalFitTest, EndsWhenASignalCame) {
    addCells(1, 4);
    property.numRadius = 0;
    property.numAngle = 0;
    property.classicalTry = std::numeric_limits<int>::max();
    installInterruptHandlers();
    std::thread user([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        std::raise(SIGTERM);
    });

    const std::string text = fit();

    user.join();
    removeInterruptHandlers();
    EXPECT_EQ(countOf("\n\n  Exited by user.\n\n  Lennard-Jones-like Potential:\n\n" + fittedLine(), text),
              1U);
}

TEST_F(ClassicalFitTest, EarlyRequestLeavesTheOldResult) {
    addCells(1, 4);
    writeTextFile(stopName, "");
    writeTextFile(name, "old");

    const std::string text = fit();

    const std::string end = "  Classical Potential's Optimization:\n\n\n  Exited by user.\n\n  * Wall time: ";
    EXPECT_EQ(countOf(end, text), 1U) << text;
    EXPECT_EQ(countOf("  #.", text), 0U);
    EXPECT_EQ(readTextFile(name), "old");
    EXPECT_FALSE(std::filesystem::exists(name + ".csv"));
    EXPECT_FALSE(std::filesystem::exists(stopName));
}

TEST_F(ClassicalFitTest, RestartsFromItsFile) {
    addCells(1, 30);
    setTruth({2000.0f, 0.0f, 0.0f, -60.0f});
    property.epochs = 1;
    property.classicalTry = 1;
    property.restart = 1;
    const std::string without = fit();
    writeTextFile(name, "1\nAa 0.75\nAa Aa 2000 0 0 -60\n");
    property.rmseEnergy = 1.0e-3f;
    property.rmseForce = 1.0e-3f;

    const std::string with = fit();

    const std::string end = " the Lennard-Jones-like parameters from the file.\n\n"
                            "  Classical Potential's Optimization:\n\n";
    EXPECT_EQ(countOf("is used.\n\n  * CANNOT restore" + end, without), 1U);
    EXPECT_EQ(countOf("is used.\n\n  * Restore" + end, with), 1U);
    EXPECT_EQ(countOf("\n\n  Converged.\n\n", with), 1U) << with;
}

TEST_F(ClassicalFitTest, NeedsElementsAndGeometries) {
    EXPECT_EQ(stopMessageOf([&] { fit(); }), "number of elements is not positive.");
    test::addElements(set, 1);
    EXPECT_EQ(stopMessageOf([&] { fit(); }), "number of geometries is not positive.");
    set.numGeoms = 2;
    EXPECT_EQ(stopMessageOf([&] { fit(); }), "index of geometry is out of range.");
}

class ClassicalOptimizerTest : public ClassicalFitTest {
protected:
    ClassicalOptimizerTest() {
        addCells(1, 20);
        setTruth({2000.0f, 0.0f, 0.0f, -60.0f});
        parameters.reset(10000.0f);
        for (const auto& geometry : set.geometries) {
            geometries.push_back(geometry.get());
        }
    }

    FitStatus runTry() {
        FitStatus status = FitStatus::notConverged;
        ClassicalLoss loss(geometries, PairCutoff(rc), 1, &property);
        FitTimers timers;
        ClassicalOptimizer optimizer(&parameters, &property, &loss, PairCutoff(rc), StopFile(stopName),
                                     &timers);
        text = outputOf([&] { status = optimizer.runLBFGS(); });
        return status;
    }

    // Root mean square error of the forces, as the progress line shows it.
    std::string forceErrorOf(const ClassicalParameters& of) {
        ClassicalLoss loss(geometries, PairCutoff(rc), 1, &property);
        loss.deriveParametersForLossFunc(of);
        return formatText("RMSE(F):%10.3e", static_cast<double>(loss.rmseF));
    }

    std::vector<const Geometry*> geometries;
    ClassicalParameters parameters{1};
    std::string text;
};

TEST_F(ClassicalOptimizerTest, StopsAtTheTargets) {
    property.rmseEnergy = 0.5f;
    property.rmseForce = 1000.0f;

    EXPECT_EQ(runTry(), FitStatus::converged);

    const std::string last = text.substr(text.rfind("  #."));
    double energy = 0.0;
    ASSERT_EQ(std::sscanf(last.c_str() + last.find(":") + 1, "%lf", &energy), 1) << last;
    EXPECT_LE(energy, 0.5);
}

TEST_F(ClassicalOptimizerTest, CountsEpochsOverRestartsOfTheLibrary) {
    property.epochs = 9;

    EXPECT_EQ(runTry(), FitStatus::allEpochsDone);

    EXPECT_EQ(countOf("  #.", text), 9U);
    EXPECT_EQ(countOf("  #.     9 ", text), 1U);
}

TEST_F(ClassicalOptimizerTest, TakesTheRequestOfTheUserAway) {
    writeTextFile(stopName, "");

    EXPECT_EQ(runTry(), FitStatus::exitedByUser);

    EXPECT_EQ(countOf("  #.", text), 1U);
    EXPECT_FALSE(std::filesystem::exists(stopName));
}

TEST_F(ClassicalOptimizerTest, ReportsAStartThatNothingImproves) {
    // One step of the line search that overshoots: the library gives up without an iteration.
    property.lineSteps = 1;
    property.lineSearch = LineSearch::strongWolfe;
    const ClassicalParameters start = parameters;

    EXPECT_EQ(runTry(), FitStatus::converged);

    EXPECT_EQ(countOf("  #.     1 ", text), 1U);
    EXPECT_EQ(countOf("  #.", text), 1U) << text;
    EXPECT_NE(text.find(forceErrorOf(start)), std::string::npos) << text;
    EXPECT_EQ(parameters.coefA, start.coefA);
    EXPECT_EQ(parameters.elemEnergy, start.elemEnergy);
}

TEST_F(ClassicalOptimizerTest, LeavesTheParametersThatItHasReported) {
    for (const int lineSearch :
         {LineSearch::moreThuente, LineSearch::armijo, LineSearch::wolfe, LineSearch::strongWolfe}) {
        for (const int lineSteps : {2, 3, 5, 32}) {
            parameters.reset(10000.0f);
            property.lineSearch = lineSearch;
            property.lineSteps = lineSteps;

            const FitStatus status = runTry();

            EXPECT_NE(status, FitStatus::illegalValues) << lineSearch << " " << lineSteps;
            const std::string last = text.substr(text.rfind("  #."));
            EXPECT_NE(last.find(forceErrorOf(parameters)), std::string::npos)
                << lineSearch << " " << lineSteps << " " << last << forceErrorOf(parameters);
        }
    }
}

TEST_F(ClassicalOptimizerTest, CountsASmallPenaltyAsNone) {
    property.rmseEnergy = 1.0e6f;
    property.rmseForce = 1.0e6f;
    ClassicalLoss loss(geometries, PairCutoff(rc), 1, &property);
    FitTimers timers;
    // Whether a fit ends at a well whose penalty is next to this one: the root of A is found by halving.
    const auto endsAt = [&](float wanted) {
        std::vector<float> x{0.0f, 0.0f, 0.0f, -60.0f, 0.0f};
        std::vector<float> gradient(5);
        float low = 0.0f;
        float high = 100.0f;
        for (int i = 0; i < 60; ++i) {
            x[0] = 0.5f * (low + high);
            unpackVariables(x, parameters);
            ClassicalGradients unused(1);
            ClassicalPenalty penalty(PairCutoff(rc), property.classicalLower);
            penalty.addLowerPenalty(parameters, unused);
            (penalty.penalty > wanted ? low : high) = x[0];
        }
        ClassicalOptimizer optimizer(&parameters, &property, &loss, PairCutoff(rc), StopFile(stopName),
                                     &timers);
        const float value = optimizer.evaluateLoss(x, gradient);
        EXPECT_GE(value, 0.0f);
        bool ends = false;
        (void)outputOf([&] { ends = optimizer.reportProgress(value); });
        return ends;
    };

    EXPECT_TRUE(endsAt(0.8e-6f));
    EXPECT_FALSE(endsAt(1.3e-6f));
}

// Each run of the library begins where the one before has ended. The line search has few steps, so that it
// often fails at a worse point.
TEST_F(ClassicalOptimizerTest, NeverGoesBack) {
    for (const int lineSearch : {LineSearch::armijo, LineSearch::wolfe, LineSearch::strongWolfe}) {
        for (const float start : {1.0f, 30.0f, 300.0f, 1000.0f, 3000.0f, 20000.0f}) {
            parameters.reset(start);
            property.lineSearch = lineSearch;
            property.lineSteps = 1;

            runTry();

            double before = std::numeric_limits<double>::infinity();
            for (std::size_t at = text.find("Loss:"); at != std::string::npos;
                 at = text.find("Loss:", at + 1)) {
                const double now = std::stod(text.substr(at + 5, 10));
                EXPECT_LE(now, before) << lineSearch << " " << start << "\n" << text;
                before = now;
            }
        }
    }
}

} // namespace
} // namespace melta
