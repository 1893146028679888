#include "symmfunc/CutoffKernels.hpp"

#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace melta {
namespace {

constexpr float rcut = 5.3f;

// Distances from 0 to 6.6 Angstrom, on both sides of the cutoff.
std::vector<float> makeDistances(std::size_t count) {
    std::vector<float> r(count);
    for (std::size_t i = 0; i < count; ++i) {
        r[i] = 6.6f * static_cast<float>(i) / static_cast<float>(count);
    }
    return r;
}

TEST(CutoffKernelsTest, CosineCutoffAgreesWithDoublePrecision) {
    test::onEachTarget([] {
        for (const std::size_t count : {1UL, 7UL, 16UL, 33UL, 1001UL}) {
            const auto r = makeDistances(count);
            std::vector<float> value(count, 9.0f);
            std::vector<float> derivative(count, 9.0f);

            computeCosineCutoff(r, rcut, value, derivative);

            for (std::size_t i = 0; i < count; ++i) {
                const double angle = std::numbers::pi * static_cast<double>(r[i]) / static_cast<double>(rcut);
                const bool isInside = r[i] < rcut;
                const double v = isInside ? 0.5 * (std::cos(angle) + 1.0) : 0.0;
                const double dv =
                    isInside ? -0.5 * std::sin(angle) * std::numbers::pi / static_cast<double>(rcut) : 0.0;
                EXPECT_LE(std::fabs(static_cast<double>(value[i]) - v), 3.0e-7) << r[i];
                EXPECT_LE(std::fabs(static_cast<double>(derivative[i]) - dv), 3.0e-7) << r[i];
            }
        }
    });
}

TEST(CutoffKernelsTest, TanhCutoffAgreesWithDoublePrecision) {
    test::onEachTarget([] {
        for (const std::size_t count : {1UL, 7UL, 16UL, 33UL, 1001UL}) {
            const auto r = makeDistances(count);
            std::vector<float> value(count, 9.0f);
            std::vector<float> derivative(count, 9.0f);

            computeTanhCutoff(r, rcut, value, derivative);

            for (std::size_t i = 0; i < count; ++i) {
                const double t = std::tanh(1.0 - static_cast<double>(r[i]) / static_cast<double>(rcut));
                const bool isInside = r[i] < rcut;
                const double v = isInside ? t * t * t : 0.0;
                const double dv = isInside ? -3.0 * t * t * (1.0 - t * t) / static_cast<double>(rcut) : 0.0;
                EXPECT_LE(std::fabs(static_cast<double>(value[i]) - v), 3.0e-7) << r[i];
                EXPECT_LE(std::fabs(static_cast<double>(derivative[i]) - dv), 3.0e-7) << r[i];
            }
        }
    });
}

TEST(CutoffKernelsTest, BothVanishFromTheCutoffOn) {
    test::onEachTarget([] {
        const std::vector<float> r{rcut, std::nextafter(rcut, 10.0f), 7.0f, 1.0e6f};
        std::vector<float> value(4, 9.0f);
        std::vector<float> derivative(4, 9.0f);

        computeCosineCutoff(r, rcut, value, derivative);

        EXPECT_EQ(value, std::vector<float>(4, 0.0f));
        EXPECT_EQ(derivative, std::vector<float>(4, 0.0f));

        value.assign(4, 9.0f);
        derivative.assign(4, 9.0f);
        computeTanhCutoff(r, rcut, value, derivative);

        EXPECT_EQ(value, std::vector<float>(4, 0.0f));
        EXPECT_EQ(derivative, std::vector<float>(4, 0.0f));
    });
}

TEST(CutoffKernelsTest, LastValuesBelowTheCutoffAreTinyButPositive) {
    const std::vector<float> r{std::nextafter(rcut, 0.0f)};
    std::vector<float> value(1);
    std::vector<float> derivative(1);

    computeCosineCutoff(r, rcut, value, derivative);

    EXPECT_GT(value[0], 0.0f);
    EXPECT_LT(value[0], 1.0e-12f);
    EXPECT_LT(derivative[0], 0.0f);
}

} // namespace
} // namespace melta
