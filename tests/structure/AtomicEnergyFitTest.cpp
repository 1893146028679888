#include "structure/AtomicEnergyFit.hpp"

#include "support/StopCatcher.hpp"

#include <cmath>
#include <random>
#include <utility>

namespace melta {
namespace {

using Matrix = std::vector<std::vector<long double>>;

// Solution of a regular system of equations by elimination with pivots.
std::vector<long double> solve(Matrix a, std::vector<long double> b) {
    const std::size_t n = b.size();
    for (std::size_t k = 0; k < n; ++k) {
        std::size_t pivot = k;
        for (std::size_t row = k + 1; row < n; ++row) {
            if (std::abs(a[row][k]) > std::abs(a[pivot][k])) {
                pivot = row;
            }
        }
        std::swap(a[k], a[pivot]);
        std::swap(b[k], b[pivot]);
        for (std::size_t row = 0; row < n; ++row) {
            const long double factor = row == k ? 0.0L : a[row][k] / a[k][k];
            for (std::size_t column = k; column < n; ++column) {
                a[row][column] -= factor * a[k][column];
            }
            b[row] -= factor * b[k];
        }
    }
    for (std::size_t k = 0; k < n; ++k) {
        b[k] /= a[k][k];
    }
    return b;
}

// Normal equations of a fit: `weights` stand for total energies, or for the squares of the residuals.
std::vector<long double> solveNormalEquations(const std::vector<double>& counts,
                                              const std::vector<long double>& weights, std::size_t n) {
    Matrix a(n, std::vector<long double>(n, 0.0L));
    std::vector<long double> b(n, 0.0L);
    for (std::size_t g = 0; g < weights.size(); ++g) {
        for (std::size_t e = 0; e < n; ++e) {
            b[e] += weights[g] * static_cast<long double>(counts[g * n + e]);
            for (std::size_t f = 0; f < n; ++f) {
                a[e][f] +=
                    static_cast<long double>(counts[g * n + e]) * static_cast<long double>(counts[g * n + f]);
            }
        }
    }
    return solve(a, b);
}

TEST(AtomicEnergyFit, AgreesWithTheNormalEquations) {
    constexpr std::size_t n = 4;
    constexpr std::size_t numGeoms = 60;
    std::mt19937 random(4);
    std::normal_distribution<double> noise(0.0, 0.3);
    const std::vector<double> energies{-5.0, -430.0, -1030.0, 2.5};
    std::vector<double> counts;
    std::vector<double> totals;
    for (std::size_t g = 0; g < numGeoms; ++g) {
        double total = noise(random);
        for (std::size_t e = 0; e < n; ++e) {
            counts.push_back(static_cast<double>(random() % 20));
            total += counts.back() * energies[e];
        }
        totals.push_back(total);
    }

    const AtomicEnergyFit fit = fitCompositions(counts, totals, static_cast<int>(n));

    const std::vector<long double> weights(totals.begin(), totals.end());
    const auto expected = solveNormalEquations(counts, weights, n);
    std::vector<long double> squares;
    for (std::size_t g = 0; g < numGeoms; ++g) {
        auto residual = static_cast<long double>(totals[g]);
        for (std::size_t e = 0; e < n; ++e) {
            residual -= expected[e] * static_cast<long double>(counts[g * n + e]);
        }
        squares.push_back(residual * residual);
    }
    const auto variances = solveNormalEquations(counts, squares, n);
    ASSERT_EQ(fit.energies.size(), n);
    ASSERT_EQ(fit.deviations.size(), n);
    bool hasPositive = false;
    for (std::size_t e = 0; e < n; ++e) {
        EXPECT_LE(std::abs(fit.energies[e] - static_cast<double>(expected[e])), 1.0e-8) << e;
        const double deviation = variances[e] > 0.0L ? std::sqrt(static_cast<double>(variances[e])) : 0.0;
        EXPECT_LE(std::abs(fit.deviations[e] - deviation), 1.0e-6) << e;
        hasPositive = hasPositive || deviation > 0.01;
    }
    EXPECT_TRUE(hasPositive);
}

TEST(AtomicEnergyFit, IsAQuotientOfSumsForOneElement) {
    const AtomicEnergyFit fit =
        fitCompositions(std::vector{2.0, 3.0, 5.0}, std::vector{-21.0, -29.0, -52.0}, 1);

    const double mean = (2.0 * -21.0 + 3.0 * -29.0 + 5.0 * -52.0) / (4.0 + 9.0 + 25.0);
    EXPECT_LE(std::abs(fit.energies[0] - mean), 1.0e-12);
    const double a = -21.0 - 2.0 * mean;
    const double b = -29.0 - 3.0 * mean;
    const double c = -52.0 - 5.0 * mean;
    const double deviation = std::sqrt((2.0 * a * a + 3.0 * b * b + 5.0 * c * c) / 38.0);
    EXPECT_LE(std::abs(fit.deviations[0] - deviation), 1.0e-12);
}

TEST(AtomicEnergyFit, TakesTheShortestSolutionForOneRatio) {
    // With k (2 O + 4 H) in all geometries only the energy of the unit counts; the shortest vector lies along
    // (2, 4).
    std::vector<double> counts;
    std::vector<double> totals;
    double numerator = 0.0;
    double denominator = 0.0;
    for (int k = 1; k <= 6; ++k) {
        counts.insert(counts.end(), {2.0 * k, 4.0 * k});
        totals.push_back(-900.0 * k + 0.1 * (k % 3));
        numerator += k * totals.back();
        denominator += static_cast<double>(k * k);
    }

    const AtomicEnergyFit fit = fitCompositions(counts, totals, 2);

    const double unit = numerator / denominator / 20.0;
    EXPECT_LE(std::abs(fit.energies[0] - 2.0 * unit), 1.0e-9);
    EXPECT_LE(std::abs(fit.energies[1] - 4.0 * unit), 1.0e-9);
}

TEST(AtomicEnergyFit, TakesItInLargeSetsOfOneCompositionToo) {
    // The rounding of the eigenvalues, about 1e-16 of 1e12, is far above any fixed limit here.
    const std::vector<double> composition{12345.0, 6789.0, 1013.0};
    double square = 0.0;
    std::vector<double> counts;
    for (int g = 0; g < 5000; ++g) {
        counts.insert(counts.end(), composition.begin(), composition.end());
    }
    for (const double count : composition) {
        square += count * count;
    }
    const std::vector<double> totals(5000, -1.0e7);

    const AtomicEnergyFit fit = fitCompositions(counts, totals, 3);

    for (std::size_t e = 0; e < 3; ++e) {
        EXPECT_LE(std::abs(fit.energies[e] + 1.0e7 * composition[e] / square), 1.0e-7) << e;
    }
}

TEST(AtomicEnergyFit, GivesNothingToAKindWithoutAtoms) {
    const AtomicEnergyFit fit =
        fitCompositions(std::vector{2.0, 0.0, 1.0, 4.0, 0.0, 3.0}, std::vector{-12.0, -25.0}, 3);

    EXPECT_LE(std::abs(fit.energies[0] + 5.5), 1.0e-9);
    EXPECT_LE(std::abs(fit.energies[1]), 1.0e-12);
    EXPECT_LE(std::abs(fit.energies[2] + 1.0), 1.0e-9);
    EXPECT_LE(fit.deviations[1], 1.0e-6);
}

TEST(AtomicEnergyFit, IsEmptyWithoutData) {
    EXPECT_TRUE(fitCompositions({}, {}, 3).energies.empty());
    EXPECT_TRUE(fitCompositions({}, std::vector{1.0}, 0).energies.empty());
}

TEST(AtomicEnergyFit, StopsWhenThereAreNoEigenvalues) {
    const double nan = std::nan("");

    EXPECT_EQ(test::stopMessageOf([&] {
                  (void)fitCompositions(std::vector{nan, nan, 1.0, nan}, std::vector{1.0, 2.0}, 2);
              }),
              "error in LAPACK(dsyev).");
}

} // namespace
} // namespace melta
