#include "symmfunc/cluster/RealHarmonics.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace melta {
namespace {

constexpr std::array<double, 3> direction{2.0 / 7.0, -3.0 / 7.0, 6.0 / 7.0};

// Explicit forms of the first degrees.
TEST(RealHarmonicsTest, FirstDegreesAreTheKnownPolynomials) {
    const auto [x, y, z] = direction;
    const double root3 = std::sqrt(3.0);

    const auto y2 = computeHarmonics(2, direction);

    const std::array expected{1.0,
                              y,
                              z,
                              x,
                              root3 * x * y,
                              root3 * y * z,
                              0.5 * (3.0 * z * z - 1.0),
                              root3 * x * z,
                              0.5 * root3 * (x * x - y * y)};
    ASSERT_EQ(y2.size(), expected.size());
    for (std::size_t h = 0; h < expected.size(); ++h) {
        EXPECT_LE(std::fabs(y2[h] - expected[h]), 1.0e-14) << h;
    }
}

TEST(RealHarmonicsTest, SquaresOfADegreeAddUpToOne) {
    const auto harmonics = computeHarmonics(6, direction);

    for (std::size_t l = 0; l <= 6; ++l) {
        double sum = 0.0;
        for (std::size_t h = l * l; h < (l + 1) * (l + 1); ++h) {
            sum += harmonics[h] * harmonics[h];
        }
        EXPECT_LE(std::fabs(sum - 1.0), 1.0e-13) << l;
    }
}

// The recurrences at y = 0, where the harmonics are powers of x times the polynomials.
TEST(RealHarmonicsTest, TablesGiveTheSamePolynomials) {
    constexpr int maxAngular = 6;
    const auto tables = makeHarmonicTables(maxAngular);
    const auto harmonics = computeHarmonics(maxAngular, {0.6, 0.0, 0.8});
    for (int m = 0; m <= maxAngular; ++m) {
        double last = static_cast<double>(tables.start[static_cast<std::size_t>(m)]);
        double before = 0.0;
        for (int l = m; l <= maxAngular; ++l) {
            const auto place = static_cast<std::size_t>(l * (l + 1) / 2 + m);
            if (l > m) {
                const double next = static_cast<double>(tables.ofLast[place]) * 0.8 * last -
                                    static_cast<double>(tables.ofBefore[place]) * before;
                before = last;
                last = next;
            }
            const double expected = harmonics[static_cast<std::size_t>(l * (l + 1) + m)];
            EXPECT_LE(std::fabs(last * std::pow(0.6, m) - expected), 1.0e-6) << l << " " << m;
        }
    }
}

} // namespace
} // namespace melta
