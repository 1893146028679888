#include "baseline/reax/ReaxBondOrders.hpp"

#include "baseline/reax/ReaxSystem.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

using test::ReaxFieldText;
using test::ReaxSite;
using test::ReaxSystem;

constexpr float edge = 20.0f;

// The bonds of a pair of atoms at a distance.
struct Dimer {
    Dimer(const ReaxParam& param, int first, int second, float r)
        : system(param, std::vector<ReaxSite>{{first, 5.0f, 5.0f, 5.0f}, {second, 5.0f + r, 5.0f, 5.0f}},
                 test::makeCubicCell(edge)) {
        system.obtainEnergy(system.positions);
        bonds = system.evaluation.bondOrders().bonds();
        distance = system.positions[3] - system.positions[0];
    }

    ReaxSystem system;
    std::span<const ReaxBond> bonds;
    double distance;
};

void switchOffCorrections(ReaxFieldText& field) {
    for (auto& bond : field.bonds) {
        bond.lines[0][5] = 0.0; // v13cor
        bond.lines[1][6] = 0.0; // ovc
    }
}

TEST(ReaxBondOrdersTest, UncorrectedOrdersFollowTheirFormula) {
    const auto param = test::makeReaxParam(test::makeReaxField());

    const Dimer dimer(*param, 6, 6, 1.4f);

    const double r = dimer.distance;
    const double boCut = 0.001;
    const double sigma = (1.0 + boCut) * std::exp(-0.09 * std::pow(r / 1.38, 6.6));
    const double pi = std::exp(-0.23 * std::pow(r / 1.16, 8.4));
    const double piPi = std::exp(-0.77 * std::pow(r / 1.21, 16.4));
    ASSERT_EQ(dimer.bonds.size(), 1U);
    EXPECT_NEAR(dimer.bonds[0].total, sigma + pi + piPi - boCut, 1.0e-14);
    EXPECT_NEAR(dimer.bonds[0].pi, pi, 1.0e-14);
    EXPECT_NEAR(dimer.bonds[0].piPi, piPi, 1.0e-14);
    EXPECT_NEAR(dimer.bonds[0].piSlope, 8.4 / r * -0.23 * std::pow(r / 1.16, 8.4) * pi, 1.0e-13);
    EXPECT_NEAR(dimer.system.evaluation.bondOrders().deltaPrime()[0], dimer.bonds[0].total - 4.0, 1.0e-14);
}

TEST(ReaxBondOrdersTest, WithoutCorrectionsTheOrdersStayAsTheyAre) {
    ReaxFieldText field = test::makeReaxField();
    switchOffCorrections(field);
    const auto param = test::makeReaxParam(field);

    const Dimer dimer(*param, 6, 8, 1.3f);

    ASSERT_EQ(dimer.bonds.size(), 1U);
    EXPECT_EQ(dimer.bonds[0].order.value, dimer.bonds[0].total);
    EXPECT_EQ(dimer.bonds[0].orderPi.value, dimer.bonds[0].pi);
    EXPECT_EQ(dimer.bonds[0].orderPiPi.value, dimer.bonds[0].piPi);
    EXPECT_EQ(dimer.bonds[0].order.byFirst, 0.0);
    EXPECT_EQ(dimer.bonds[0].order.byTotal, 1.0);
}

TEST(ReaxBondOrdersTest, CorrectionForOvercoordinationByHand) {
    ReaxFieldText field = test::makeReaxField();
    switchOffCorrections(field);
    field.bonds[0].lines[1][6] = 1.0; // ovc of C-C
    field.general[0] = 2.0;           // pBoc1
    field.general[1] = 3.0;           // pBoc2
    field.atoms[0].lines[0][1] = 1.5; // valency of C
    const auto param = test::makeReaxParam(field);

    const Dimer dimer(*param, 6, 6, 1.3f);

    ASSERT_EQ(dimer.bonds.size(), 1U);
    const ReaxBond& bond = dimer.bonds[0];
    const double delta = bond.total - 1.5;
    const double s1 = 2.0 * std::exp(-2.0 * delta);
    const double f3 = -std::log(std::exp(-3.0 * delta)) / 3.0;
    const double f1 = (1.5 + s1) / (1.5 + s1 + f3);
    EXPECT_NEAR(bond.order.value, bond.total * f1, 1.0e-14);
    EXPECT_NEAR(bond.orderPi.value, bond.pi * f1 * f1, 1.0e-14);
    EXPECT_NEAR(bond.orderPiPi.value, bond.piPi * f1 * f1, 1.0e-14);
    EXPECT_NE(f1, 1.0);
}

TEST(ReaxBondOrdersTest, CorrectionForAnglesByHand) {
    ReaxFieldText field = test::makeReaxField();
    switchOffCorrections(field);
    field.bonds[2].lines[0][5] = 1.0; // v13cor of C-O
    const auto param = test::makeReaxParam(field);

    const Dimer dimer(*param, 6, 8, 1.3f);

    ASSERT_EQ(dimer.bonds.size(), 1U);
    const ReaxBond& bond = dimer.bonds[0];
    const auto damping = [&](double valency, double valencyBoc) {
        const double deltaBoc = (bond.total - valency) + valency - valencyBoc;
        const double p3 = std::sqrt(34.0 * 3.4);
        const double p4 = std::sqrt(8.7 * 20.4);
        const double p5 = std::sqrt(13.3 * 0.27);
        return 1.0 / (1.0 + std::exp(-p3 * (p4 * bond.total * bond.total - deltaBoc) + p5));
    };
    const double a = damping(4.0, 3.9) * damping(2.0, 4.0);
    EXPECT_NEAR(bond.order.value, bond.total * a, 1.0e-14);
    EXPECT_NEAR(bond.orderPi.value, bond.pi * a, 1.0e-14);
}

TEST(ReaxBondOrdersTest, OrdersBelowTheSmallestAreNone) {
    ReaxFieldText field = test::makeReaxField();
    field.atoms[0].lines[1][2] = -40.0; // valency_boc: the correction for angles leaves nothing
    const auto param = test::makeReaxParam(field);

    const Dimer dimer(*param, 6, 6, 1.4f);

    ASSERT_EQ(dimer.bonds.size(), 1U);
    EXPECT_GT(dimer.bonds[0].total, 0.0);
    EXPECT_EQ(dimer.bonds[0].order.value, 0.0);
    EXPECT_EQ(dimer.bonds[0].order.byTotal, 0.0);
    EXPECT_EQ(dimer.bonds[0].orderPi.value, 0.0);
    EXPECT_EQ(dimer.bonds[0].orderPi.byOwn, 0.0);
}

TEST(ReaxBondOrdersTest, AtomsBeyondTheCutoffFormNoBond) {
    const auto near = test::makeReaxParam(test::makeReaxField(), 1.35);
    const auto far = test::makeReaxParam(test::makeReaxField(), 1.45);

    EXPECT_EQ(Dimer(*near, 6, 6, 1.4f).bonds.size(), 0U);
    EXPECT_EQ(Dimer(*far, 6, 6, 1.4f).bonds.size(), 1U);
}

TEST(ReaxBondOrdersTest, PairsWithoutEntryFormNoBond) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    ReaxFieldText none = test::makeReaxField();
    none.bonds.clear();
    const auto empty = test::makeReaxParam(none);

    EXPECT_EQ(Dimer(*param, 6, 26, 1.4f).bonds.size(), 0U);
    EXPECT_EQ(Dimer(*empty, 6, 6, 1.4f).bonds.size(), 0U);
    EXPECT_EQ(param->rcut, 5.0);
}

TEST(ReaxBondOrdersTest, ReachEndsWhereTheOrderFallsBelowTheCutoff) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    const ReaxBondOrders orders(*param);

    // Only the sigma order is left there: 1.001 exp(-0.09 (r / 1.38)^6.6) = 0.001.
    const double expected = 1.38 * std::pow(std::log(1001.0) / 0.09, 1.0 / 6.6);

    EXPECT_NEAR(orders.reachOf(0, 0), expected, 2.0e-6);
    EXPECT_GE(orders.reachOf(0, 0), expected);
    EXPECT_EQ(orders.reachOf(0, 3), 0.0);
}

TEST(ReaxBondOrdersTest, OrdersThatGrowWithTheDistanceReachToTheCutoff) {
    ReaxFieldText field = test::makeReaxField();
    field.bonds[0].lines[1][5] = -6.6; // p_bo2
    field.atoms[0].lines[0][6] = -1.0; // r_pi
    field.atoms[0].lines[2][0] = -1.0; // r_pipi
    const auto param = test::makeReaxParam(field);
    const ReaxBondOrders orders(*param);

    EXPECT_EQ(orders.reachOf(0, 0), 5.0);
    EXPECT_EQ(Dimer(*param, 6, 6, 4.9f).bonds.size(), 1U);
    EXPECT_EQ(Dimer(*param, 6, 6, 0.5f).bonds.size(), 0U);
}

TEST(ReaxBondOrdersTest, LoneImagesOfOneAtomBondWithEachOther) {
    const auto param = test::makeReaxParam(test::makeReaxField());
    ReaxSystem system(*param, std::vector<ReaxSite>{{6, 0.5f, 0.5f, 0.5f}}, test::makeCubicCell(1.6f));

    system.obtainEnergy(system.positions);

    // Within the reach of 2.66 Angstrom: three bonds along the axes and six along the diagonals of faces,
    // each with both of its ends here.
    const auto bonds = system.evaluation.bondOrders().bonds();
    double sum = -4.0;
    for (const ReaxBond& bond : bonds) {
        sum += 2.0 * bond.total;
    }
    EXPECT_EQ(bonds.size(), 9U);
    EXPECT_NEAR(system.evaluation.bondOrders().deltaPrime()[0], sum, 1.0e-13);
}

TEST(ReaxBondOrdersTest, ExtremeCoordinationStaysFinite) {
    ReaxFieldText field = test::makeReaxField();
    field.atoms[0].lines[0][1] = 40.0; // valency: exponentials of 40 x 48
    const auto param = test::makeReaxParam(field);

    for (const float r : {0.3f, 1.3f, 2.6f}) {
        Dimer dimer(*param, 6, 6, r);
        ASSERT_EQ(dimer.bonds.size(), 1U);
        EXPECT_TRUE(std::isfinite(dimer.system.obtainEnergy(dimer.system.positions)));
        for (const double force : dimer.system.obtainForces(dimer.system.positions)) {
            EXPECT_TRUE(std::isfinite(force)) << r;
        }
    }
}

} // namespace
} // namespace melta
