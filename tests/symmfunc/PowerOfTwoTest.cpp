// The vector power of two, run on each instruction set.
#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <vector>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/PowerOfTwoTest.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/PowerOfTwo-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Whole vectors only: the length is a multiple of 64.
void RaiseAll(std::span<const float> x, std::span<float> power) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::CappedTag<float, 64> d;
    for (std::size_t i = 0; i < x.size(); i += hn::Lanes(d)) {
        hn::StoreU(PowerOfTwo(d, hn::LoadU(d, x.data() + i)), d, power.data() + i);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {
namespace {

HWY_EXPORT(RaiseAll);

std::vector<float> raise(std::vector<float> x) {
    const std::size_t count = x.size();
    x.resize((count + 63) / 64 * 64, 0.0f);
    std::vector<float> power(x.size());
    HWY_DYNAMIC_DISPATCH(RaiseAll)(x, power);
    power.resize(count);
    return power;
}

TEST(PowerOfTwoTest, ErrorStaysBelowTheStatedUnitsInTheLastPlace) {
    std::vector<float> x;
    for (int i = -1260000; i <= 1275000; ++i) {
        x.push_back(static_cast<float>(i) * 1.0e-4f);
    }
    x[0] = -126.0f;
    test::onEachTarget([&] {
        const auto power = raise(x);

        double worst = 0.0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double exact = std::exp2(static_cast<double>(x[i]));
            const double unit = std::exp2(std::floor(static_cast<double>(x[i])) - 23.0);
            const double error = std::fabs(static_cast<double>(power[i]) - exact) / unit;
            worst = error <= worst ? worst : error;
        }
        EXPECT_LE(worst, 1.2);
    });
}

TEST(PowerOfTwoTest, WholeExponentsAreExact) {
    test::onEachTarget([] {
        for (int exponent = -126; exponent <= 127; ++exponent) {
            EXPECT_EQ(raise({static_cast<float>(exponent)})[0], std::ldexp(1.0f, exponent));
        }
    });
}

TEST(PowerOfTwoTest, EndsOfTheRange) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    test::onEachTarget([] {
        for (const float x :
             {-126.00001f, -127.0f, -1.0e6f, -1.0e30f, -infinity, std::numeric_limits<float>::quiet_NaN()}) {
            EXPECT_EQ(raise({x})[0], 0.0f) << x;
        }
        const float largest = raise({127.5f})[0];
        EXPECT_TRUE(std::isfinite(largest));
        for (const float x : {127.6f, 200.0f, 1.0e30f, infinity}) {
            EXPECT_EQ(raise({x})[0], largest) << x;
        }
    });
}

} // namespace
} // namespace melta
#endif
