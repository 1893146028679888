// The way back through the sums over neighbours. The lanes hold different neighbours.

#include "symmfunc/chebyshev/ChebyshevKernels.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/chebyshev/ChebyshevRadialGradient.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevRadius-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

void RadialGradient(const NeighborShell& shell, NeighborRange range, float rcut,
                    std::span<const float> gradient, const ShellGradient& result) {
    const Lanes d;
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const MappedRadius mapped(d, hn::LoadU(d, shell.r.data() + n), rcut);
        auto c = mapped.cosine, s = mapped.sine;
        auto ofCos = hn::Set(d, gradient[0]);
        auto ofSin = hn::Zero(d);
        for (std::size_t k = 1; k < gradient.size(); ++k) {
            ofCos = hn::MulAdd(hn::Set(d, gradient[k]), c, ofCos);
            ofSin = hn::MulAdd(hn::Set(d, static_cast<float>(k) * gradient[k]), s, ofSin);
            Rotate(c, s, mapped.cosine, mapped.sine);
        }
        const auto slope = hn::Mul(hn::LoadU(d, shell.fc.data() + n), mapped.scale);
        AddAlong(d, shell, n, range.end - n,
                 hn::MulAdd(hn::LoadU(d, shell.dfc.data() + n), ofCos, hn::Mul(slope, ofSin)), result);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(RadialGradient);

void addChebyshevRadialGradient(const NeighborShell& shell, NeighborRange range, float rcut,
                                std::span<const float> gradient, const ShellGradient& result) {
    HWY_DYNAMIC_DISPATCH(RadialGradient)(shell, range, rcut, gradient, result);
}

} // namespace melta
#endif
