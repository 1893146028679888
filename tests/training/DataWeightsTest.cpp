#include "training/DataWeights.hpp"

#include "config/Property.hpp"
#include "structure/GeometrySet.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace melta {
namespace {

using test::outputOf;

// Two geometries of two atoms with these energies per atom and the same force components everywhere.
std::unique_ptr<GeometrySet> makeSet(double first, double second, float force) {
    auto set = std::make_unique<GeometrySet>();
    for (const double energy : {first, second}) {
        const std::array<float, 9> cell{9, 0, 0, 0, 9, 0, 0, 0, 9};
        auto geometry = std::make_unique<Geometry>(cell, 2, false);
        for (int atom = 0; atom < 2; ++atom) {
            geometry->setAtom(atom, 0, 14, 3.0f * static_cast<float>(atom), 0, 0, force, -force, force, 0.0,
                              0.0f);
        }
        geometry->energyTotal = 2.0 * energy;
        set->geometries.push_back(std::move(geometry));
    }
    set->numGeoms = 2;
    set->numElems = 1;
    set->energyDev = {2.5};
    return set;
}

TEST(DataWeightsTest, SpreadIsThatOfForcesAndOfEnergiesOfAnAtom) {
    const auto set = makeSet(-0.1, 0.3, 0.5f);

    const DataSpread spread = measureSpread(*set);

    EXPECT_NEAR(spread.forces, 0.5, 1.0e-6);
    EXPECT_NEAR(spread.energies, 0.2, 1.0e-12);
}

TEST(DataWeightsTest, EnergiesThatSpreadWidelyCountLess) {
    const DataWeights usual = findWeights({1.0, 0.3});
    const DataWeights wide = findWeights({0.05, 0.5});
    const DataWeights same = findWeights({0.05, 0.0});

    EXPECT_FLOAT_EQ(usual.first, 0.5f);
    EXPECT_FLOAT_EQ(usual.final, 50.0f);
    EXPECT_DOUBLE_EQ(usual.outputScale, 0.5);
    EXPECT_FLOAT_EQ(wide.first, 0.02f);
    EXPECT_FLOAT_EQ(wide.final, 10.0f);
    EXPECT_DOUBLE_EQ(wide.outputScale, 0.025);
    EXPECT_FLOAT_EQ(same.first, 0.5f);
    EXPECT_FLOAT_EQ(usual.stress, 0.3f);
    EXPECT_FLOAT_EQ(wide.stress, 0.012f);
}

TEST(DataWeightsTest, EnergiesThatHardlyDifferCountMoreAtTheEnd) {
    const DataWeights narrow = findWeights({1.0, 0.01});
    const DataWeights narrowest = findWeights({1.0, 1.0e-4});

    EXPECT_FLOAT_EQ(narrow.first, 0.5f);
    EXPECT_FLOAT_EQ(narrow.final, 200.0f);
    EXPECT_FLOAT_EQ(narrow.stress, 0.3f);
    EXPECT_FLOAT_EQ(narrowest.final, 500.0f);
}

TEST(DataWeightsTest, TrainingTakesThemAndTellsIt) {
    const auto set = makeSet(-0.5, 0.5, 0.05f);
    Property property;
    property.coefFromData = 1;
    property.hasEnergyCoef = 0;

    const std::string text = outputOf([&] { takeDataWeights(property, *set); });

    EXPECT_EQ(text, "  * Energy Mixing Rate from the data: 2.000e-02 -> 1.000e+01 1/Angstrom^2\n"
                    "    (forces of 5.000e-02 eV/Angstrom, energies within 5.000e-01 eV/atom)\n\n");
    EXPECT_FLOAT_EQ(property.coefEnergy, 0.02f);
    EXPECT_FLOAT_EQ(property.coefEnergyFinal, 10.0f);
    EXPECT_EQ(property.hasStressCoef, 0);
    EXPECT_EQ(property.hasEnergyCoef, 1);
    EXPECT_NEAR(set->energyDev.front(), 0.025, 1.0e-8);
}

TEST(DataWeightsTest, StressTakesPartWhereTheDataHaveIt) {
    const auto set = makeSet(-0.5, 0.5, 0.05f);
    set->geometries.back()->stressVolume = std::array<float, 6>{};
    Property property;
    property.coefFromData = 1;

    const std::string text = outputOf([&] { takeDataWeights(property, *set); });

    EXPECT_EQ(text, "  * Energy Mixing Rate from the data: 2.000e-02 -> 1.000e+01 1/Angstrom^2\n"
                    "    Stress Mixing Rate from the data: 1.200e-02 1/Angstrom^2\n"
                    "    (forces of 5.000e-02 eV/Angstrom, energies within 5.000e-01 eV/atom)\n\n");
    EXPECT_EQ(property.hasStressCoef, 1);
    EXPECT_FLOAT_EQ(property.coefStress, 0.012f);
}

TEST(DataWeightsTest, StressStaysAsTheUserOrTheModelWantsIt) {
    const auto set = makeSet(-0.5, 0.5, 0.05f);
    set->geometries.back()->stressVolume = std::array<float, 6>{};
    Property given;
    given.givesStressCoef = 1;
    Property charged;
    charged.withCharge = 1;
    Property renormalised;
    renormalised.renormLoss = 1;
    for (Property* property : {&given, &charged, &renormalised}) {
        property->coefFromData = 1;

        const std::string text = outputOf([&] { takeDataWeights(*property, *set); });

        EXPECT_EQ(text.find("Stress"), std::string::npos);
        EXPECT_EQ(property->hasStressCoef, 0);
    }
}

TEST(DataWeightsTest, NothingChangesWithoutTheKeyOrWithoutForces) {
    const auto still = makeSet(-0.5, 0.5, 0.0f);
    const auto moved = makeSet(-0.5, 0.5, 1.0f);
    Property property;

    EXPECT_EQ(outputOf([&] { takeDataWeights(property, *moved); }), "");
    property.coefFromData = 1;
    EXPECT_EQ(outputOf([&] { takeDataWeights(property, *still); }), "");
    EXPECT_FLOAT_EQ(property.coefEnergy, 1.0f);
    EXPECT_EQ(still->energyDev, std::vector<double>{2.5});
}

} // namespace
} // namespace melta
