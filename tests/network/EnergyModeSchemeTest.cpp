#include "network/EnergyModeScheme.hpp"

#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using test::outputOf;
using test::stopMessageOf;

const std::string onlyEnergyLine = "  >>> Only energy-gradient is used.\n";
const std::string approximateLine = "  >>> Energy-gradient and APPROXIMATE force-gradient are used.\n";
const std::string exactLine = "  >>> Energy-gradient and EXACT force-gradient are used.\n";

struct Settings {
    bool energy = true;
    bool force = true;
    bool approximate = false;
    bool restart = false;
    int epochsOnlyE = 10;
    int epochsApproxF = 20;
};

Property propertyOf(const Settings& settings) {
    Property property;
    property.hasEnergyCoef = settings.energy ? 1 : 0;
    property.hasForceCoef = settings.force ? 1 : 0;
    property.approxForce = settings.approximate ? 1 : 0;
    property.restart = settings.restart ? 1 : 0;
    property.epochsOnlyE = settings.epochsOnlyE;
    property.epochsApproxF = settings.epochsApproxF;
    return property;
}

// What an update from `value` at `epoch` leads to and prints.
struct Update {
    int value;
    std::string text;

    bool operator==(const Update&) const = default;
};

void PrintTo(const Update& update, std::ostream* stream) {
    *stream << update.value << " \"" << update.text << "\"";
}

Update updated(const Settings& settings, int value, int epoch) {
    EnergyModeScheme scheme;
    scheme.set(value, true);
    const std::string text = outputOf([&] { scheme.update(propertyOf(settings), epoch); });
    return {scheme.getValue(), text};
}

TEST(EnergyModeScheme, StartsUnset) {
    EXPECT_EQ(EnergyModeScheme().getValue(), EnergyModeScheme::notSet);
}

TEST(EnergyModeScheme, BeginsWithEnergiesAlone) {
    EXPECT_EQ(updated({}, 0, 0), (Update{1, onlyEnergyLine}));
}

TEST(EnergyModeScheme, BeginsWithForcesWithoutAnEnergyTerm) {
    EXPECT_EQ(updated({.energy = false}, 0, 0), (Update{2, approximateLine}));
    EXPECT_EQ(updated({.energy = false, .epochsApproxF = 0}, 0, 0), (Update{3, exactLine}));
    EXPECT_EQ(updated({.energy = false, .approximate = true, .epochsApproxF = 0}, 0, 0),
              (Update{2, approximateLine}));
}

TEST(EnergyModeScheme, TakesForcesInAtTheirEpoch) {
    EXPECT_EQ(updated({}, 1, 9), (Update{1, ""}));
    EXPECT_EQ(updated({}, 1, 10), (Update{2, approximateLine}));
    EXPECT_EQ(updated({}, 2, 19), (Update{2, ""}));
    EXPECT_EQ(updated({}, 2, 20), (Update{3, exactLine}));
}

TEST(EnergyModeScheme, PrintsOneLineForSeveralSteps) {
    EXPECT_EQ(updated({.epochsOnlyE = 0}, 0, 0), (Update{2, approximateLine}));
    EXPECT_EQ(updated({.epochsOnlyE = 0, .epochsApproxF = 0}, 0, 0), (Update{3, exactLine}));
    EXPECT_EQ(updated({}, 1, 20), (Update{3, exactLine}));
    EXPECT_EQ(updated({.epochsOnlyE = 30}, 1, 25), (Update{1, ""}));
}

TEST(EnergyModeScheme, StaysWithEnergiesWithoutAForceTerm) {
    EXPECT_EQ(updated({.force = false, .epochsOnlyE = 0, .epochsApproxF = 0}, 0, 0),
              (Update{1, onlyEnergyLine}));
    EXPECT_EQ(updated({.force = false}, 1, 1000), (Update{1, ""}));
    EXPECT_EQ(updated({.force = false, .restart = true}, 1, 1000), (Update{1, ""}));
}

TEST(EnergyModeScheme, StaysApproximateOnDemand) {
    EXPECT_EQ(updated({.approximate = true}, 1, 1000), (Update{2, approximateLine}));
    EXPECT_EQ(updated({.approximate = true}, 2, 1000), (Update{2, ""}));
    EXPECT_EQ(updated({.approximate = true, .restart = true}, 2, 1000), (Update{2, ""}));
}

TEST(EnergyModeScheme, NeverLeavesTheExactGradient) {
    EXPECT_EQ(updated({}, 3, 0), (Update{3, ""}));
    EXPECT_EQ(updated({.force = false, .approximate = true, .restart = true}, 3, 0), (Update{3, ""}));
}

TEST(EnergyModeScheme, JumpsToItsEndAtARestart) {
    EXPECT_EQ(updated({.restart = true}, 0, 0), (Update{3, exactLine}));
    EXPECT_EQ(updated({.restart = true}, 1, 0), (Update{3, exactLine}));
    EXPECT_EQ(updated({.approximate = true, .restart = true}, 0, 0), (Update{2, approximateLine}));
    EXPECT_EQ(updated({.force = false, .restart = true}, 0, 0), (Update{1, onlyEnergyLine}));
    EXPECT_EQ(updated({.force = false, .restart = true}, 2, 0), (Update{1, onlyEnergyLine}));
}

TEST(EnergyModeScheme, IsSetWithALine) {
    for (const auto& [value, line] :
         {Update{1, onlyEnergyLine}, Update{2, approximateLine}, Update{3, exactLine}}) {
        EnergyModeScheme scheme;

        EXPECT_EQ(outputOf([&, v = value] { scheme.set(v, false); }), line);
        EXPECT_EQ(scheme.getValue(), value);
        EXPECT_EQ(outputOf([&, v = value] { scheme.set(v, false); }), "");
    }
}

TEST(EnergyModeScheme, IsSetSilently) {
    EnergyModeScheme scheme;

    EXPECT_EQ(outputOf([&] { scheme.set(2, true); }), "");
    EXPECT_EQ(scheme.getValue(), 2);
}

TEST(EnergyModeScheme, StopsAtAnUnknownValue) {
    EnergyModeScheme scheme;

    EXPECT_EQ(stopMessageOf([&] { scheme.set(4, false); }), "incorrect energyModeScheme.");
    EXPECT_EQ(stopMessageOf([&] { EnergyModeScheme().set(-1, false); }), "incorrect energyModeScheme.");
}

} // namespace
} // namespace melta
