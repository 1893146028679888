// The argument of the angular polynomials. Included once for each instruction set.

#if defined(MELTA_CHEBYSHEV_ANGLE_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CHEBYSHEV_ANGLE_INL
#undef MELTA_CHEBYSHEV_ANGLE_INL
#else
#define MELTA_CHEBYSHEV_ANGLE_INL
#endif

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevRotation-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// (2 / pi) asin(v) for 0 <= v <= 0.708; relative error below 1e-7.
template <class V>
HWY_INLINE V ScaledArcsine(Lanes d, V v) {
    const V z = hn::Mul(v, v);
    V p = hn::Set(d, 0.06985753774642944f);
    p = hn::MulAdd(p, z, hn::Set(d, -0.05740998312830925f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.04812726378440857f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.010640091262757778f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.029592417180538177f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.04767068475484848f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.10610513389110565f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.6366197466850281f));
    return hn::Mul(p, v);
}

// x = 2 t / pi - 1 and 1 - x^2 from cosine and sine of the angle t. The smaller of the two is turned into an
// angle: the arcsine is accurate there, and 1 - |x| comes out without cancellation.
template <class V>
HWY_INLINE void MapAngle(Lanes d, V cosine, V sine, V& x, V& squaredSine) {
    const V one = hn::Set(d, 1.0f);
    const V steep = hn::Abs(cosine);
    const V p = ScaledArcsine(d, hn::Min(steep, sine));
    const auto isNearAxis = hn::Lt(sine, steep);
    const V size = hn::IfThenElse(isNearAxis, hn::Sub(one, p), p);
    x = hn::CopySign(size, hn::Neg(cosine));
    squaredSine = hn::NegMulAdd(p, p, hn::IfThenElse(isNearAxis, hn::Add(p, p), one));
    squaredSine = hn::Max(squaredSine, hn::Set(d, smallestSquaredSine));
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CHEBYSHEV_ANGLE_INL
