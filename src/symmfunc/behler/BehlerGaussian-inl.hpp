// The Gaussian of a distance, which radial and angular Behler functions share. Included once for each
// instruction set.

#if defined(MELTA_BEHLER_GAUSSIAN_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_BEHLER_GAUSSIAN_INL
#undef MELTA_BEHLER_GAUSSIAN_INL
#else
#define MELTA_BEHLER_GAUSSIAN_INL
#endif

#include <algorithm>
#include <cstddef>
#include <span>

#include <hwy/highway.h>

#include "symmfunc/PowerOfTwo-inl.hpp"
#include "symmfunc/ShellKernels-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

constexpr float log2OfE = 1.4426950408889634f;
constexpr float twiceLogOf2 = 1.3862943611198906f;

// Gaussians of several columns, padded with flat ones to whole vectors.
struct GaussianColumns {
    float* HWY_RESTRICT width; // eta / ln(2), so that a power of two takes the place of the exponential
    float* HWY_RESTRICT shift;

    static constexpr std::size_t numFloats = 2; // for each column
    GaussianColumns(ScratchCarver& carver, std::size_t paddedColumns)
        : width(carver.take(paddedColumns)), shift(carver.take(paddedColumns)) {}

    // Columns `begin` and following get these parameters.
    void set(std::span<const float> eta, std::span<const float> shifts, std::size_t begin) const {
        for (std::size_t k = 0; k < eta.size(); ++k) {
            width[begin + k] = log2OfE * eta[k];
            shift[begin + k] = shifts[k];
        }
    }

    void pad(std::size_t begin, std::size_t end) const {
        std::fill(width + begin, width + end, 0.0f);
        std::fill(shift + begin, shift + end, 0.0f);
    }
};

// fc exp(-eta (r - shift)^2), and its derivative by r.
template <class V>
HWY_INLINE void CutGaussian(Lanes d, V width, V shift, V r, V fc, V dfc, V& value, V& byR) {
    const V gap = hn::Sub(r, shift);
    const V steep = hn::Mul(width, gap);
    const V gaussian = PowerOfTwo(d, hn::Neg(hn::Mul(steep, gap)));
    value = hn::Mul(fc, gaussian);
    byR = hn::Mul(hn::NegMulAdd(steep, hn::Mul(hn::Set(d, twiceLogOf2), fc), dfc), gaussian);
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_BEHLER_GAUSSIAN_INL
