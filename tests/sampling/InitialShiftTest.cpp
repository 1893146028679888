#include "sampling/InitialShift.hpp"

#include "sampling/WalkFixture.hpp"
#include "structure/LebedevDirections.hpp"

#include <algorithm>

namespace melta::test {
namespace {

class InitialShiftTest : public WalkFixture {};

// Probability that a standard normal number is below x.
double normalBelow(double x) {
    return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

// Two numbers of the source give two normal ones, cosine first.
TEST_F(InitialShiftTest, GaussiansAreThoseOfBoxAndMuller) {
    RandomSource same = random;
    const double radius = std::sqrt(-2.0 * std::log((same.draw() + 1) / 32768.0));
    const double angle = 2.0 * std::acos(-1.0) * (same.draw() + 1) / 32768.0;

    const auto [g1, g2] = randomGaussians(random);

    EXPECT_LE(std::abs(static_cast<double>(g1) - radius * std::cos(angle)), 2.0e-6);
    EXPECT_LE(std::abs(static_cast<double>(g2) - radius * std::sin(angle)), 2.0e-6);
    EXPECT_EQ(random.draw(), same.draw());
}

TEST_F(InitialShiftTest, GaussiansAreNormallyDistributed) {
    constexpr std::size_t numBins = 12; // of half a deviation, and the tails
    std::vector<std::vector<double>> counts(2, std::vector<double>(numBins));
    double product = 0.0;
    constexpr int numDraws = 40000;
    for (int i = 0; i < numDraws; ++i) {
        const auto [g1, g2] = randomGaussians(random);
        product += static_cast<double>(g1 * g2);
        for (const auto& [which, value] : {std::pair{0U, g1}, std::pair{1U, g2}}) {
            const float bin = std::clamp(std::floor(value * 2.0f) + 6.0f, 0.0f, 11.0f);
            ++counts[which].at(static_cast<std::size_t>(bin));
        }
    }

    std::vector<double> weights;
    for (std::size_t bin = 0; bin < numBins; ++bin) {
        const double low = 0.5 * static_cast<double>(bin) - 3.0;
        weights.push_back((bin + 1 == numBins ? 1.0 : normalBelow(low + 0.5)) -
                          (bin == 0 ? 0.0 : normalBelow(low)));
    }
    EXPECT_LE(chiSquare(counts[0], weights), 31.3);
    EXPECT_LE(chiSquare(counts[1], weights), 31.3);
    EXPECT_LE(std::abs(product / numDraws), 4.0 / std::sqrt(static_cast<double>(numDraws)));
}

TEST_F(InitialShiftTest, EveryListedAtomIsDisplacedOnce) {
    std::vector<float> positions(15, 1.0f);
    const std::vector<int> atoms{0, 2, 4};

    shiftInitially(atoms, 0.1f, positions, random);

    for (std::size_t atom = 0; atom < 5; ++atom) {
        const bool isMoved =
            positions[3 * atom] != 1.0f || positions[3 * atom + 1] != 1.0f || positions[3 * atom + 2] != 1.0f;
        EXPECT_EQ(isMoved, atom % 2 == 0) << atom;
    }
}

// Two normal numbers, then a direction for each atom; the last of an odd list leaves its number unused.
TEST_F(InitialShiftTest, OrderOfTheDraws) {
    std::vector<float> positions(9);
    RandomSource same = random;
    const std::vector<int> atoms{2, 0, 1};
    std::vector<float> expected(9);
    for (const std::vector<std::size_t>& pair : {std::vector<std::size_t>{2, 0}, {1}}) {
        const auto [g1, g2] = randomGaussians(same);
        for (std::size_t i = 0; i < pair.size(); ++i) {
            const std::array<double, 3>& direction = drawDirection(same);
            for (std::size_t c = 0; c < 3; ++c) {
                expected[3 * pair[i] + c] = static_cast<float>(direction[c]) * ((i == 0 ? g1 : g2) * 0.25f);
            }
        }
    }

    shiftInitially(atoms, 0.25f, positions, random);

    EXPECT_EQ(positions, expected);
    EXPECT_EQ(random.draw(), same.draw());
}

TEST_F(InitialShiftTest, NothingIsDrawnForNoAtoms) {
    RandomSource same = random;

    shiftInitially({}, 0.1f, {}, random);

    EXPECT_EQ(random.draw(), same.draw());
}

TEST_F(InitialShiftTest, LengthsAreNormalAndDirectionsThoseOfTheQuadrature) {
    constexpr int numAtoms = 20000;
    constexpr float length = 0.1f;
    std::vector<float> positions(3 * numAtoms);
    std::vector<int> atoms;
    for (int i = 0; i < numAtoms; ++i) {
        atoms.push_back(i);
    }

    shiftInitially(atoms, length, positions, random);

    double square = 0.0;
    double fourth = 0.0;
    std::array<double, 3> squares{};
    for (std::size_t i = 0; i < positions.size(); i += 3) {
        std::array<double, 3> d{};
        double sum = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            d[c] = static_cast<double>(positions[i + c]);
            sum += d[c] * d[c];
            squares[c] += d[c] * d[c];
        }
        square += sum;
        fourth += sum * sum;
        if (sum > 1.0e-8) {
            double nearest = 0.0;
            for (const LebedevDirection& direction : lebedevDirections()) {
                const double cosine =
                    (d[0] * direction.vector[0] + d[1] * direction.vector[1] + d[2] * direction.vector[2]) /
                    std::sqrt(sum);
                nearest = std::max(nearest, std::abs(cosine));
            }
            ASSERT_GE(nearest, 1.0 - 1.0e-6);
        }
    }
    // Moments of a normal distribution, and no axis preferred; four standard errors.
    EXPECT_LE(std::abs(square / numAtoms / 0.01 - 1.0), 4.0 * std::sqrt(2.0 / numAtoms));
    EXPECT_LE(std::abs(fourth / numAtoms / 3.0e-4 - 1.0), 4.0 * std::sqrt(96.0 / 9.0 / numAtoms));
    for (const double ofAxis : squares) {
        EXPECT_LE(std::abs(3.0 * ofAxis / numAtoms / 0.01 - 1.0), 4.0 * std::sqrt(4.4 / numAtoms));
    }
}

} // namespace
} // namespace melta::test
