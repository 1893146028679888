#include "baseline/reax/ReaxEvaluation.hpp"

#include "baseline/reax/ReaxSystem.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace melta {
namespace {

using test::ReaxFieldText;
using test::ReaxSite;
using test::ReaxSystem;

constexpr double lower = ReaxParam::lpLower;
constexpr double upper = ReaxParam::lpUpper;

// Whether an atom stands where the slope of the lone-pair count is not the exact one.
bool hasInexactSlope(ReaxSystem& system) {
    const std::vector<double> deltaE = system.findDeltaE();
    return std::any_of(deltaE.begin(), deltaE.end(),
                       [](double x) { return x > lower - 0.01 && x < upper + 0.01; });
}

// The forces of crowds in which no atom has an inexact slope, against differences of the energy. Gives the
// number of crowds.
int compareWithDifferences(const ReaxFieldText& field, double tolerance) {
    const auto param = test::makeReaxParam(field);
    int numCompared = 0;
    for (unsigned seed = 0; seed < 40 && numCompared < 4; ++seed) {
        ReaxSystem system(*param, test::makeCrowd(seed, 12, 1.35f), test::makeSkewCell());
        if (hasInexactSlope(system)) {
            continue;
        }
        ++numCompared;
        const std::vector<double> forces = system.obtainForces(system.positions);
        double greatest = 0.0;
        for (const double force : forces) {
            greatest = std::max(greatest, std::fabs(force));
        }
        EXPECT_GT(greatest, 1.0e-3) << "seed " << seed;
        for (std::size_t k = 0; k < forces.size(); ++k) {
            const double error = std::fabs(forces[k] - system.differentiate(k));
            EXPECT_LE(error, tolerance * greatest) << "seed " << seed << " coordinate " << k;
        }
    }
    return numCompared;
}

void switchOffBondEnergy(ReaxFieldText& field) {
    for (auto& bond : field.bonds) {
        bond.lines[0][1] = 0.0; // De_pi
        bond.lines[0][2] = 0.0; // De_pipi
        bond.lines[0][0] = 0.0; // De_sigma, of the over-coordination, too
    }
}

void switchOffLonePairs(ReaxFieldText& field) {
    for (auto& atom : field.atoms) {
        atom.lines[2][1] = 0.0; // p_lp2
    }
}

void switchOffUndercoordination(ReaxFieldText& field) {
    for (auto& atom : field.atoms) {
        atom.lines[1][3] = 0.0; // p_ovun5
    }
}

void switchOffOvercoordination(ReaxFieldText& field) {
    for (auto& bond : field.bonds) {
        bond.lines[0][7] = 0.0; // p_ovun1
    }
}

void switchOffVanDerWaals(ReaxFieldText& field) {
    for (auto& atom : field.atoms) {
        atom.lines[0][4] = 0.0; // depth
        atom.lines[3][6] = 0.0; // e_core
    }
    field.offDiagonals.clear();
}

TEST(ReaxEvaluationTest, ForcesAreTheDerivativesOfTheTotalEnergy) {
    EXPECT_EQ(compareWithDifferences(test::makeReaxField(), 1.0e-6), 4);
}

TEST(ReaxEvaluationTest, ForcesAreTheDerivativesOfTheBondEnergy) {
    ReaxFieldText field = test::makeReaxField();
    switchOffLonePairs(field);
    switchOffUndercoordination(field);
    switchOffOvercoordination(field);
    switchOffVanDerWaals(field);

    EXPECT_EQ(compareWithDifferences(field, 1.0e-6), 4);
}

TEST(ReaxEvaluationTest, ForcesAreTheDerivativesOfTheLonePairEnergy) {
    ReaxFieldText field = test::makeReaxField();
    switchOffBondEnergy(field);
    switchOffUndercoordination(field);
    switchOffVanDerWaals(field);

    EXPECT_EQ(compareWithDifferences(field, 1.0e-6), 4);
}

TEST(ReaxEvaluationTest, ForcesAreTheDerivativesOfTheOvercoordination) {
    ReaxFieldText field = test::makeReaxField();
    switchOffLonePairs(field);
    switchOffUndercoordination(field);
    switchOffVanDerWaals(field);
    for (auto& bond : field.bonds) {
        bond.lines[0][1] = 0.0;
        bond.lines[0][2] = 0.0;
        // Makes the over-coordination stand out beside the bond energy that De_sigma cannot lose.
        bond.lines[0][7] *= 100.0;
    }

    EXPECT_EQ(compareWithDifferences(field, 1.0e-6), 4);
}

TEST(ReaxEvaluationTest, ForcesAreTheDerivativesOfTheUndercoordination) {
    ReaxFieldText field = test::makeReaxField();
    switchOffBondEnergy(field);
    switchOffLonePairs(field);
    switchOffVanDerWaals(field);

    EXPECT_EQ(compareWithDifferences(field, 1.0e-6), 4);
}

TEST(ReaxEvaluationTest, ForcesAreTheDerivativesOfTheVanDerWaalsEnergy) {
    for (const bool withShielding : {true, false}) {
        for (const bool withInnerWall : {true, false}) {
            ReaxFieldText field = test::makeReaxField();
            field.bonds.clear();
            switchOffLonePairs(field);
            switchOffUndercoordination(field);
            field.atoms[0].lines[1][1] = withShielding ? 2.1 : 0.0;
            field.atoms[0].lines[3][5] = withInnerWall ? 1.4 : 0.0;
            SCOPED_TRACE(::testing::Message() << withShielding << withInnerWall);

            EXPECT_EQ(compareWithDifferences(field, 1.0e-6), 4);
        }
    }
}

TEST(ReaxEvaluationTest, BondsThatReachFartherThanTheTaperLeaveItAlone) {
    ReaxFieldText field = test::makeReaxField();
    field.general[12] = 4.0; // upper taper radius
    const auto near = test::makeReaxParam(field, 4.0);
    const auto far = test::makeReaxParam(field, 6.0);
    const std::vector<ReaxSite> sites = test::makeCrowd(3, 12, 1.35f);

    ReaxSystem nearSystem(*near, sites, test::makeSkewCell());
    ReaxSystem farSystem(*far, sites, test::makeSkewCell());

    // No bond of these parameters is longer than 4 Angstrom.
    const double energy = nearSystem.obtainEnergy(nearSystem.positions);
    EXPECT_NEAR(farSystem.obtainEnergy(farSystem.positions), energy, 1.0e-9 * std::fabs(energy));
}

TEST(ReaxEvaluationTest, TypesWithoutLengthsHaveNoWellAndNoWall) {
    ReaxFieldText none = test::makeReaxField();
    none.offDiagonals.clear();
    none.atoms[1].lines[0][4] = 0.0; // depth of H
    none.atoms[1].lines[3][6] = 0.0; // e_core
    const std::vector<ReaxSite> sites = test::makeCrowd(6, 12, 1.3f);
    const auto forcesOf = [&](const ReaxFieldText& field) {
        const auto param = test::makeReaxParam(field);
        ReaxSystem system(*param, sites, test::makeSkewCell());
        return system.obtainForces(system.positions);
    };
    const std::vector<double> expected = forcesOf(none);

    ReaxFieldText noRadius = none;
    noRadius.atoms[1].lines[0][3] = 0.0; // r_vdW
    noRadius.atoms[1].lines[0][4] = 0.05;
    ReaxFieldText noShielding = none;
    noShielding.atoms[1].lines[1][1] = 0.0; // gamma_w
    noShielding.atoms[1].lines[0][4] = 0.05;
    ReaxFieldText noCore = none;
    noCore.atoms[1].lines[3][5] = 0.0; // r_core
    noCore.atoms[1].lines[3][6] = 0.12;
    noCore.atoms[1].lines[3][7] = 0.0; // a_core

    EXPECT_EQ(forcesOf(noRadius), expected);
    EXPECT_EQ(forcesOf(noShielding), expected);
    EXPECT_EQ(forcesOf(noCore), expected);
}

// C holds hardly any electrons: a bond of order about 2 puts deltaE between lpLower and lpUpper.
ReaxFieldText makeInexactField() {
    ReaxFieldText field = test::makeReaxField();
    field.atoms[0].lines[0][1] = 0.1;  // valency of C
    field.atoms[0].lines[0][7] = 0.2;  // valency_e
    field.atoms[0].lines[2][1] = 90.0; // p_lp2
    field.bonds[0].lines[1][6] = 0.0;  // ovc of C-C, which would cut the order down to the valency
    return field;
}

TEST(ReaxEvaluationTest, OnlyAtomsInTheTaperOfTheLonePairsDeviateFromTheDerivative) {
    const auto param = test::makeReaxParam(makeInexactField());
    const std::vector<ReaxSite> sites{
        {6, 5.0f, 5.0f, 5.0f},    {6, 6.2f, 5.1f, 4.9f},                              // inexact
        {8, 15.0f, 15.0f, 15.0f}, {1, 15.6f, 15.7f, 14.8f}, {1, 14.2f, 15.4f, 15.3f}, // exact
    };
    ReaxSystem system(*param, sites, test::makeCubicCell(20.0f));
    const std::vector<double> deltaE = system.findDeltaE();
    ASSERT_GT(deltaE[0], lower + 0.05);
    ASSERT_LT(deltaE[0], upper - 0.05);

    const std::vector<double> forces = system.obtainForces(system.positions);

    EXPECT_GT(std::fabs(forces[0] - system.differentiate(0)), 1.0);
    EXPECT_GT(std::fabs(forces[3] - system.differentiate(3)), 1.0);
    for (std::size_t k = 6; k < forces.size(); ++k) {
        EXPECT_LE(std::fabs(forces[k] - system.differentiate(k)), 1.0e-5) << k;
    }
}

TEST(ReaxEvaluationTest, ForcesSumUpToZero) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    ReaxSystem system(*param, test::makeCrowd(7, 24, 1.1f), test::makeSkewCell());

    const std::vector<double> forces = system.obtainForces(system.positions);

    double greatest = 0.0;
    std::array<double, 3> sum{};
    for (std::size_t k = 0; k < forces.size(); ++k) {
        sum[k % 3] += forces[k];
        greatest = std::max(greatest, std::fabs(forces[k]));
    }
    for (const double component : sum) {
        EXPECT_LE(std::fabs(component), 1.0e-12 * greatest);
    }
}

TEST(ReaxEvaluationTest, TranslationsChangeNothing) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    std::vector<ReaxSite> sites = test::makeCrowd(5, 16, 1.3f);
    ReaxSystem here(*param, sites, test::makeSkewCell());
    const double energy = here.obtainEnergy(here.positions);
    for (ReaxSite& site : sites) {
        site.x += 3.5f;
        site.y -= 11.25f;
        site.z += 0.75f;
    }

    ReaxSystem there(*param, sites, test::makeSkewCell());

    // Positions are wrapped in single precision.
    EXPECT_NEAR(there.obtainEnergy(there.positions), energy, 1.0e-5 * std::fabs(energy));
}

TEST(ReaxEvaluationTest, RotationsTurnTheForces) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    const std::vector<ReaxSite> sites = test::makeCrowd(5, 16, 1.3f);
    std::vector<ReaxSite> turnedSites = sites;
    for (ReaxSite& site : turnedSites) {
        site = {site.atomicNumber, site.y, site.z, site.x};
    }
    const std::array<float, 9> cell = test::makeSkewCell();
    std::array<float, 9> turnedCell{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t c = 0; c < 3; ++c) {
            turnedCell[3 * row + c] = cell[3 * row + (c + 1) % 3];
        }
    }
    ReaxSystem system(*param, sites, cell);
    ReaxSystem turned(*param, turnedSites, turnedCell);

    const std::vector<double> forces = system.obtainForces(system.positions);
    const std::vector<double> turnedForces = turned.obtainForces(turned.positions);

    for (std::size_t i = 0; i < sites.size(); ++i) {
        EXPECT_NEAR(system.evaluation.energies()[i], turned.evaluation.energies()[i], 1.0e-6);
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(turnedForces[3 * i + c], forces[3 * i + (c + 1) % 3], 1.0e-6) << i;
        }
    }
}

TEST(ReaxEvaluationTest, OrderOfTheAtomsDoesNotMatter) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    std::vector<ReaxSite> sites = test::makeCrowd(9, 16, 1.3f);
    ReaxSystem system(*param, sites, test::makeSkewCell());
    const std::vector<double> forces = system.obtainForces(system.positions);
    std::reverse(sites.begin(), sites.end());

    ReaxSystem reversed(*param, sites, test::makeSkewCell());
    const std::vector<double> reversedForces = reversed.obtainForces(reversed.positions);

    for (std::size_t i = 0; i < sites.size(); ++i) {
        const std::size_t j = sites.size() - 1 - i;
        EXPECT_NEAR(system.evaluation.energies()[i], reversed.evaluation.energies()[j], 1.0e-8);
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(forces[3 * i + c], reversedForces[3 * j + c], 1.0e-8);
        }
    }
}

TEST(ReaxEvaluationTest, LargerCellsHoldTheSameEnergies) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    const std::vector<ReaxSite> sites = test::makeCrowd(11, 6, 1.4f);
    const std::array<float, 9> cell = test::makeSkewCell();
    std::vector<ReaxSite> twice = sites;
    for (const ReaxSite& site : sites) {
        twice.push_back({site.atomicNumber, site.x + cell[0], site.y + cell[1], site.z + cell[2]});
    }
    std::array<float, 9> longCell = cell;
    for (std::size_t c = 0; c < 3; ++c) {
        longCell[c] *= 2.0f;
    }
    ReaxSystem system(*param, sites, cell);
    ReaxSystem longSystem(*param, twice, longCell);

    const double energy = system.obtainEnergy(system.positions);

    EXPECT_NEAR(longSystem.obtainEnergy(longSystem.positions), 2.0 * energy, 1.0e-5 * std::fabs(energy));
}

TEST(ReaxEvaluationTest, EvaluationsLeaveNothingBehind) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    ReaxSystem system(*param, test::makeCrowd(2, 16, 1.3f), test::makeSkewCell());
    const std::vector<double> forces = system.obtainForces(system.positions);
    const std::vector<double> energies(system.evaluation.energies().begin(),
                                       system.evaluation.energies().end());

    const double energy = system.obtainEnergy(system.positions);
    EXPECT_TRUE(system.evaluation.forces().empty());
    const std::vector<double> again = system.obtainForces(system.positions);

    EXPECT_EQ(again, forces);
    EXPECT_EQ(std::accumulate(energies.begin(), energies.end(), 0.0), energy);
}

} // namespace
} // namespace melta
