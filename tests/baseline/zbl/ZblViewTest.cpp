#include "baseline/zbl/ZblView.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta::test {
namespace {

const std::vector<std::string> labels{"Si", "O"};
const std::vector<ZblRadii> entries{{"Si", "Si", 1.4, 2.4}, {"O", "Si", 1.0, 2.0}, {"O", "O", 0.9, 1.9}};

// Four atoms, each in the lists of all local ones: silicon and oxygen at 1 Angstrom from each other, and two
// more at 1.5 along the other axes, so near to one another that they would repel.
class ZblViewTest : public testing::Test {
protected:
    // Evaluates with the first `numLocal` atoms as those of the host.
    void evaluate(int numLocal, bool withForces = true) {
        std::vector<const int*> lists;
        for (const std::vector<int>& list : others) {
            lists.push_back(list.data());
        }
        const std::vector<int> lengths(4, 3);
        NeighborView atoms;
        atoms.numAtoms = 4;
        atoms.numLocal = numLocal;
        atoms.positions = positions.data();
        atoms.elements = elements.data();
        atoms.numLists = numLocal;
        atoms.neighbors = lists.data();
        atoms.lengths = lengths.data();
        energies.assign(4, 0.0);
        forces.assign(withForces ? 12 : 0, 0.0);
        virials.assign(withForces ? 24 : 0, 0.0);
        view.makeEvaluator()->add(atoms, {energies, forces, virials});
    }

    [[nodiscard]] ZblValue valueOf(std::size_t i, std::size_t j) const {
        double square = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            square += std::pow(positions[3 * i + c] - positions[3 * j + c], 2);
        }
        return evaluateZbl(
            table.pairOf(static_cast<std::size_t>(elements[i]), static_cast<std::size_t>(elements[j])),
            std::sqrt(square));
    }

    std::vector<double> positions{0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.5, 0.0, 0.0, 1.5, 1.0};
    std::vector<int> elements{0, 1, 1, 0};
    std::vector<std::vector<int>> others{{1, 2, 3}, {0, 2, 3}, {0, 1, 3}, {0, 1, 2}};
    ZblTable table{labels, entries, 3.0, "melta.zbl"};
    ZblView view{table};
    std::vector<double> energies, forces, virials;
};

TEST_F(ZblViewTest, ReachesToTheLargestRadius) {
    EXPECT_EQ(view.influenceDistance(), 2.4);
}

TEST_F(ZblViewTest, EachAtomTakesHalfOfItsPairs) {
    evaluate(4);

    for (std::size_t i = 0; i < 4; ++i) {
        double expected = 0.0;
        for (const int other : others[i]) {
            expected += 0.5 * valueOf(i, static_cast<std::size_t>(other)).energy;
        }
        EXPECT_LE(std::fabs(energies[i] - expected), 1.0e-12 * (1.0 + expected)) << i;
    }
}

TEST_F(ZblViewTest, GhostsActOnLocalAtomsButNotOnEachOther) {
    evaluate(1);

    const double expected = 0.5 * (valueOf(0, 1).energy + valueOf(0, 2).energy + valueOf(0, 3).energy);
    EXPECT_LE(std::fabs(energies[0] - expected), 1.0e-12 * expected);
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(energies[i], 0.0);
    }
    EXPECT_LE(std::fabs(forces[3] + 0.5 * valueOf(0, 1).slope), 1.0e-12 * std::fabs(forces[3]));
    EXPECT_EQ(forces[4], 0.0);
    EXPECT_EQ(forces[5], 0.0);
    EXPECT_EQ(forces[0], -forces[3]);
}

TEST_F(ZblViewTest, UnknownAtomsAreNotThere) {
    evaluate(4);
    const std::vector<double> before = energies;
    const double lost = 0.5 * valueOf(0, 2).energy;
    elements[2] = -1;

    evaluate(4);

    EXPECT_EQ(energies[2], 0.0);
    EXPECT_LE(std::fabs(before[0] - lost - energies[0]), 1.0e-12 * before[0]);
    EXPECT_EQ(forces[6], 0.0);
    EXPECT_EQ(forces[7], 0.0);
}

TEST_F(ZblViewTest, ForcesAreTheDerivativesOfTheLocalEnergies) {
    constexpr double step = 1.0e-5;
    for (const int numLocal : {4, 2}) {
        for (std::size_t i = 0; i < positions.size(); ++i) {
            const auto energyAt = [&](double shift) {
                const double place = positions[i];
                positions[i] = place + shift;
                evaluate(numLocal, false);
                positions[i] = place;
                return energies[0] + energies[1] + energies[2] + energies[3];
            };
            const double expected = (energyAt(-step) - energyAt(step)) / (2.0 * step);
            evaluate(numLocal);

            EXPECT_LE(std::fabs(forces[i] - expected), 1.0e-6 * (1.0 + std::fabs(expected))) << i;
        }
    }
}

TEST_F(ZblViewTest, VirialsAddUpToPositionsTimesForces) {
    evaluate(4);

    constexpr std::array<std::array<std::size_t, 2>, 6> axes{
        {{0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}}};
    for (std::size_t v = 0; v < axes.size(); ++v) {
        double sum = 0.0;
        double expected = 0.0;
        for (std::size_t i = 0; i < 4; ++i) {
            sum += virials[6 * i + v];
            expected += positions[3 * i + axes[v][0]] * forces[3 * i + axes[v][1]];
        }
        EXPECT_LE(std::fabs(sum - expected), 1.0e-10 * (1.0 + std::fabs(expected))) << v;
    }
}

} // namespace
} // namespace melta::test
