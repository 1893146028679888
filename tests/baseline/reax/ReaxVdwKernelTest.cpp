#include "baseline/reax/ReaxVdwKernel.hpp"

#include "base/AlignedBuffer.hpp"
#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace melta {
namespace {

constexpr double depth = 0.16;
constexpr double alpha = 9.7;
constexpr double rVdw = 3.8;
constexpr double gammaW = 2.1;
constexpr double exponent = 1.5591;
constexpr double rcore = 1.4;
constexpr double ecore = 0.13;
constexpr double acore = 11.0;
constexpr double rcut = 10.0;

ReaxVdwForm makeForm() {
    // The taper from 0 to rcut.
    ReaxVdwForm form;
    form.taper = {1.0,
                  0.0,
                  0.0,
                  0.0,
                  -35.0 / std::pow(rcut, 4),
                  84.0 / std::pow(rcut, 5),
                  -70.0 / std::pow(rcut, 6),
                  20.0 / std::pow(rcut, 7)};
    form.exponent = exponent;
    return form;
}

ReaxVdwPair makePair() {
    return {depth, 0.5 * alpha, 0.5 * alpha / rVdw, std::pow(1.0 / gammaW, exponent),
            ecore, acore,       acore / rcore};
}

struct Expected {
    double energy;
    double slope;
    double scale;      // greatest term of the energy
    double slopeScale; // and of the slope
};

// The formulas as they stand.
Expected computePlainly(double r, bool withShielding, bool withInnerWall) {
    const ReaxVdwForm form = makeForm();
    double taper = 0.0;
    double taperSlope = 0.0;
    for (int k = 0; k < 8; ++k) {
        const double c = form.taper[static_cast<std::size_t>(k)];
        taper += c * std::pow(r, k);
        taperSlope += k > 0 ? k * c * std::pow(r, k - 1) : 0.0;
    }
    double f = r;
    double df = 1.0;
    if (withShielding) {
        f = std::pow(std::pow(r, exponent) + std::pow(1.0 / gammaW, exponent), 1.0 / exponent);
        df = std::pow(r, exponent - 1.0) * std::pow(f, 1.0 - exponent);
    }
    const double e1 = std::exp(alpha * (1.0 - f / rVdw));
    const double e2 = std::exp(0.5 * alpha * (1.0 - f / rVdw));
    const double wall = withInnerWall ? ecore * std::exp(acore * (1.0 - r / rcore)) : 0.0;
    const double v = depth * (e1 - 2.0 * e2) + wall;
    const double slope = -depth * alpha / rVdw * (e1 - e2) * df - acore / rcore * wall;
    const double scale = depth * (e1 + 2.0 * e2) + wall;
    return {taper * v, taperSlope * v + taper * slope, scale, scale * alpha};
}

void compare(bool withShielding, bool withInnerWall) {
    for (const std::size_t size : {1UL, 2UL, 7UL, 8UL, 9UL, 64UL, 131UL}) {
        const std::size_t padded = size + reaxVdwPadding;
        AlignedBuffer<double> r(padded);
        AlignedBuffer<double> energies(padded);
        AlignedBuffer<double> factors(padded);
        for (std::size_t n = 0; n < padded; ++n) {
            r[n] = 0.4 + 9.6 * static_cast<double>(n) / static_cast<double>(padded);
        }

        const ReaxVdwRun run{size, r.data(), energies.data(), factors.data()};
        selectReaxVdwKernel(withShielding, withInnerWall)(run, makeForm(), makePair());

        for (std::size_t n = 0; n < size; ++n) {
            const Expected expected = computePlainly(r[n], withShielding, withInnerWall);
            EXPECT_LE(std::fabs(energies[n] - expected.energy), 2.0e-13 * expected.scale) << r[n];
            EXPECT_LE(std::fabs(factors[n] * r[n] - expected.slope), 2.0e-13 * expected.slopeScale) << r[n];
        }
    }
}

TEST(ReaxVdwKernelTest, AllInstancesAgreeWithTheFormulas) {
    test::onEachTarget([] {
        compare(false, false);
        compare(false, true);
        compare(true, false);
        compare(true, true);
    });
}

TEST(ReaxVdwKernelTest, NothingIsLeftAtTheCutoff) {
    test::onEachTarget([] {
        AlignedBuffer<double> r(reaxVdwPadding);
        std::fill(r.data(), r.data() + reaxVdwPadding, rcut);
        AlignedBuffer<double> energies(reaxVdwPadding);
        AlignedBuffer<double> factors(reaxVdwPadding);

        const ReaxVdwRun run{reaxVdwPadding, r.data(), energies.data(), factors.data()};
        selectReaxVdwKernel(true, true)(run, makeForm(), makePair());

        EXPECT_LE(std::fabs(energies[0]), 1.0e-14);
        EXPECT_LE(std::fabs(factors[0]), 1.0e-14);
    });
}

} // namespace
} // namespace melta
