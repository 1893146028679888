#include "baseline/reax/ReaxCluster.hpp"

#include "baseline/reax/ReaxSystem.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta::test {
namespace {

// A periodic cell with all images that the energies of its atoms can feel. The atoms of the cell come first.
struct Surroundings {
    Surroundings(const ReaxSystem& system, const std::array<float, 9>& lattice, double reach) {
        add(system, {0.0, 0.0, 0.0}, 1.0);
        const int count = 1 + static_cast<int>(reach / 5.0);
        for (int a = -count; a <= count; ++a) {
            for (int b = -count; b <= count; ++b) {
                for (int c = -count; c <= count; ++c) {
                    if (a != 0 || b != 0 || c != 0) {
                        add(system, shiftOf(lattice, a, b, c), 0.0);
                    }
                }
            }
        }
    }

    static std::array<double, 3> shiftOf(const std::array<float, 9>& lattice, int a, int b, int c) {
        std::array<double, 3> shift{};
        for (std::size_t k = 0; k < 3; ++k) {
            shift[k] = a * static_cast<double>(lattice[k]) + b * static_cast<double>(lattice[3 + k]) +
                       c * static_cast<double>(lattice[6 + k]);
        }
        return shift;
    }

    void add(const ReaxSystem& system, const std::array<double, 3>& shift, double weight) {
        for (std::size_t i = 0; i < system.types.size(); ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                positions.push_back(system.positions[3 * i + c] + shift[c]);
            }
            types.push_back(system.types[i]);
            weights.push_back(weight);
        }
    }

    std::vector<double> positions;
    std::vector<int> types;
    std::vector<double> weights;
};

class ReaxClusterTest : public testing::Test {
protected:
    // Short bonds keep the number of images small.
    std::unique_ptr<ReaxParam> param = makeReaxParam(makeReaxField(), 2.6);
    std::vector<ReaxSite> sites = makeCrowd(7, 12, 1.0f);
    std::array<float, 9> lattice = makeSkewCell();
    ReaxSystem system{*param, sites, lattice};
    Surroundings surroundings{system, lattice, ReaxCluster::influenceOf(*param)};
    ReaxCluster cluster{*param};

    void evaluate() { cluster.evaluate(surroundings.positions, surroundings.types, surroundings.weights); }
};

TEST_F(ReaxClusterTest, AtomsOfThePeriodicCellHaveTheirEnergies) {
    system.obtainEnergy(system.positions);

    evaluate();

    for (std::size_t i = 0; i < system.types.size(); ++i) {
        const double expected = system.evaluation.energies()[i];
        EXPECT_LE(std::fabs(cluster.energies()[i] - expected), 1.0e-9 * (1.0 + std::fabs(expected))) << i;
    }
}

TEST_F(ReaxClusterTest, ForcesOfImagesAddUpToThoseOfThePeriodicCell) {
    const std::vector<double> expected = system.obtainForces(system.positions);

    evaluate();

    std::vector<double> sums(expected.size(), 0.0);
    for (std::size_t i = 0; i < cluster.forces().size(); ++i) {
        sums[i % sums.size()] += cluster.forces()[i];
    }
    for (std::size_t i = 0; i < sums.size(); ++i) {
        EXPECT_LE(std::fabs(sums[i] - expected[i]), 1.0e-8 * (1.0 + std::fabs(expected[i]))) << i;
    }
}

TEST_F(ReaxClusterTest, VirialsAddUpToPositionsTimesForces) {
    evaluate();

    constexpr std::array<std::array<std::size_t, 2>, 6> axes{
        {{0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}}};
    for (std::size_t v = 0; v < axes.size(); ++v) {
        double sum = 0.0;
        double expected = 0.0;
        double scale = 1.0;
        for (std::size_t i = 0; i < surroundings.types.size(); ++i) {
            const double product =
                surroundings.positions[3 * i + axes[v][0]] * cluster.forces()[3 * i + axes[v][1]];
            sum += cluster.virials()[6 * i + v];
            expected += product;
            scale += std::fabs(product);
        }
        EXPECT_LE(std::fabs(sum - expected), 1.0e-11 * scale) << v;
    }
}

TEST_F(ReaxClusterTest, AtomsThatAreNotThereLeaveNoTrace) {
    evaluate();
    const std::vector<double> energies(cluster.energies().begin(), cluster.energies().end());
    surroundings.positions.insert(surroundings.positions.begin(), {0.1, 0.2, 0.3});
    surroundings.types.insert(surroundings.types.begin(), -1);
    surroundings.weights.insert(surroundings.weights.begin(), 1.0);

    evaluate();

    ASSERT_EQ(cluster.energies().size(), energies.size());
    EXPECT_EQ(cluster.atoms().front(), 1);
    for (std::size_t i = 0; i < energies.size(); ++i) {
        EXPECT_LE(std::fabs(cluster.energies()[i] - energies[i]), 1.0e-10 * (1.0 + std::fabs(energies[i])));
    }
}

TEST_F(ReaxClusterTest, NobodyHasNoEnergy) {
    cluster.evaluate(std::vector<double>(3, 0.0), std::vector<int>{-1}, std::vector<double>{1.0});

    EXPECT_TRUE(cluster.atoms().empty());
    EXPECT_TRUE(cluster.energies().empty());
}

} // namespace
} // namespace melta::test
