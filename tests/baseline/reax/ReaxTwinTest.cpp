#include "ReaxComparison.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

// Small systems worked out by hand. They hold for the twin, term by term, and for the potential itself.

namespace melta::test {
namespace {

// Two atoms of H along x at a distance that single precision represents exactly.
ReaxConfiguration makeStraightDimer(float r) {
    ReaxConfiguration dimer = makeEmptyBox(30.0f);
    dimer.add(1, 10.0f, 10.0f, 10.0f);
    dimer.add(1, 10.0f + r, 10.0f, 10.0f);
    return dimer;
}

ReaxConfiguration makeSingleAtom() {
    ReaxConfiguration atom = makeEmptyBox(30.0f);
    atom.add(1, 10.0f, 10.0f, 10.0f);
    return atom;
}

ReaxTwinAtoms twinAtomsOf(const ReaxConfiguration& configuration) {
    return ReaxTwinAtoms::of(*configuration.makeGeometry());
}

void expectNear(double value, double expected) {
    EXPECT_LE(std::abs(value - expected), 1.0e-12 * std::max(1.0, std::abs(expected)))
        << value << " instead of " << expected;
}

// nlp of an atom without neighbours and coordination `x`: its valencyE is -x.
double isolatedCount(double x) {
    ReaxSample sample = ReaxSample::plainHydrogen();
    sample.types[0].valencyE = -x;
    const ReaxComparison comparison(5.0, sample.text());
    return comparison.twin.evaluate(twinAtomsOf(makeSingleAtom())).nlp[0];
}

} // namespace

TEST(ReaxTwin, HydrogenMoleculeIsAsWorkedOutByHand) {
    ReaxSample sample = ReaxSample::plainHydrogen();
    sample.types[0].rSigma = 0.625;
    ReaxComparison comparison(5.0, sample.text());

    const ReaxTwinOutcome<double> outcome = comparison.twin.evaluate(twinAtomsOf(makeStraightDimer(0.75f)));
    const std::vector<double> energies = potEnergies(comparison.pot, makeStraightDimer(0.75f));

    // u = 0.75 / 0.625 = 1.2, BO = 1.001 exp(-0.1 u^6) - 0.001, and nothing corrects it.
    expectNear(outcome.delta[0], 0.7415991367816478 - 1.0);
    expectNear(outcome.deltaE[0], 0.7415991367816478 - 1.0);
    // Half of -100 BO exp(-0.5 (1 - BO)).
    expectNear(outcome.bond[0], -32.5857848292424);
    // No lone pair near coordination 0.
    EXPECT_EQ(outcome.nlp[0], 0.0);
    EXPECT_EQ(outcome.lonePair[0], 0.0);
    // delta / (1 + 1e-8 + delta) / (1 + exp(-2 delta)) x (0.25 x 100 BO).
    expectNear(outcome.overCoordination[0], -2.41346661793347);
    // -5 (1 - exp(1.15 delta)) / (1 + exp(2 delta)) / (1 + 3).
    expectNear(outcome.underCoordination[0], -0.2012900681547848);
    // Half of Tap(0.75) 0.04 (exp(6) - 2 exp(3)): neither shielding nor a wall.
    expectNear(outcome.vanDerWaals[0], 7.249595381348064);
    const double sum = -32.5857848292424 - 2.41346661793347 - 0.2012900681547848 + 7.249595381348064;
    expectNear(energies[0], sum);
    expectNear(energies[1], sum);
}

TEST(ReaxTwin, DimerWithPiBondsAndAllCorrectionsIsAsWorkedOutByHand) {
    ReaxSample sample = ReaxSample::plainHydrogen();
    sample.types[0] = {"H", 0.8, 2.0, 1.008, 1.5, 0.04, 0.75, 4.0, 8.0, 2.0, 1.9,
                       5.0, 0.7, 3.0, 2.5,   3.2, 1.4,  -2.0, 5.5, 1.2, 0.3, 9.0};
    sample.general[1] = 3.0;
    sample.general[2] = 5.0;
    sample.bonds[0] = {1, 1, 100.0, 60.0, 40.0, -0.5, -0.3, 1.0, 8.0, 0.25, 1.5, -0.2, 7.0, -0.1, 6.0, 1.0};
    ReaxComparison comparison(5.0, sample.text());

    const ReaxTwinOutcome<double> outcome = comparison.twin.evaluate(twinAtomsOf(makeStraightDimer(0.75f)));
    const std::vector<double> energies = potEnergies(comparison.pot, makeStraightDimer(0.75f));

    // The two atoms are alike, which shortens the corrections: f3 is the common surplus itself.
    const double sigma = 1.001 * std::exp(-0.1 * std::pow(0.9375, 6)) - 0.001;
    const double pi1 = std::exp(-0.2);
    const double pi2 = std::exp(-0.3 * std::pow(0.75 / 0.7, 8));
    const double b = sigma + pi1 + pi2;
    const double surplus = b - 2.0;
    const double v = 2.0 + 2.0 * std::exp(-3.0 * surplus);
    const double f1 = v / (v + surplus);
    // The mass is below 21, so that 1.9 and not 5.5 is the valency of the 1-3 correction.
    const double f4 = 1.0 / (1.0 + std::exp(-3.2 * (2.5 * b * b - (surplus + 2.0 - 1.9)) + 1.4));
    const double total = b * f1 * f4 * f4;
    const double pi1Corrected = pi1 * f1 * f1 * f4 * f4;
    const double pi2Corrected = pi2 * f1 * f1 * f4 * f4;
    const double sigmaCorrected = total - pi1Corrected - pi2Corrected;
    const double delta = total - 2.0;
    expectNear(outcome.deltaPrime[0], surplus);
    expectNear(outcome.delta[0], delta);

    const double bond =
        -0.5 * (100.0 * sigmaCorrected * std::exp(-0.5 * (1.0 - sigmaCorrected * std::sqrt(sigmaCorrected))) +
                60.0 * pi1Corrected + 40.0 * pi2Corrected);
    expectNear(outcome.bond[0], bond);

    // The coordination by electrons lies between -2.3 and -1.5, where the count is switched on.
    const double x = total - 4.0;
    ASSERT_LT(x, -1.5);
    ASSERT_GT(x, -2.3);
    const double stair =
        std::atan2(0.8 * std::sin(std::numbers::pi * x), 1.0 - 0.8 * std::cos(std::numbers::pi * x)) /
        std::numbers::pi;
    const double t = (x + 2.3) / 0.8;
    const double nlp = (-0.5 * x - 0.5 - stair) * (1.0 - 35.0 * std::pow(t, 4) + 84.0 * std::pow(t, 5) -
                                                   70.0 * std::pow(t, 6) + 20.0 * std::pow(t, 7));
    expectNear(outcome.nlp[0], nlp);
    const double lack = 1.0 - nlp;
    const double lonePair = 3.0 * lack / (1.0 + std::exp(-75.0 * lack));
    expectNear(outcome.lonePair[0], lonePair);

    const double s = (pi1Corrected + pi2Corrected) * (delta - 1.0 + nlp);
    const double deltaCorr = delta - lack / (1.0 + 45.0 * std::exp(0.64 * s));
    const double over =
        deltaCorr / (2.0 + 1.0e-8 + deltaCorr) / (1.0 + std::exp(-2.0 * deltaCorr)) * (total * 0.25 * 100.0);
    const double under = -5.0 * (1.0 - std::exp(1.15 * deltaCorr)) / (1.0 + std::exp(2.0 * deltaCorr)) /
                         (1.0 + 3.0 * std::exp(s));
    expectNear(outcome.overCoordination[0], over);
    expectNear(outcome.underCoordination[0], under);

    const double f = std::pow(std::pow(0.75, 1.62) + std::pow(0.5, 1.62), 1.0 / 1.62);
    const double q = 0.75 / 8.0;
    const double taper =
        1.0 - 35.0 * std::pow(q, 4) + 84.0 * std::pow(q, 5) - 70.0 * std::pow(q, 6) + 20.0 * std::pow(q, 7);
    const double vdw = 0.5 * taper *
                       (0.04 * (std::exp(8.0 * (1.0 - f / 3.0)) - 2.0 * std::exp(4.0 * (1.0 - f / 3.0))) +
                        0.3 * std::exp(9.0 * (1.0 - 0.75 / 1.2)));
    expectNear(outcome.vanDerWaals[0], vdw);
    expectNear(energies[0], bond + lonePair + over + under + vdw);
}

TEST(ReaxTwin, LonePairCountOfIsolatedAtomsIsAsWorkedOutByHand) {
    const double t = 0.375;
    const double taper =
        1.0 - 35.0 * std::pow(t, 4) + 84.0 * std::pow(t, 5) - 70.0 * std::pow(t, 6) + 20.0 * std::pow(t, 7);

    // In the middle of a step the count is the number of pairs.
    expectNear(isolatedCount(-3.0), 1.0);
    expectNear(isolatedCount(-5.0), 2.0);
    expectNear(isolatedCount(3.0), -1.0);
    // Between two steps it is half way.
    expectNear(isolatedCount(-4.0), 1.5);
    expectNear(isolatedCount(-2.0), 0.5 * taper);
    expectNear(isolatedCount(2.0), -0.5 * taper);
    // At a quarter of the period the arc tangent is that of 0.8.
    expectNear(isolatedCount(2.5), -0.75 - std::atan(0.8) / std::numbers::pi);
    for (const double x : {-1.5, -1.0, 0.0, 1.4999, 1.5}) {
        EXPECT_LE(std::abs(isolatedCount(x)), 1.0e-14) << x;
    }
}

TEST(ReaxTwin, StatedLonePairSlopeDiffersFromTheDerivativeOnlyBetweenTheUpperLimits) {
    for (const double x : {-6.2, -4.0, -2.9, -2.2, -1.7, -1.0, 0.4, 1.6, 1.9, 2.25, 2.6, 3.9}) {
        const double difference = (isolatedCount(x + 1.0e-5) - isolatedCount(x - 1.0e-5)) / 2.0e-5;
        const double surplus = x >= 1.5 && x < 2.3 ? lonePairTaperSlope(2.3 - x) : 0.0;

        // The file holds six decimals, which the step respects.
        EXPECT_LE(std::abs(toldLonePairSlope(x) - difference - surplus), 1.0e-7) << x;
    }
}

TEST(ReaxTwin, DerivativesAgreeWithCentralDifferences) {
    const ReaxComparison comparison(5.0, ReaxSample::mixed().text());
    const std::vector<ReaxConfiguration> configurations{makeWater(), makeEthene(),
                                                        makeDistortedCrystal({1, 6, 8, 26, 1, 6, 8, 26}, 1)};

    for (const ReaxConfiguration& configuration : configurations) {
        const ReaxTwinAtoms atoms = twinAtomsOf(configuration);
        const ReaxTwinGradient gradient = comparison.twin.gradient(atoms, LonePairSlope::exact);
        const std::vector<double> differences = comparison.twin.differences(atoms, 1.0e-5);

        for (std::size_t k = 0; k < differences.size(); ++k) {
            EXPECT_LE(std::abs(gradient.bonded[k] + gradient.vanDerWaals[k] - differences[k]), 3.0e-6) << k;
        }
    }
}

} // namespace melta::test
