#include "structure/LebedevDirections.hpp"

#include "base/RandomSource.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace melta {
namespace {

using Vector = std::array<double, 3>;

double weightOf(std::size_t i) {
    const auto table = lebedevDirections();
    const double next = i + 1 < table.size() ? table[i + 1].weightBefore : 1.0;
    return next - table[i].weightBefore;
}

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double length(const Vector& a) {
    return std::sqrt(dot(a, a));
}

// Legendre polynomials of x, degrees 0 to the given one.
std::vector<double> legendre(int degree, double x) {
    std::vector<double> values = {1.0, x};
    for (int l = 2; l <= degree; ++l) {
        const auto n = static_cast<std::size_t>(l);
        values.push_back(((2 * l - 1) * x * values[n - 1] - (l - 1) * values[n - 2]) / l);
    }
    return values;
}

std::vector<Vector> makeUnitVectors(int count) {
    RandomSource random;
    random.seed(20);
    const auto draw = [&] { return random.draw() / 16384.0 - 1.0; };
    std::vector<Vector> vectors;
    while (vectors.size() < static_cast<std::size_t>(count)) {
        const Vector vector = {draw(), draw(), draw()};
        const double size = length(vector);
        if (size > 0.1 && size <= 1.0) {
            vectors.push_back({vector[0] / size, vector[1] / size, vector[2] / size});
        }
    }
    return vectors;
}

// Largest integral, by degree, of a Legendre polynomial around any of the given axes. Since around enough
// axes in general position (2 l + 1 for degree l) these span all spherical harmonics of their degree, each of
// these has the integral 0, too, if all of these have.
std::vector<double> largestIntegrals(int degree, const std::vector<Vector>& axes) {
    std::vector<double> largest(static_cast<std::size_t>(degree) + 1, 0.0);
    for (const Vector& axis : axes) {
        std::vector<double> sums(largest.size(), 0.0);
        for (std::size_t i = 0; i < numLebedevDirections; ++i) {
            const auto values = legendre(degree, dot(lebedevDirections()[i].vector, axis));
            for (std::size_t l = 0; l < sums.size(); ++l) {
                sums[l] += weightOf(i) * values[l];
            }
        }
        for (std::size_t l = 0; l < sums.size(); ++l) {
            largest[l] = std::max(largest[l], std::abs(sums[l]));
        }
    }
    return largest;
}

// The distinct vectors of an octahedral orbit in the order that the header tells.
std::vector<Vector> makeOrbit(const Vector& first) {
    const double a = first[0];
    const double b = first[1];
    const double c = first[2];
    std::vector<Vector> places;
    if (a == b && b != c) {
        places = {{a, a, c}, {a, c, a}, {c, a, a}};
    } else if (b == 0.0 && c == 0.0) {
        places = {{a, 0, 0}, {0, a, 0}, {0, 0, a}};
    } else if (c == 0.0) {
        places = {{a, b, 0}, {b, a, 0}, {a, 0, b}, {b, 0, a}, {0, a, b}, {0, b, a}};
    } else if (a == b) {
        places = {{a, a, a}};
    } else {
        places = {{a, b, c}, {a, c, b}, {b, a, c}, {b, c, a}, {c, a, b}, {c, b, a}};
    }
    std::vector<Vector> orbit;
    for (const Vector& place : places) {
        for (int signs = 0; signs < 8; ++signs) {
            Vector vector = place;
            bool isNew = true;
            for (std::size_t k = 0; k < 3; ++k) {
                if ((signs >> k & 1) != 0) {
                    isNew = isNew && vector[k] != 0.0;
                    vector[k] = -vector[k];
                }
            }
            if (isNew) {
                orbit.push_back(vector);
            }
        }
    }
    return orbit;
}

} // namespace

TEST(LebedevDirections, BeginWithTheAxes) {
    const auto table = lebedevDirections();

    EXPECT_EQ(table[0].vector, (Vector{1.0, 0.0, 0.0}));
    EXPECT_EQ(table[1].vector, (Vector{-1.0, 0.0, 0.0}));
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_DOUBLE_EQ(std::abs(table[i].vector[i / 2]), 1.0);
    }
    EXPECT_EQ(table[0].weightBefore, 0.0);
    EXPECT_NEAR(table[1].weightBefore, 0.00300679674945393, 1e-17);
}

TEST(LebedevDirections, AreUnitVectors) {
    for (const LebedevDirection& direction : lebedevDirections()) {
        EXPECT_NEAR(length(direction.vector), 1.0, 1e-15);
    }
}

TEST(LebedevDirections, IntegrateAllHarmonicsThroughDegree31Exactly) {
    const std::vector<double> integrals = largestIntegrals(32, makeUnitVectors(100));

    EXPECT_NEAR(integrals[0], 1.0, 1e-14);
    for (std::size_t l = 1; l <= 31; ++l) {
        EXPECT_LE(integrals[l], 1e-14) << "degree " << l;
    }
    EXPECT_GE(integrals[32], 1e-4);
}

TEST(LebedevDirections, StandOrbitByOrbitWithOneWeightEach) {
    const auto table = lebedevDirections();
    std::vector<std::size_t> sizes;

    for (std::size_t begin = 0; begin < table.size(); begin += sizes.back()) {
        const std::vector<Vector> orbit = makeOrbit(table[begin].vector);
        ASSERT_LE(begin + orbit.size(), table.size());
        for (std::size_t i = 0; i < orbit.size(); ++i) {
            EXPECT_EQ(table[begin + i].vector, orbit[i]) << "row " << begin + i;
            EXPECT_NEAR(weightOf(begin + i), weightOf(begin), 1e-14) << "row " << begin + i;
        }
        sizes.push_back(orbit.size());
    }

    EXPECT_EQ(sizes, (std::vector<std::size_t>{6, 8, 24, 24, 24, 24, 24, 24, 24, 24, 48, 48, 48}));
}

TEST(LebedevDirections, AreFoundByTheWeightBeforeThem) {
    const auto table = lebedevDirections();

    EXPECT_EQ(findLebedevDirection(-0.1), 0U);
    EXPECT_EQ(findLebedevDirection(1.0), numLebedevDirections - 1);
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double begin = table[i].weightBefore;
        EXPECT_EQ(findLebedevDirection(begin), i);
        EXPECT_EQ(findLebedevDirection(begin + 0.5 * weightOf(i)), i);
        if (i > 0) {
            EXPECT_EQ(findLebedevDirection(std::nextafter(begin, 0.0)), i - 1);
        }
    }
}

TEST(LebedevDirections, AreDrawnWithTheirWeights) {
    std::vector<int> counts(numLebedevDirections, 0);

    for (int draw = 0; draw <= RandomSource::maxDraw; ++draw) {
        ++counts[findLebedevDirection(draw / 32768.0)];
    }

    for (std::size_t i = 0; i < counts.size(); ++i) {
        EXPECT_LE(std::abs(counts[i] - 32768.0 * weightOf(i)), 1.0) << "row " << i;
    }
}

TEST(LebedevDirections, TakeOneNumberForADraw) {
    RandomSource random;
    RandomSource same;
    random.seed(5);
    same.seed(5);

    for (int i = 0; i < 1000; ++i) {
        const double u = same.draw() / 32768.0;
        EXPECT_EQ(drawDirection(random), lebedevDirections()[findLebedevDirection(u)].vector);
    }
    EXPECT_EQ(random.draw(), same.draw());
}

} // namespace melta
