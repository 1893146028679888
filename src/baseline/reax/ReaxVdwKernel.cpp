#include "baseline/reax/ReaxVdwKernel.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "baseline/reax/ReaxVdwKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// No wider than the padding of the arrays.
using Lanes = hn::CappedTag<double, reaxVdwPadding>;
using Vector = hn::Vec<Lanes>;

constexpr std::size_t blockLength = 64;
static_assert(blockLength % reaxVdwPadding == 0);

// Tap(r) and its derivative. Both Horner schemes at once: the derivative's runs one step behind.
HWY_INLINE void Taper(const ReaxVdwForm& form, Vector r, Vector& value, Vector& slope) {
    const Lanes d;
    value = hn::Set(d, form.taper[7]);
    slope = hn::Zero(d);
    for (std::size_t k = 7; k-- > 0;) {
        slope = hn::MulAdd(slope, r, value);
        value = hn::MulAdd(value, r, hn::Set(d, form.taper[k]));
    }
}

// One block between two steps of the arithmetic. A pair of logarithm and exponential is a long chain in which
// each instruction waits for the one before: short loops over a block let the machine work on many vectors at
// once.
struct Block {
    HWY_ALIGN double power[blockLength]; // r^p
    HWY_ALIGN double f[blockLength];     // shielded distance
};

// result = (x + offset)^exponent.
HWY_INLINE void RaiseBlock(const double* HWY_RESTRICT x, std::size_t size, double offset, double exponent,
                           double* HWY_RESTRICT result) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    for (std::size_t n = 0; n < size; n += numLanes) {
        const auto sum = hn::Add(hn::LoadU(d, x + n), hn::Set(d, offset));
        hn::Store(hn::Mul(hn::Set(d, exponent), hn::Log(d, sum)), d, result + n);
    }
    for (std::size_t n = 0; n < size; n += numLanes) {
        hn::Store(hn::Exp(d, hn::Load(d, result + n)), d, result + n);
    }
}

// The Morse potential at the distance f with the derivative df, and its derivative.
HWY_INLINE void Morse(const ReaxVdwPair& pair, Vector f, Vector df, Vector& value, Vector& slope) {
    const Lanes d;
    const auto steepness = hn::Set(d, pair.halfAlphaPerRVdw);
    const auto e = hn::Exp(d, hn::NegMulAdd(steepness, f, hn::Set(d, pair.halfAlpha)));
    const auto depthTimesE = hn::Mul(hn::Set(d, pair.depth), e);
    value = hn::Mul(depthTimesE, hn::Sub(e, hn::Set(d, 2.0)));
    // The derivative of e^2 - 2 e is 2 (e - 1) e'.
    slope = hn::Mul(hn::Mul(depthTimesE, hn::Sub(hn::Set(d, 1.0), e)),
                    hn::Mul(hn::Add(steepness, steepness), df));
}

HWY_INLINE void InnerWall(const ReaxVdwPair& pair, Vector r, Vector& value, Vector& slope) {
    const Lanes d;
    const auto steepness = hn::Set(d, pair.acorePerRcore);
    const auto e = hn::Exp(d, hn::NegMulAdd(steepness, r, hn::Set(d, pair.acore)));
    value = hn::Mul(hn::Set(d, pair.ecore), e);
    slope = hn::Neg(hn::Mul(steepness, value));
}

// Arguments by value: stores into the results then cannot change them, and they stay in registers.
template <bool withShielding, bool withInnerWall>
HWY_INLINE void ComputeBlock(const ReaxVdwRun run, const ReaxVdwForm form, const ReaxVdwPair pair,
                             const Block& block) {
    const Lanes d;
    const auto one = hn::Set(d, 1.0);
    for (std::size_t n = 0; n < run.size; n += hn::Lanes(d)) {
        const auto r = hn::LoadU(d, run.r + n);
        auto f = r;
        auto df = one;
        Vector inverseR;
        if constexpr (withShielding) {
            // r^(p-1) f^(1-p) is r^p / r times f / f^p, and f^p is the sum that f is a power of.
            const auto power = hn::Load(d, block.power + n);
            const auto sum = hn::Add(power, hn::Set(d, pair.shielding));
            const auto inverse = hn::Div(one, hn::Mul(r, sum));
            f = hn::Load(d, block.f + n);
            df = hn::Mul(hn::Mul(power, f), inverse);
            inverseR = hn::Mul(sum, inverse);
        } else {
            inverseR = hn::Div(one, r);
        }
        Vector v;
        Vector vSlope;
        Morse(pair, f, df, v, vSlope);
        if constexpr (withInnerWall) {
            Vector wall;
            Vector wallSlope;
            InnerWall(pair, r, wall, wallSlope);
            v = hn::Add(v, wall);
            vSlope = hn::Add(vSlope, wallSlope);
        }
        Vector taper;
        Vector taperSlope;
        Taper(form, r, taper, taperSlope);
        hn::StoreU(hn::Mul(taper, v), d, run.energies + n);
        const auto slope = hn::MulAdd(taperSlope, v, hn::Mul(taper, vSlope));
        hn::StoreU(hn::Mul(slope, inverseR), d, run.factors + n);
    }
}

template <bool withShielding, bool withInnerWall>
HWY_INLINE void ForEachBlock(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    Block block;
    for (std::size_t begin = 0; begin < run.size; begin += blockLength) {
        const ReaxVdwRun part{std::min(blockLength, run.size - begin), run.r + begin, run.energies + begin,
                              run.factors + begin};
        if constexpr (withShielding) {
            RaiseBlock(part.r, part.size, 0.0, form.exponent, block.power);
            RaiseBlock(block.power, part.size, pair.shielding, 1.0 / form.exponent, block.f);
        }
        ComputeBlock<withShielding, withInnerWall>(part, form, pair, block);
    }
}

void Plain(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    ForEachBlock<false, false>(run, form, pair);
}

void Walled(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    ForEachBlock<false, true>(run, form, pair);
}

void Shielded(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    ForEachBlock<true, false>(run, form, pair);
}

void ShieldedWalled(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    ForEachBlock<true, true>(run, form, pair);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(Plain);
HWY_EXPORT(Walled);
HWY_EXPORT(Shielded);
HWY_EXPORT(ShieldedWalled);

namespace {

void computePlain(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    HWY_DYNAMIC_DISPATCH(Plain)(run, form, pair);
}

void computeWalled(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    HWY_DYNAMIC_DISPATCH(Walled)(run, form, pair);
}

void computeShielded(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    HWY_DYNAMIC_DISPATCH(Shielded)(run, form, pair);
}

void computeShieldedWalled(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair) {
    HWY_DYNAMIC_DISPATCH(ShieldedWalled)(run, form, pair);
}

} // namespace

ReaxVdwKernel selectReaxVdwKernel(bool withShielding, bool withInnerWall) {
    if (withShielding) {
        return withInnerWall ? computeShieldedWalled : computeShielded;
    }
    return withInnerWall ? computeWalled : computePlain;
}

} // namespace melta
#endif
