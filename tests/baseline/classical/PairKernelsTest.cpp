#include "baseline/classical/PairKernels.hpp"

#include "baseline/classical/ClassicalTwin.hpp"
#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace melta {
namespace {

using test::baseForce;
using test::baseValue;

constexpr float rc = 5.0f;
constexpr std::array<float, numPowers> coefs{1000.0f, -30.0f, 20.0f, -4.0f};

// Neighbours at distances from 1 to 6 Angstrom, followed by what must not count.
struct Neighbors {
    std::vector<float> x, y, z;
    std::size_t count;

    explicit Neighbors(std::size_t number) : count(number) {
        std::mt19937 random(static_cast<unsigned>(number));
        std::normal_distribution<float> normal;
        std::uniform_real_distribution<float> distance(1.0f, 6.0f);
        for (std::size_t n = 0; n < number; ++n) {
            const float a = normal(random);
            const float b = normal(random);
            const float c = normal(random);
            const float scale = distance(random) / std::sqrt(a * a + b * b + c * c);
            add(a * scale, b * scale, c * scale);
        }
        for (std::size_t n = 0; n < pairPadding; ++n) {
            add(n % 2 == 0 ? 0.0f : 0.5f, 0.0f, n % 3 == 0 ? NAN : 0.0f);
        }
    }

    void add(float a, float b, float c) {
        x.push_back(a);
        y.push_back(b);
        z.push_back(c);
    }

    [[nodiscard]] PairGroup group() const { return {x.data(), y.data(), z.data(), count}; }
};

struct TwinSums {
    double values[numPowers][4] = {};
    double sizes[numPowers][4] = {}; // of the terms, for the tolerance

    explicit TwinSums(const Neighbors& neighbors) {
        for (std::size_t n = 0; n < neighbors.count; ++n) {
            const double d[3] = {static_cast<double>(neighbors.x[n]), static_cast<double>(neighbors.y[n]),
                                 static_cast<double>(neighbors.z[n])};
            const double r = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
            if (r < static_cast<double>(rc)) {
                addNeighbor(d, r);
            }
        }
    }

    void addNeighbor(const double* d, double r) {
        for (std::size_t k = 0; k < numPowers; ++k) {
            const auto n = static_cast<double>(pairPowers[k]);
            add(k, 0, 0.5 * baseValue(n, r, static_cast<double>(rc)), std::pow(r, -n));
            for (std::size_t c = 0; c < 3; ++c) {
                add(k, c + 1, baseForce(n, r, static_cast<double>(rc)) * d[c] / r, n * std::pow(r, -n - 1.0));
            }
        }
    }

    void add(std::size_t k, std::size_t c, double value, double size) {
        values[k][c] += value;
        sizes[k][c] += size;
    }
};

void expectSums(std::size_t count) {
    SCOPED_TRACE(count);
    const Neighbors neighbors(count);
    const PairCutoff cutoff(rc);
    const TwinSums twin(neighbors);

    const auto derivatives = sumPairDerivatives(cutoff, neighbors.group());
    const auto forces = sumPairForces(cutoff, coefs, neighbors.group());
    const float energy = sumPairEnergies(cutoff, coefs, neighbors.group());

    for (std::size_t c = 0; c < 4; ++c) {
        double sum = 0.0;
        double tolerance = 0.0;
        for (std::size_t k = 0; k < numPowers; ++k) {
            const double size = 2.0e-6 * twin.sizes[k][c];
            EXPECT_LE(std::fabs(static_cast<double>(derivatives[k][c]) - twin.values[k][c]), size)
                << k << " " << c;
            sum += static_cast<double>(coefs[k]) * twin.values[k][c];
            tolerance += std::fabs(static_cast<double>(coefs[k])) * size;
        }
        EXPECT_LE(std::fabs(static_cast<double>(forces[c]) - sum), tolerance) << c;
        if (c == 0) {
            EXPECT_LE(std::fabs(static_cast<double>(energy) - sum), tolerance);
        }
    }
}

TEST(PairKernels, AgreeWithTheirTwinOnEachInstructionSet) {
    test::onEachTarget([] {
        for (const std::size_t count : {0U, 1U, 3U, 4U, 7U, 8U, 15U, 16U, 17U, 33U, 70U}) {
            expectSums(count);
        }
    });
}

TEST(PairKernels, TakeNothingAtTheCutoff) {
    test::onEachTarget([] {
        Neighbors neighbors(0);
        neighbors.x[0] = 3.0f;
        neighbors.y[0] = 4.0f;
        neighbors.z[0] = 0.0f;
        neighbors.count = 1;

        EXPECT_EQ(sumPairForces(PairCutoff(5.0f), coefs, neighbors.group()), (std::array<float, 4>{}));
        EXPECT_NE(sumPairEnergies(PairCutoff(5.1f), coefs, neighbors.group()), 0.0f);
    });
}

TEST(PairKernels, TakeNothingWithoutACutoff) {
    const Neighbors neighbors(9);

    EXPECT_EQ(sumPairForces(PairCutoff(0.0f), coefs, neighbors.group()), (std::array<float, 4>{}));
    EXPECT_EQ(sumPairDerivatives(PairCutoff(0.0f), neighbors.group()), PairDerivativeSums{});
}

TEST(PairCutoff, VanishesSmoothlyAtTheCutoff) {
    const PairCutoff cutoff(rc);

    for (const float r : {0.3f, 1.0f, 2.5f, 4.99f}) {
        const auto values = cutoff.valuesAt(r);
        for (std::size_t k = 0; k < numPowers; ++k) {
            const auto n = static_cast<double>(pairPowers[k]);
            const double expected = baseValue(n, static_cast<double>(r), static_cast<double>(rc));
            const double size = std::pow(static_cast<double>(r), -n);
            EXPECT_LE(std::fabs(static_cast<double>(values[k]) - expected), 1.0e-6 * size) << r << " " << n;
        }
    }
    EXPECT_EQ(cutoff.valuesAt(rc), (std::array<float, numPowers>{}));
    EXPECT_EQ(cutoff.valuesAt(7.0f), (std::array<float, numPowers>{}));
    EXPECT_EQ(PairCutoff(0.0f).valuesAt(0.01f), (std::array<float, numPowers>{}));
}

} // namespace
} // namespace melta
