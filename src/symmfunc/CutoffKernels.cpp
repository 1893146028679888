#include "symmfunc/CutoffKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/CutoffKernels.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Runs `compute(gap, value, derivative)` over all distances, with gap = (rcut - r) / rcut, which is exact
// where the functions vanish, and clears what lies at or beyond the cutoff. The last vector goes through a
// padded copy.
template <class Compute>
HWY_INLINE void ForEachVector(std::span<const float> r, float rcut, std::span<float> value,
                              std::span<float> derivative, const Compute& compute) {
    const hn::ScalableTag<float> d;
    const std::size_t numLanes = hn::Lanes(d);
    const auto radius = hn::Set(d, rcut);
    const auto inverse = hn::Set(d, 1.0f / rcut);
    const auto run = [&](const float* from, float* toValue, float* toDerivative) HWY_ATTR {
        const auto distance = hn::LoadU(d, from);
        const auto gap = hn::Mul(hn::Sub(radius, distance), inverse);
        auto v = hn::Zero(d);
        auto dv = hn::Zero(d);
        compute(d, gap, v, dv);
        const auto isInside = hn::Lt(distance, radius);
        hn::StoreU(hn::IfThenElseZero(isInside, v), d, toValue);
        hn::StoreU(hn::IfThenElseZero(isInside, dv), d, toDerivative);
    };

    std::size_t n = 0;
    for (; n + numLanes <= r.size(); n += numLanes) {
        run(r.data() + n, value.data() + n, derivative.data() + n);
    }
    if (n < r.size()) {
        HWY_ALIGN float from[hn::MaxLanes(d)] = {};
        HWY_ALIGN float toValue[hn::MaxLanes(d)];
        HWY_ALIGN float toDerivative[hn::MaxLanes(d)];
        const std::size_t rest = r.size() - n;
        std::copy_n(r.data() + n, rest, from);
        run(from, toValue, toDerivative);
        std::copy_n(toValue, rest, value.data() + n);
        std::copy_n(toDerivative, rest, derivative.data() + n);
    }
}

// 0.5 (cos(pi r / rcut) + 1) = sin^2(pi gap / 2), which does not cancel near the cutoff.
void CosineCutoff(std::span<const float> r, float rcut, std::span<float> value, std::span<float> derivative) {
    constexpr float pi = 3.1415927f;
    const auto compute = [&](auto d, auto gap, auto& v, auto& dv) HWY_ATTR {
        const auto angle = hn::Mul(hn::Set(d, 0.5f * pi), gap);
        const auto sine = hn::Sin(d, angle);
        const auto cosine = hn::Cos(d, angle);
        v = hn::Mul(sine, sine);
        dv = hn::Mul(hn::Mul(sine, cosine), hn::Set(d, -pi / rcut));
    };
    ForEachVector(r, rcut, value, derivative, compute);
}

void TanhCutoff(std::span<const float> r, float rcut, std::span<float> value, std::span<float> derivative) {
    const auto compute = [&](auto d, auto gap, auto& v, auto& dv) HWY_ATTR {
        const auto t = hn::Tanh(d, gap);
        const auto t2 = hn::Mul(t, t);
        v = hn::Mul(t2, t);
        dv = hn::Mul(hn::Mul(t2, hn::NegMulAdd(t, t, hn::Set(d, 1.0f))), hn::Set(d, -3.0f / rcut));
    };
    ForEachVector(r, rcut, value, derivative, compute);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(CosineCutoff);
HWY_EXPORT(TanhCutoff);

void computeCosineCutoff(std::span<const float> r, float rcut, std::span<float> value,
                         std::span<float> derivative) {
    HWY_DYNAMIC_DISPATCH(CosineCutoff)(r, rcut, value, derivative);
}

void computeTanhCutoff(std::span<const float> r, float rcut, std::span<float> value,
                       std::span<float> derivative) {
    HWY_DYNAMIC_DISPATCH(TanhCutoff)(r, rcut, value, derivative);
}

} // namespace melta
#endif
