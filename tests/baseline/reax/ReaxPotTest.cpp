#include "baseline/reax/ReaxPot.hpp"

#include "baseline/reax/ReaxSystem.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <omp.h>

namespace melta {
namespace {

using test::ReaxSite;

constexpr double evPerKcal = 0.04336410015821457;

class ReaxPotTest : public ::testing::Test {
protected:
    ReaxPotTest() { test::writeTextFile(fileName, test::makeReaxField().makeText()); }

    std::unique_ptr<Geometry> makeGeometry(std::span<const ReaxSite> someSites) {
        auto geometry = test::makeReaxGeometry(someSites, test::makeSkewCell());
        geometry->haveSetAtoms(6.0f, false);
        for (std::size_t i = 0; i < geometry->energies.size(); ++i) {
            geometry->energies[i] = 3.0 + static_cast<double>(i);
            geometry->forces[3 * i] = 0.25f;
        }
        geometry->energyTotal = -100.0;
        return geometry;
    }

    test::TemporaryDirectory directory;
    std::string fileName = directory.file("ffield.reax");
    std::vector<ReaxSite> sites = test::makeCrowd(4, 16, 1.3f);
};

TEST_F(ReaxPotTest, NothingComesOfNoGeometry) {
    ReaxPot pot(5.0, 0.5, fileName);
    std::vector<float> energies(1, 7.0f);
    std::vector<float> forces(3, 7.0f);

    pot.removeFromGeometry(nullptr);

    EXPECT_EQ(pot.obtainEnergy(nullptr), 0.0f);
    EXPECT_EQ(pot.obtainEnergiesAndForces(nullptr, energies, forces), 0.0f);
    EXPECT_EQ(energies, std::vector<float>(1, 7.0f));
    EXPECT_EQ(forces, std::vector<float>(3, 7.0f));
}

TEST_F(ReaxPotTest, ResultsAreThoseOfTheEvaluationInElectronVolts) {
    const double rate = 0.3;
    ReaxPot pot(5.0, rate, fileName);
    const ReaxParam param(5.0, fileName);
    test::ReaxSystem system(param, sites, test::makeSkewCell());
    const std::vector<double> kcalForces = system.obtainForces(system.positions);
    const auto kcalEnergies = system.evaluation.energies();
    const double kcalTotal = std::accumulate(kcalEnergies.begin(), kcalEnergies.end(), 0.0);
    const auto geometry = makeGeometry(sites);
    std::vector<float> energies(sites.size());
    std::vector<float> forces(3 * sites.size());

    const float total = pot.obtainEnergiesAndForces(geometry.get(), energies, forces);

    EXPECT_FLOAT_EQ(total, static_cast<float>(kcalTotal * evPerKcal * rate));
    EXPECT_EQ(pot.obtainEnergy(geometry.get()),
              static_cast<float>(kcalTotal) * 0.0433641f * static_cast<float>(rate));
    for (std::size_t i = 0; i < sites.size(); ++i) {
        EXPECT_FLOAT_EQ(energies[i], static_cast<float>(kcalEnergies[i] * evPerKcal * rate));
    }
    for (std::size_t k = 0; k < forces.size(); ++k) {
        const auto narrow = static_cast<float>(kcalForces[k]);
        EXPECT_FLOAT_EQ(forces[k], static_cast<float>(static_cast<double>(narrow) * evPerKcal * rate));
    }
}

TEST_F(ReaxPotTest, RemovalSubtractsFromTheReferenceData) {
    ReaxPot pot(5.0, 0.5, fileName);
    const auto geometry = makeGeometry(sites);
    std::vector<float> energies(sites.size());
    std::vector<float> forces(3 * sites.size());
    const float total = pot.obtainEnergiesAndForces(geometry.get(), energies, forces);
    const std::vector<Neighbor> neighbors(geometry->getNeighbors(0).begin(), geometry->getNeighbors(0).end());

    pot.removeFromGeometry(geometry.get());

    ASSERT_GT(std::fabs(total), 1.0f);
    EXPECT_NEAR(geometry->energyTotal, -100.0 - static_cast<double>(total),
                1.0e-5 * std::fabs(static_cast<double>(total)));
    double sum = 0.0;
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const double removed = 3.0 + static_cast<double>(i) - geometry->energies[i];
        sum += removed;
        EXPECT_NEAR(removed, static_cast<double>(energies[i]), 1.0e-6 * std::fabs(removed) + 1.0e-9) << i;
        for (std::size_t c = 0; c < 3; ++c) {
            const float before = c == 0 ? 0.25f : 0.0f;
            EXPECT_FLOAT_EQ(geometry->forces[3 * i + c], before - forces[3 * i + c]) << i;
        }
    }
    // The total is removed in double precision, not as the float that is reported.
    EXPECT_NEAR(-100.0 - geometry->energyTotal, sum, 1.0e-12 * std::fabs(sum));
    EXPECT_TRUE(std::equal(neighbors.begin(), neighbors.end(), geometry->getNeighbors(0).begin()));
}

TEST_F(ReaxPotTest, HalfTheRateHalvesEverything) {
    ReaxPot whole(5.0, 1.0, fileName);
    ReaxPot half(5.0, 0.5, fileName);
    const auto geometry = makeGeometry(sites);
    std::vector<float> wholeEnergies(sites.size());
    std::vector<float> wholeForces(3 * sites.size());
    std::vector<float> energies(sites.size());
    std::vector<float> forces(3 * sites.size());

    const float wholeTotal = whole.obtainEnergiesAndForces(geometry.get(), wholeEnergies, wholeForces);
    const float total = half.obtainEnergiesAndForces(geometry.get(), energies, forces);

    EXPECT_EQ(2.0f * total, wholeTotal);
    EXPECT_EQ(2.0f * half.obtainEnergy(geometry.get()), whole.obtainEnergy(geometry.get()));
    for (std::size_t i = 0; i < energies.size(); ++i) {
        EXPECT_EQ(2.0f * energies[i], wholeEnergies[i]);
    }
    for (std::size_t k = 0; k < forces.size(); ++k) {
        EXPECT_EQ(2.0f * forces[k], wholeForces[k]);
    }
}

TEST_F(ReaxPotTest, AtomsOfUnknownElementsAreNotThere) {
    ReaxPot pot(5.0, 0.5, fileName);
    std::vector<ReaxSite> mixed = sites;
    // In the middle of the list and near to others.
    mixed.insert(mixed.begin() + 5, {14, sites[0].x + 0.7f, sites[0].y, sites[0].z});
    mixed.insert(mixed.begin(), {300, 1.0f, 1.0f, 1.0f});
    const auto geometry = makeGeometry(sites);
    const auto mixedGeometry = makeGeometry(mixed);
    std::vector<float> energies(sites.size());
    std::vector<float> forces(3 * sites.size());
    std::vector<float> mixedEnergies(mixed.size(), 7.0f);
    std::vector<float> mixedForces(3 * mixed.size(), 7.0f);

    const float total = pot.obtainEnergiesAndForces(geometry.get(), energies, forces);
    const float mixedTotal = pot.obtainEnergiesAndForces(mixedGeometry.get(), mixedEnergies, mixedForces);
    pot.removeFromGeometry(mixedGeometry.get());

    EXPECT_EQ(mixedTotal, total);
    std::size_t i = 0;
    for (std::size_t m = 0; m < mixed.size(); ++m) {
        const bool isKnown = mixed[m].atomicNumber != 14 && mixed[m].atomicNumber != 300;
        EXPECT_EQ(mixedEnergies[m], isKnown ? energies[i] : 0.0f);
        EXPECT_EQ(mixedForces[3 * m + 1], isKnown ? forces[3 * i + 1] : 0.0f);
        if (!isKnown) {
            EXPECT_EQ(mixedGeometry->energies[m], 3.0 + static_cast<double>(m));
            EXPECT_EQ(mixedGeometry->forces[3 * m], 0.25f);
        }
        i += isKnown ? 1 : 0;
    }
}

TEST_F(ReaxPotTest, GeometryOfUnknownElementsStaysAsItIs) {
    ReaxPot pot(5.0, 0.5, fileName);
    const auto geometry = makeGeometry(std::vector<ReaxSite>{{14, 1.0f, 1.0f, 1.0f}, {79, 3.0f, 3.0f, 3.0f}});
    std::vector<float> energies(2, 7.0f);
    std::vector<float> forces(6, 7.0f);

    pot.removeFromGeometry(geometry.get());

    EXPECT_EQ(pot.obtainEnergy(geometry.get()), 0.0f);
    EXPECT_EQ(pot.obtainEnergiesAndForces(geometry.get(), energies, forces), 0.0f);
    EXPECT_EQ(energies, std::vector<float>(2, 0.0f));
    EXPECT_EQ(forces, std::vector<float>(6, 0.0f));
    EXPECT_EQ(geometry->energyTotal, -100.0);
    EXPECT_EQ(geometry->energies, (std::vector<double>{3.0, 4.0}));
    EXPECT_EQ(geometry->forces[0], 0.25f);
}

TEST_F(ReaxPotTest, OneObjectServesGeometriesOfAllSizes) {
    ReaxPot pot(5.0, 0.5, fileName);
    const auto large = makeGeometry(sites);
    const auto small = makeGeometry(std::span(sites).first(3));
    ReaxPot fresh(5.0, 0.5, fileName);
    const float expected = fresh.obtainEnergy(small.get());

    const float largeEnergy = pot.obtainEnergy(large.get());
    EXPECT_EQ(pot.obtainEnergy(small.get()), expected);
    EXPECT_EQ(pot.obtainEnergy(large.get()), largeEnergy);

    // As many atoms in another cell.
    EXPECT_EQ(pot.obtainEnergy(small.get()), expected);
    small->lattice = test::makeCubicCell(40.0f);
    ReaxPot another(5.0, 0.5, fileName);
    const float inLargeCell = another.obtainEnergy(small.get());
    EXPECT_NE(inLargeCell, expected);
    EXPECT_EQ(pot.obtainEnergy(small.get()), inLargeCell);
}

TEST_F(ReaxPotTest, ObjectsOfSeveralThreadsAgree) {
    const auto geometry = makeGeometry(sites);
    ReaxPot serial(5.0, 0.5, fileName);
    const float expected = serial.obtainEnergy(geometry.get());
    std::array<float, 4> energies{};

#pragma omp parallel num_threads(4)
    {
        ReaxPot pot(5.0, 0.5, fileName);
        energies[static_cast<std::size_t>(omp_get_thread_num())] = pot.obtainEnergy(geometry.get());
    }

    for (const float energy : energies) {
        EXPECT_EQ(energy, expected);
    }
}

TEST_F(ReaxPotTest, BadForceFieldStops) {
    const std::string missing = directory.file("nothing");

    EXPECT_EQ(test::stopMessageOf([&] { const ReaxPot pot(5.0, 0.5, missing); }),
              "cannot open file: " + missing);
}

} // namespace
} // namespace melta
