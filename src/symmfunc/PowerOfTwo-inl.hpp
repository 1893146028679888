// 2 to the power x, for kernels whose time is mostly exponentials. Included once for each instruction set.

#if defined(MELTA_POWER_OF_TWO_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_POWER_OF_TWO_INL
#undef MELTA_POWER_OF_TWO_INL
#else
#define MELTA_POWER_OF_TWO_INL
#endif

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// 2^x for any x, within 1.2 units in the last place; exact for whole x. Zero below -126, where the result
// would not be a normal number, and for NaN. Does not grow further above 127.5. Takes about half the
// operations of a library's exponential, which has to serve numbers that are not needed here.
template <class D, class V>
HWY_INLINE V PowerOfTwo(D d, V x) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::RebindToUnsigned<D> du;
    // Adding 1.5 * 2^23 leaves the nearest whole number in the low bits of the sum.
    const V magic = hn::Set(d, 12582912.0f);
    const V limited = hn::Min(x, hn::Set(d, 127.5f));
    const V shifted = hn::Add(limited, magic);
    const V f = hn::Sub(limited, hn::Sub(shifted, magic));
    // Minimax polynomial of 2^f for -0.5 <= f <= 0.5, relative error 1.6e-8.
    V p = hn::Set(d, 0.00015353361959569156f);
    p = hn::MulAdd(p, f, hn::Set(d, 0.0013398875016719103f));
    p = hn::MulAdd(p, f, hn::Set(d, 0.00961843691766262f));
    p = hn::MulAdd(p, f, hn::Set(d, 0.055503323674201965f));
    p = hn::MulAdd(p, f, hn::Set(d, 0.24022647738456726f));
    p = hn::MulAdd(p, f, hn::Set(d, 0.6931471824645996f));
    p = hn::MulAdd(p, f, hn::Set(d, 1.0f));
    const auto exponent = hn::ShiftLeft<23>(hn::BitCast(du, shifted));
    const V power = hn::BitCast(d, hn::Add(hn::BitCast(du, p), exponent));
    return hn::IfThenElseZero(hn::Ge(x, hn::Set(d, -126.0f)), power);
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_POWER_OF_TWO_INL
