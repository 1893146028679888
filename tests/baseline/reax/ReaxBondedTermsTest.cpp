#include "baseline/reax/ReaxBondedTerms.hpp"

#include "baseline/reax/ReaxLonePairs.hpp"
#include "baseline/reax/ReaxSystem.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

using test::ReaxFieldText;
using test::ReaxSite;
using test::ReaxSystem;

// A force field without van der Waals term and without corrections of bond orders: energies can be worked out
// by hand.
ReaxFieldText makeBareField() {
    ReaxFieldText field = test::makeReaxField();
    for (auto& bond : field.bonds) {
        bond.lines[0][5] = 0.0; // v13cor
        bond.lines[1][6] = 0.0; // ovc
    }
    for (auto& atom : field.atoms) {
        atom.lines[0][4] = 0.0; // depth
        atom.lines[3][6] = 0.0; // e_core
    }
    field.offDiagonals.clear();
    return field;
}

double energyOfAtom(const ReaxFieldText& field, int atomicNumber) {
    const auto param = test::makeReaxParam(field);
    ReaxSystem system(*param, std::vector<ReaxSite>{{atomicNumber, 5.0f, 5.0f, 5.0f}},
                      test::makeCubicCell(20.0f));
    return system.obtainEnergy(system.positions);
}

struct Pair {
    Pair(const ReaxFieldText& field, int first, int second, float r)
        : param(test::makeReaxParam(field)),
          system(*param, std::vector<ReaxSite>{{first, 5.0f, 5.0f, 5.0f}, {second, 5.0f + r, 5.0f, 5.0f}},
                 test::makeCubicCell(20.0f)),
          energy(system.obtainEnergy(system.positions)), bond(system.evaluation.bondOrders().bonds()[0]) {}

    std::unique_ptr<ReaxParam> param;
    ReaxSystem system;
    double energy;
    ReaxBond bond;
};

TEST(ReaxBondedTermsTest, BondEnergyByHand) {
    ReaxFieldText field = makeBareField();
    field.atoms[0].lines[1][3] = 0.0; // p_ovun5
    field.atoms[0].lines[2][1] = 0.0; // p_lp2
    field.bonds[0].lines[0][7] = 0.0; // p_ovun1

    const Pair pair(field, 6, 6, 1.35f);

    const double sigma = pair.bond.total - pair.bond.pi - pair.bond.piPi;
    const double expected = -145.0 * sigma * std::exp(0.22 * (1.0 - std::pow(sigma, 0.46))) -
                            103.0 * pair.bond.pi - 73.0 * pair.bond.piPi;
    EXPECT_NEAR(pair.energy, expected, 1.0e-11 * std::fabs(expected));
    EXPECT_DOUBLE_EQ(pair.system.evaluation.energies()[0], pair.system.evaluation.energies()[1]);
}

// Over-coordination of one of two equal atoms, and under-coordination, from their formulas.
TEST(ReaxBondedTermsTest, CoordinationEnergyByHand) {
    ReaxFieldText field = makeBareField();
    field.atoms[0].lines[0][7] = 5.0; // valency_e of C: half a lone pair
    field.atoms[0].lines[2][1] = 0.0; // p_lp2
    field.atoms[0].lines[0][1] = 1.6; // valency, below the order of the bond
    field.bonds[0].lines[0][1] = 0.0; // De_pi
    field.bonds[0].lines[0][2] = 0.0; // De_pipi
    ReaxFieldText bondOnly = field;
    bondOnly.atoms[0].lines[1][3] = 0.0;
    bondOnly.bonds[0].lines[0][7] = 0.0;

    const Pair pair(field, 6, 6, 1.2f);
    const Pair reference(bondOnly, 6, 6, 1.2f);

    const double order = pair.bond.total;
    const double nlpOpt = 0.5 * (5.0 - 1.6);
    const double lack = nlpOpt - countLonePairs(order - 5.0).value;
    const double delta = order - 1.6;
    const double s = (pair.bond.pi + pair.bond.piPi) * (delta - lack);
    const double c = delta - lack / (1.0 + 47.0 * std::exp(0.72 * s));
    const double e2 = std::exp(-2.9 * c);
    const double e6 = std::exp(1.05 * c);
    const double over = c / (1.6 + 1.0e-8 + c) / (1.0 + e2) * (order * 0.44 * 145.0);
    const double under = -34.0 * (1.0 - e6) / (1.0 + 1.0 / e2) / (1.0 + 11.5 * std::exp(12.8 * s));
    const double expected = 2.0 * (over + under);
    ASSERT_GT(over, 1.0);
    ASSERT_GT(std::fabs(under), 1.0e-6);
    EXPECT_NEAR(pair.energy - reference.energy, expected, 1.0e-10 * std::fabs(expected));
}

TEST(ReaxBondedTermsTest, UndercoordinationOfALoneAtomByHand) {
    ReaxFieldText field = makeBareField();
    field.atoms[0].lines[2][1] = 0.0; // p_lp2

    // delta is -4, the lone pairs of an atom of 4 valence electrons are 1.5 instead of 0.
    const double c = -4.0 + 1.5 / (1.0 + 47.0);
    const double e2 = std::exp(-2.9 * c);
    const double expected = -34.0 * (1.0 - std::exp(1.05 * c)) / (1.0 + 1.0 / e2) / (1.0 + 11.5);

    EXPECT_NEAR(energyOfAtom(field, 6), expected, 1.0e-12);
}

// A lone atom with so many valence electrons and such a valency that lone pairs are missing.
TEST(ReaxBondedTermsTest, LonePairEnergyIsLinearInWhatIsMissingAndNothingElse) {
    ReaxFieldText field = makeBareField();
    field.atoms[2].lines[1][3] = 0.0;  // p_ovun5 of O
    field.atoms[2].lines[2][1] = 16.0; // p_lp2
    field.atoms[2].lines[0][7] = 5.0;  // valency_e: 2 lone pairs of the lone atom
    field.atoms[2].lines[0][1] = -2.0; // valency: 3.5 of the saturated one
    EXPECT_NEAR(energyOfAtom(field, 8), 16.0 * 1.5, 1.0e-12);

    field.atoms[2].lines[0][1] = 4.0; // 0.5 of the saturated one
    EXPECT_NEAR(energyOfAtom(field, 8), 0.0, 1.0e-12);
}

TEST(ReaxBondedTermsTest, LonePairsOfHeavyAtomsHaveAnEnergyButDoNotActOnNeighbors) {
    ReaxFieldText field = makeBareField();
    field.atoms[2].lines[0][1] = -2.0; // valency of O
    field.atoms[2].lines[0][7] = 5.0;  // valency_e
    ReaxFieldText heavy = field;
    heavy.atoms[2].lines[0][2] = 21.1; // mass
    heavy.atoms[2].lines[3][3] = 4.0;  // valency_val as valency_boc

    // Light: delta 2 is corrected by the 1.5 lone pairs that are missing. Heavy: it is not.
    const auto coordination = [](double c) {
        return -37.0 * (1.0 - std::exp(1.05 * c)) / (1.0 + std::exp(3.6 * c)) / (1.0 + 11.5);
    };
    const double lonePairs = 1.1 * 1.5;
    EXPECT_NEAR(energyOfAtom(field, 8), lonePairs + coordination(2.0 - 1.5 / 48.0), 1.0e-10);
    EXPECT_NEAR(energyOfAtom(heavy, 8), lonePairs + coordination(2.0), 1.0e-10);
}

TEST(ReaxBondedTermsTest, AtomOfExactlyTheLimitingMassIsLight) {
    ReaxFieldText field = makeBareField();
    field.atoms[2].lines[0][1] = -2.0;
    field.atoms[2].lines[0][7] = 5.0;
    const double light = energyOfAtom(field, 8);
    field.atoms[2].lines[0][2] = 21.0;

    EXPECT_EQ(energyOfAtom(field, 8), light);
}

TEST(ReaxBondedTermsTest, PairWithoutSigmaEnergyAddsNothingToTheOvercoordination) {
    ReaxFieldText field = makeBareField();
    field.bonds[0].lines[0][0] = 0.0; // De_sigma
    ReaxFieldText changed = field;
    changed.bonds[0].lines[0][7] = 50.0; // p_ovun1

    EXPECT_EQ(Pair(changed, 6, 6, 1.3f).energy, Pair(field, 6, 6, 1.3f).energy);
}

TEST(ReaxBondedTermsTest, SigmaOrderBelowZeroCountsAsNone) {
    ReaxFieldText field = makeBareField();
    field.general[29] = 5.0;           // boCut of 0.05
    field.bonds[0].lines[1][4] = -9.0; // p_bo1: hardly any sigma order, less than the cutoff
    const Pair pair(field, 6, 6, 1.2f);

    const double sigma = pair.bond.total - pair.bond.pi - pair.bond.piPi;

    ASSERT_LT(sigma, -0.01);
    EXPECT_TRUE(std::isfinite(pair.energy));
    for (std::size_t k : {0UL, 3UL}) {
        ReaxSystem system(*pair.param, std::vector<ReaxSite>{{6, 5.0f, 5.0f, 5.0f}, {6, 6.2f, 5.0f, 5.0f}},
                          test::makeCubicCell(20.0f));
        EXPECT_NEAR(system.obtainForces(system.positions)[k], system.differentiate(k), 1.0e-5);
    }
}

TEST(ReaxBondedTermsTest, FarFromSaturationEnergiesAndForcesStayFinite) {
    ReaxFieldText field = makeBareField();
    field.general[9] = 4000.0;           // p_ovun8
    field.general[31] = -4000.0;         // p_ovun4
    field.atoms[0].lines[3][0] = -900.0; // p_ovun2
    const auto param = test::makeReaxParam(field);
    for (const float r : {0.2f, 1.3f, 2.5f}) {
        ReaxSystem system(*param, std::vector<ReaxSite>{{6, 5.0f, 5.0f, 5.0f}, {6, 5.0f + r, 5.0f, 5.0f}},
                          test::makeCubicCell(20.0f));

        EXPECT_TRUE(std::isfinite(system.obtainEnergy(system.positions))) << r;
        for (const double force : system.obtainForces(system.positions)) {
            EXPECT_TRUE(std::isfinite(force)) << r;
        }
    }
}

} // namespace
} // namespace melta
