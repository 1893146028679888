// The argument of the radial polynomials. Included once for each instruction set.

#if defined(MELTA_CHEBYSHEV_RADIUS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CHEBYSHEV_RADIUS_INL
#undef MELTA_CHEBYSHEV_RADIUS_INL
#else
#define MELTA_CHEBYSHEV_RADIUS_INL
#endif

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevRotation-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// cos(theta) = x = 2 r / rcut - 1, sin(theta), and the factor of k sin(k theta) in the derivative of
// cos(k theta) by r.
template <class V>
struct MappedRadius {
    V cosine, sine, scale;

    HWY_INLINE MappedRadius(Lanes d, V r, float rcut) {
        const V one = hn::Set(d, 1.0f);
        const V two = hn::Set(d, 2.0f);
        const V inverseRadius = hn::Set(d, 1.0f / rcut);
        // 1 - x^2 = 4 (r / rcut) (rcut - r) / rcut, which is exact at the cutoff.
        const V ratio = hn::Mul(r, inverseRadius);
        const V gap = hn::Mul(hn::Sub(hn::Set(d, rcut), r), inverseRadius);
        const V squaredSine =
            hn::Max(hn::Mul(hn::Set(d, 4.0f), hn::Mul(ratio, gap)), hn::Set(d, smallestSquaredSine));
        const V inverseSine = ReciprocalRoot(d, squaredSine);
        cosine = hn::Min(hn::MulSub(two, ratio, one), one);
        sine = hn::Mul(squaredSine, inverseSine);
        scale = hn::Mul(hn::Mul(two, inverseRadius), inverseSine);
    }
};

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CHEBYSHEV_RADIUS_INL
