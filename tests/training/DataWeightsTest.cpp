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
    EXPECT_FLOAT_EQ(wide.final, 2.0f);
    EXPECT_DOUBLE_EQ(wide.outputScale, 0.025);
    EXPECT_FLOAT_EQ(same.first, 0.5f);
}

TEST(DataWeightsTest, TrainingTakesThemAndTellsIt) {
    const auto set = makeSet(-0.5, 0.5, 0.05f);
    Property property;
    property.coefFromData = 1;
    property.hasEnergyCoef = 0;

    const std::string text = outputOf([&] { takeDataWeights(property, *set); });

    EXPECT_EQ(text, "  * Energy Mixing Rate from the data: 2.000e-02 -> 2.000e+00 1/Angstrom^2\n"
                    "    (forces of 5.000e-02 eV/Angstrom, energies within 5.000e-01 eV/atom)\n\n");
    EXPECT_FLOAT_EQ(property.coefEnergy, 0.02f);
    EXPECT_FLOAT_EQ(property.coefEnergyFinal, 2.0f);
    EXPECT_EQ(property.hasEnergyCoef, 1);
    EXPECT_NEAR(set->energyDev.front(), 0.025, 1.0e-8);
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
