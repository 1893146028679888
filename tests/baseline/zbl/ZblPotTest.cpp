#include "baseline/zbl/ZblPot.hpp"

#include "baseline/zbl/ZblSystem.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

namespace melta::test {
namespace {

constexpr float rcut = 3.0f;

const std::vector<std::string> labels{"Si", "O", "H"};
const std::vector<ZblRadii> entries{{"Si", "Si", 1.4, 2.4}, {"O", "Si", 1.0, 2.0}, {"O", "O", 0.9, 1.9},
                                    {"H", "Si", 1.0, 1.6},  {"O", "H", 0.5, 1.5},  {"H", "H", 0.4, 1.2}};

ZblTable makeTable() {
    return {labels, entries, static_cast<double>(rcut), "melta.zbl"};
}

// The energy of each atom by the plainest way, over all images around.
std::vector<double> energiesOfTwin(const Geometry& geometry) {
    const ZblTable table = makeTable();
    const auto numAtoms = static_cast<std::size_t>(geometry.numAtoms);
    std::vector<double> energies(numAtoms, 0.0);
    for (std::size_t i = 0; i < numAtoms; ++i) {
        for (std::size_t j = 0; j < numAtoms; ++j) {
            for (int image = 0; image < 27; ++image) {
                const std::array<int, 3> shift{image % 3 - 1, image / 3 % 3 - 1, image / 9 - 1};
                double square = 0.0;
                for (std::size_t c = 0; c < 3; ++c) {
                    const double d = static_cast<double>(geometry.positions[3 * j + c]) + 8.0 * shift[c] -
                                     static_cast<double>(geometry.positions[3 * i + c]);
                    square += d * d;
                }
                const ZblPair& pair = table.pairOf(static_cast<std::size_t>(geometry.elements[i]),
                                                   static_cast<std::size_t>(geometry.elements[j]));
                energies[i] += square > 0.0 ? 0.5 * evaluateZbl(pair, std::sqrt(square)).energy : 0.0;
            }
        }
    }
    return energies;
}

class ZblPotTest : public testing::Test {
protected:
    ZblPotTest() {
        std::mt19937 random(5);
        std::uniform_real_distribution<float> place(0.1f, 7.9f);
        for (int i = 0; i < 40; ++i) {
            sites.push_back({i % 3, {place(random), place(random), place(random)}});
        }
        geometry = makeZblGeometry(sites, rcut);
        energies.resize(sites.size());
        forces.resize(3 * sites.size());
    }

    std::vector<ZblSite> sites;
    std::unique_ptr<Geometry> geometry;
    std::vector<float> energies;
    std::vector<float> forces;
    ZblPot pot{makeTable()};
};

TEST_F(ZblPotTest, SumsOverAllPairs) {
    const std::vector<double> expected = energiesOfTwin(*geometry);

    const auto total = static_cast<double>(pot.obtainEnergiesAndForces(geometry.get(), energies, forces));

    const double sum = std::accumulate(expected.begin(), expected.end(), 0.0);
    EXPECT_GE(sum, 1.0);
    EXPECT_LE(std::fabs(total - sum), 1.0e-5 * sum);
    EXPECT_EQ(pot.obtainEnergy(geometry.get()), static_cast<float>(total));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_LE(std::fabs(static_cast<double>(energies[i]) - expected[i]), 1.0e-5 * (1.0 + expected[i]))
            << i;
    }
}

TEST_F(ZblPotTest, ForcesAreTheDerivativesOfTheEnergy) {
    pot.obtainEnergiesAndForces(geometry.get(), energies, forces);
    const auto totalOf = [](const Geometry& other) {
        const std::vector<double> parts = energiesOfTwin(other);
        return std::accumulate(parts.begin(), parts.end(), 0.0);
    };
    for (std::size_t i = 0; i < forces.size(); i += 7) {
        float& coordinate = geometry->positions[i];
        const float middle = coordinate;
        coordinate = middle + 1.0e-3f;
        const auto high = static_cast<double>(coordinate);
        const double above = totalOf(*geometry);
        coordinate = middle - 1.0e-3f;
        const auto low = static_cast<double>(coordinate);
        const double below = totalOf(*geometry);
        coordinate = middle;
        const double expected = (below - above) / (high - low);

        EXPECT_LE(std::fabs(static_cast<double>(forces[i]) - expected), 1.0e-3 * (1.0 + std::fabs(expected)))
            << i;
    }
}

TEST_F(ZblPotTest, ForcesSumUpToZero) {
    pot.obtainEnergiesAndForces(geometry.get(), energies, forces);

    std::array<double, 3> sum{};
    double size = 0.0;
    for (std::size_t i = 0; i < forces.size(); ++i) {
        sum[i % 3] += static_cast<double>(forces[i]);
        size += std::fabs(static_cast<double>(forces[i]));
    }
    EXPECT_GE(size, 10.0);
    for (const double part : sum) {
        EXPECT_LE(std::fabs(part), 1.0e-6 * size);
    }
}

TEST_F(ZblPotTest, IsTakenOutOfTheReferenceData) {
    const std::vector<double> oldEnergies = geometry->energies;
    const std::vector<float> oldForces = geometry->forces;
    const auto total = static_cast<double>(pot.obtainEnergiesAndForces(geometry.get(), energies, forces));

    pot.removeFromGeometry(geometry.get());

    EXPECT_LE(std::fabs(geometry->energyTotal - (5.0 - total)), 1.0e-5 * std::fabs(total));
    for (std::size_t i = 0; i < energies.size(); ++i) {
        EXPECT_LE(std::fabs(geometry->energies[i] - (oldEnergies[i] - static_cast<double>(energies[i]))),
                  1.0e-5 * (1.0 + std::fabs(oldEnergies[i])));
    }
    for (std::size_t i = 0; i < forces.size(); ++i) {
        EXPECT_EQ(geometry->forces[i], oldForces[i] - forces[i]);
    }
}

TEST_F(ZblPotTest, NoGeometryHasNoEnergy) {
    pot.removeFromGeometry(nullptr);

    EXPECT_EQ(pot.obtainEnergy(nullptr), 0.0f);
    EXPECT_EQ(pot.obtainEnergiesAndForces(nullptr, energies, forces), 0.0f);
}

} // namespace
} // namespace melta::test
