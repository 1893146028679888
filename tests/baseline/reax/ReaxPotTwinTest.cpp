#include "ReaxComparison.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

// The potential against its twin.

namespace melta::test {
namespace {

using Named = std::pair<std::string, ReaxConfiguration>;

std::vector<Named> molecules() {
    return {{"H2", makeDimer(1, 1, 0.76f)},
            {"stretched H2", makeDimer(1, 1, 1.6f)},
            {"O2", makeDimer(8, 8, 1.22f)},
            {"C-C single", makeDimer(6, 6, 1.53f)},
            {"C-C double", makeDimer(6, 6, 1.33f)},
            {"C-C triple", makeDimer(6, 6, 1.2f)},
            {"C-O", makeDimer(6, 8, 1.14f)},
            {"O-H", makeDimer(8, 1, 0.97f)},
            {"Fe2", makeDimer(26, 26, 2.1f)},
            {"Fe-O", makeDimer(26, 8, 1.68f)},
            {"C-Fe, which has no bond entry", makeDimer(6, 26, 1.7f)},
            {"H2O", makeWater()},
            {"CH4", makeMethane()},
            {"CO2", makeCarbonDioxide()},
            {"C2H4", makeEthene()},
            {"C2H2", makeEthyne()}};
}

std::vector<Named> crystals() {
    return {{"all types", makeDistortedCrystal({1, 6, 8, 26, 1, 6, 8, 26}, 1)},
            {"oxide", makeDistortedCrystal({26, 8, 26, 8, 8, 26, 8, 1}, 2)},
            {"iron", makeDistortedCrystal({26, 26, 26, 26, 26, 26, 26, 26}, 3)},
            {"dense gas", makeRandomConfiguration({1, 1, 6, 8, 26}, 9, 9.0f, 0.85f, 4)}};
}

void expectAgreementOnAll(const ReaxSample& sample, double rcut = 5.0) {
    ReaxComparison comparison(rcut, sample.text());
    for (const std::vector<Named>& group : {molecules(), crystals()}) {
        for (const auto& [name, configuration] : group) {
            SCOPED_TRACE(name);
            expectAgreement(comparison.pot, comparison.twin, configuration);
        }
    }
}

ReaxTwinAtoms twinAtomsOf(const ReaxConfiguration& configuration) {
    return ReaxTwinAtoms::of(*configuration.makeGeometry());
}

bool isInWindow(double deltaE) {
    return deltaE >= 1.5 && deltaE < 2.3;
}

// Four atoms of H so near each other that each has a coordination between 1.5 and 2.3 above its valency, with
// two more that do not.
ReaxConfiguration makeCrowdedHydrogen() {
    ReaxConfiguration crowd = makeEmptyBox(30.0f);
    crowd.add(1, 10.0f, 10.0f, 10.0f);
    crowd.add(1, 10.8f, 10.03f, 10.05f);
    crowd.add(1, 10.4f, 10.7f, 10.02f);
    crowd.add(1, 10.42f, 10.22f, 10.63f);
    crowd.add(1, 8.6f, 9.9f, 10.1f);
    crowd.add(8, 10.9f, 9.8f, 11.6f);
    return crowd;
}

ReaxSample crowdedSample() {
    ReaxSample sample = ReaxSample::mixed();
    sample.bond(1, 1).ovc = 0.0;
    sample.types[0].pLp2 = 20.0;
    return sample;
}

// What the stated lone-pair slope adds to the derivatives of the energy, from differences of the twin alone:
// for each atom k in the window dE/dnlp(k) T'(2.3 - deltaE(k)) ddeltaE(k)/dx.
std::vector<double> statedSurplus(const ReaxTwin& twin, const ReaxTwinAtoms& atoms) {
    const double step = 1.0e-5;
    const std::vector<double> deltaE = twin.evaluate(atoms).deltaE;
    std::vector<double> factors(deltaE.size(), 0.0);
    for (std::size_t k = 0; k < deltaE.size(); ++k) {
        std::vector<double> shift(deltaE.size(), 0.0);
        shift[k] = step;
        const double above = twin.evaluate(atoms, shift).total();
        shift[k] = -step;
        const double below = twin.evaluate(atoms, shift).total();
        if (isInWindow(deltaE[k])) {
            factors[k] = (above - below) / (2.0 * step) * lonePairTaperSlope(2.3 - deltaE[k]);
        }
    }
    std::vector<double> surplus;
    ReaxTwinAtoms moved = atoms;
    for (std::size_t c = 0; c < atoms.positions.size(); ++c) {
        moved.positions[c] = atoms.positions[c] + step;
        const std::vector<double> above = twin.evaluate(moved).deltaE;
        moved.positions[c] = atoms.positions[c] - step;
        const std::vector<double> below = twin.evaluate(moved).deltaE;
        moved.positions[c] = atoms.positions[c];
        double sum = 0.0;
        for (std::size_t k = 0; k < factors.size(); ++k) {
            sum += factors[k] * (above[k] - below[k]) / (2.0 * step);
        }
        surplus.push_back(sum);
    }
    return surplus;
}

double largestOf(const std::vector<double>& values) {
    double largest = 0.0;
    for (const double value : values) {
        largest = std::max(largest, std::abs(value));
    }
    return largest;
}

} // namespace

TEST(ReaxPotTwin, AgreesOnMoleculesAndCrystals) {
    expectAgreementOnAll(ReaxSample::mixed());
}

TEST(ReaxPotTwin, AgreesWithoutShielding) {
    ReaxSample sample = ReaxSample::mixed();
    sample.types[0].gammaW = 0.5;

    expectAgreementOnAll(sample);
}

TEST(ReaxPotTwin, AgreesWithoutInnerWall) {
    ReaxSample sample = ReaxSample::mixed();
    sample.types[0].rCore = 0.01;

    expectAgreementOnAll(sample);
}

TEST(ReaxPotTwin, AgreesWithoutShieldingAndInnerWall) {
    ReaxSample sample = ReaxSample::mixed();
    sample.types[0].gammaW = 0.2;
    sample.types[0].aCore = 0.0;

    expectAgreementOnAll(sample);
}

TEST(ReaxPotTwin, AgreesWithALowerTaperRadius) {
    ReaxSample sample = ReaxSample::mixed();
    sample.general[12] = 1.75;

    expectAgreementOnAll(sample);
}

TEST(ReaxPotTwin, AgreesWithBondsBeyondTheUpperTaperRadius) {
    ReaxSample sample = ReaxSample::mixed();
    sample.general[13] = 2.2;

    expectAgreementOnAll(sample);
}

// A radius of zero puts a division by zero into an exponential, which vanishes. Derivatives are left to
// differences for this reason.
TEST(ReaxPotTwin, TypesWithoutWallOrShieldingOfTheirOwnFeelNone) {
    ReaxSample sample = ReaxSample::mixed();
    sample.types[2].rCore = 0.0;
    sample.types[3].gammaW = 0.0;
    ReaxComparison comparison(5.0, sample.text());
    for (const auto& [name, configuration] : crystals()) {
        SCOPED_TRACE(name);
        const ReaxTwinAtoms atoms = twinAtomsOf(configuration);
        const ReaxTwinOutcome<double> outcome = comparison.twin.evaluate(atoms);
        const std::vector<double> differences = comparison.twin.differences(atoms, 1.0e-5);

        const std::vector<double> energies = potEnergies(comparison.pot, configuration);
        const std::vector<double> forces = potForces(comparison.pot, configuration);

        for (std::size_t i = 0; i < energies.size(); ++i) {
            EXPECT_LE(std::abs(energies[i] - outcome.energyOf(i)), 1.0e-10) << i;
        }
        for (std::size_t k = 0; k < forces.size(); ++k) {
            EXPECT_LE(std::abs(forces[k] + differences[k]), 1.0e-6 * largestOf(differences) + 1.0e-5) << k;
        }
    }
}

TEST(ReaxPotTwin, AgreesOnTheBondedTermsAlone) {
    ReaxSample sample = ReaxSample::mixed();
    for (ReaxSampleType& type : sample.types) {
        type.depth = 0.0;
        type.eCore = 0.0;
    }
    for (ReaxSampleOffDiagonal& entry : sample.offDiagonals) {
        entry.depth = 0.0;
    }

    expectAgreementOnAll(sample);
}

TEST(ReaxPotTwin, AgreesWithAllCorrectionsAndWithNone) {
    for (const double flag : {0.0, 1.0}) {
        ReaxSample sample = ReaxSample::mixed();
        for (ReaxSampleBond& entry : sample.bonds) {
            entry.ovc = flag;
            entry.v13cor = flag;
        }

        expectAgreementOnAll(sample);
    }
}

TEST(ReaxPotTwin, AgreesWithoutBondsAndWithoutOffDiagonalEntries) {
    ReaxSample withoutBonds = ReaxSample::mixed();
    withoutBonds.bonds.clear();
    ReaxSample withoutMeans = ReaxSample::mixed();
    withoutMeans.offDiagonals.clear();

    expectAgreementOnAll(withoutBonds);
    expectAgreementOnAll(withoutMeans);
}

TEST(ReaxPotTwin, AgreesAtMassesAroundTheLimitOfHeavyElements) {
    for (const double mass : {20.999, 21.0, 21.001}) {
        ReaxSample sample = ReaxSample::mixed();
        sample.types[2].mass = mass;

        SCOPED_TRACE(mass);
        expectAgreementOnAll(sample);
    }
}

TEST(ReaxPotTwin, AgreesWithAShortBondCutoff) {
    expectAgreementOnAll(ReaxSample::mixed(), 1.3);
    expectAgreementOnAll(ReaxSample::mixed(), -1.0);
}

TEST(ReaxPotTwin, DistanceOfTheCutoffFormsNoBond) {
    ReaxConfiguration dimer = makeEmptyBox(30.0f);
    dimer.add(1, 10.0f, 10.0f, 10.0f);
    dimer.add(1, 10.75f, 10.0f, 10.0f);
    ReaxComparison at(0.75, ReaxSample::mixed().text());
    ReaxComparison beyond(0.7501, ReaxSample::mixed().text());

    expectAgreement(at.pot, at.twin, dimer);
    expectAgreement(beyond.pot, beyond.twin, dimer);

    EXPECT_EQ(at.twin.evaluate(twinAtomsOf(dimer)).bond[0], 0.0);
    EXPECT_LE(beyond.twin.evaluate(twinAtomsOf(dimer)).bond[0], -10.0);
}

TEST(ReaxPotTwin, AtomsOnTopOfEachOtherDoNotMeet) {
    ReaxComparison comparison(5.0, ReaxSample::mixed().text());
    const ReaxConfiguration near = makeDimer(1, 8, 0.09f);

    expectAgreement(comparison.pot, comparison.twin, near);
    expectAgreement(comparison.pot, comparison.twin, makeDimer(1, 8, 0.11f));

    EXPECT_EQ(comparison.twin.evaluate(twinAtomsOf(near)).vanDerWaals[0], 0.0);
}

TEST(ReaxPotTwin, UnknownElementsAreLeftOut) {
    ReaxComparison comparison(5.0, ReaxSample::mixed().text());
    const ReaxConfiguration known = makeEthene();
    ReaxConfiguration mixed = makeEmptyBox(30.0f);
    for (std::size_t i = 0; i < known.atomicNumbers.size(); ++i) {
        mixed.add(14, 11.0f, 10.5f + static_cast<float>(i), 10.3f);
        mixed.add(known.atomicNumbers[i], known.positions[3 * i], known.positions[3 * i + 1],
                  known.positions[3 * i + 2]);
    }

    expectAgreement(comparison.pot, comparison.twin, mixed);
    const std::vector<double> energies = potEnergies(comparison.pot, mixed);
    const std::vector<double> alone = potEnergies(comparison.pot, known);

    for (std::size_t i = 0; i < alone.size(); ++i) {
        EXPECT_EQ(energies[2 * i], 0.0);
        EXPECT_EQ(energies[2 * i + 1], alone[i]);
    }
}

TEST(ReaxPotTwin, RateScalesEnergiesAndForces) {
    ReaxComparison comparison(5.0, ReaxSample::mixed().text());
    ReaxPot half(5.0, 0.5, comparison.fileName);
    const ReaxConfiguration crystal = crystals()[0].second;

    const std::vector<double> energies = potEnergies(comparison.pot, crystal);
    const std::vector<double> forces = potForces(comparison.pot, crystal);
    const std::vector<double> halfEnergies = potEnergies(half, crystal);
    const std::vector<double> halfForces = potForces(half, crystal);

    // A half is exact in every precision.
    for (std::size_t i = 0; i < energies.size(); ++i) {
        EXPECT_LE(std::abs(2.0 * halfEnergies[i] - energies[i]), 1.0e-14 * std::abs(energies[i])) << i;
    }
    for (std::size_t k = 0; k < forces.size(); ++k) {
        EXPECT_LE(std::abs(2.0 * halfForces[k] - forces[k]), 1.0e-7 * std::abs(forces[k])) << k;
    }
}

TEST(ReaxPotTwin, ForcesAreCentralDifferencesOfTheTwinsEnergy) {
    ReaxComparison comparison(5.0, ReaxSample::mixed().text());
    for (const std::vector<Named>& group : {molecules(), crystals()}) {
        for (const auto& [name, configuration] : group) {
            SCOPED_TRACE(name);
            const ReaxTwinAtoms atoms = twinAtomsOf(configuration);
            const std::vector<double> differences = comparison.twin.differences(atoms, 1.0e-5);
            const double scale = deviationOf(comparison.pot, comparison.twin, configuration).forceScale;

            const std::vector<double> forces = potForces(comparison.pot, configuration);

            for (const double deltaE : comparison.twin.evaluate(atoms).deltaE) {
                ASSERT_FALSE(isInWindow(deltaE));
            }
            for (std::size_t k = 0; k < forces.size(); ++k) {
                EXPECT_LE(std::abs(forces[k] + differences[k]), 1.0e-6 * scale + 1.0e-5) << k;
            }
        }
    }
}

TEST(ReaxPotTwin, ForcesInTheLonePairWindowDifferFromDifferencesByTheStatedSlopeAlone) {
    ReaxComparison comparison(5.0, crowdedSample().text());
    const ReaxConfiguration crowd = makeCrowdedHydrogen();
    const ReaxTwinAtoms atoms = twinAtomsOf(crowd);
    const std::vector<double> deltaE = comparison.twin.evaluate(atoms).deltaE;
    const std::vector<double> differences = comparison.twin.differences(atoms, 1.0e-5);
    const std::vector<double> surplus = statedSurplus(comparison.twin, atoms);
    const double scale = deviationOf(comparison.pot, comparison.twin, crowd).forceScale;

    const std::vector<double> forces = potForces(comparison.pot, crowd);

    EXPECT_EQ(std::count_if(deltaE.begin(), deltaE.end(), isInWindow), 4);
    // The deviation is no matter of rounding.
    EXPECT_GE(largestOf(surplus), 10.0);
    for (std::size_t k = 0; k < forces.size(); ++k) {
        EXPECT_LE(std::abs(forces[k] + differences[k] + surplus[k]), 1.0e-6 * scale + 1.0e-5) << k;
    }
}

TEST(ReaxPotTwin, AgreesAcrossTheRangesOfTheLonePairCount) {
    for (int k = -35; k <= 25; ++k) {
        ReaxSample sample = ReaxSample::mixed();
        // Two atoms of H with a bond of about 0.97: the coordination runs from -5.3 to 3.7.
        sample.types[0].valencyE = -0.15 * k + 1.0;
        ReaxComparison comparison(5.0, sample.text());

        SCOPED_TRACE(sample.types[0].valencyE);
        expectAgreement(comparison.pot, comparison.twin, makeDimer(1, 1, 0.76f));
        expectAgreement(comparison.pot, comparison.twin, makeWater());
    }
}

TEST(ReaxPotTwin, GreatSurplusOfLonePairsStaysFinite) {
    ReaxSample sample = ReaxSample::plainHydrogen();
    sample.types[0].valency = 30.0;
    sample.types[0].valencyE = 60.0;
    sample.types[0].pLp2 = 4.0;
    ReaxComparison comparison(5.0, sample.text());
    const ReaxConfiguration dimer = makeDimer(1, 1, 0.76f);

    const ReaxTwinOutcome<double> outcome = comparison.twin.evaluate(twinAtomsOf(dimer));
    const std::vector<double> differences = comparison.twin.differences(twinAtomsOf(dimer), 1.0e-5);
    const std::vector<double> energies = potEnergies(comparison.pot, dimer);
    const std::vector<double> forces = potForces(comparison.pot, dimer);

    // D is about -14.5, so that exp(-75 D) overflows.
    ASSERT_GE(outcome.nlp[0] - comparison.twin.field.types[0].nlpOpt, 14.0);
    EXPECT_EQ(outcome.lonePair[0], 0.0);
    EXPECT_LE(std::abs(energies[0] - outcome.energyOf(0)), 1.0e-11 * std::abs(outcome.energyOf(0)));
    for (std::size_t k = 0; k < forces.size(); ++k) {
        EXPECT_LE(std::abs(forces[k] + differences[k]), 1.0e-6 * largestOf(differences)) << k;
    }
}

TEST(ReaxPotTwin, AgreesOnRandomConfigurations) {
    ReaxComparison comparison(4.5, ReaxSample::mixed().text());
    for (unsigned seed = 1; seed <= 12; ++seed) {
        const int numAtoms = 3 + static_cast<int>(seed) % 5;

        SCOPED_TRACE(seed);
        expectAgreement(comparison.pot, comparison.twin,
                        makeRandomConfiguration({1, 6, 8, 26, 18}, numAtoms, 10.0f, 0.8f, seed));
    }
}

// Force fields in the published layout that read without unknown names, where a package provides them.
class ReaxPotPublished : public testing::TestWithParam<std::string> {};

TEST_P(ReaxPotPublished, AgreesWithTheTwin) {
    const std::string fileName = std::string(MELTA_REAXFF_FILES) + "/" + GetParam();
    if (!std::filesystem::exists(fileName)) {
        GTEST_SKIP() << GetParam() << " is not installed";
    }
    ReaxPot pot(5.0, 1.0, fileName);
    const ReaxTwin twin(5.0, fileName);

    for (const std::vector<Named>& group : {molecules(), crystals()}) {
        for (const auto& [name, configuration] : group) {
            SCOPED_TRACE(name);
            expectAgreement(pot, twin, configuration);
        }
    }
}

std::string nameOfCase(const testing::TestParamInfo<std::string>& tested) {
    std::string name = tested.param.substr(tested.param.rfind('.') + 1);
    std::replace(name.begin(), name.end(), '_', 'x');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Files, ReaxPotPublished,
                         testing::Values("ffield.reax.cho", "ffield.reax.Fe_O_C_H", "ffield.reax.mattsson",
                                         "ffield.reax.rdx", "ffield.reax.budzien", "ffield.reax.AuO"),
                         nameOfCase);

} // namespace melta::test
