// The way back through the sums over neighbours. The lanes hold different neighbours.

#include "symmfunc/behler/BehlerKernels.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/behler/BehlerRadialGradient.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/behler/BehlerGaussian-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

void RadialGradient(const NeighborShell& shell, NeighborRange range, const BehlerRadialSet& set,
                    std::span<const float> gradient, const ShellGradient& result) {
    const Lanes d;
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const auto r = hn::LoadU(d, shell.r.data() + n);
        const auto fc = hn::LoadU(d, shell.fc.data() + n);
        const auto dfc = hn::LoadU(d, shell.dfc.data() + n);
        auto byR = hn::Zero(d);
        for (std::size_t k = 0; k < gradient.size(); ++k) {
            auto value = hn::Zero(d);
            auto slope = hn::Zero(d);
            CutGaussian(d, hn::Set(d, log2OfE * set.eta[k]), hn::Set(d, set.shift[k]), r, fc, dfc, value,
                        slope);
            byR = hn::MulAdd(hn::Set(d, gradient[k]), slope, byR);
        }
        AddAlong(d, shell, n, range.end - n, byR, result);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(RadialGradient);

void addBehlerRadialGradient(const NeighborShell& shell, NeighborRange range, const BehlerRadialSet& set,
                             std::span<const float> gradient, const ShellGradient& result) {
    HWY_DYNAMIC_DISPATCH(RadialGradient)(shell, range, set, gradient, result);
}

} // namespace melta
#endif
