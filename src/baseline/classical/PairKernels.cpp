#include "baseline/classical/PairKernels.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "baseline/classical/PairKernels.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// No more lanes than the readable entries behind a group.
using Floats = hn::CappedTag<float, pairPadding>;

template <class V>
HWY_INLINE float AddUp(V sums) {
    return hn::GetLane(hn::SumOfLanes(Floats(), sums));
}

// Runs work(counts, r, inverse, sixth, inverseSquare, x, y, z) over all vectors of neighbours: which lanes
// count, the distance, its inverse, r^-6, r^-2 and the difference vector. Lanes that do not count stand at
// distance 1 and have a difference of zero.
template <class Work>
HWY_INLINE void ForEachVector(const PairCutoff& cutoff, const PairGroup& group, const Work& work) {
    const Floats d;
    const auto one = hn::Set(d, 1.0f);
    const auto limit = hn::Set(d, cutoff.rc * cutoff.rc);
    for (std::size_t n = 0; n < group.count; n += hn::Lanes(d)) {
        const auto x = hn::LoadU(d, group.dx + n);
        const auto y = hn::LoadU(d, group.dy + n);
        const auto z = hn::LoadU(d, group.dz + n);
        const auto square = hn::MulAdd(z, z, hn::MulAdd(y, y, hn::Mul(x, x)));
        const auto counts = hn::And(hn::Lt(square, limit), hn::FirstN(d, group.count - n));
        const auto safe = hn::IfThenElse(counts, square, one);
        const auto only = [&](auto v) HWY_ATTR { return hn::IfThenElseZero(counts, v); };
        const auto inverseSquare = hn::Div(one, safe);
        const auto r = hn::Sqrt(safe);
        const auto sixth = hn::Mul(hn::Mul(inverseSquare, inverseSquare), inverseSquare);
        work(counts, r, hn::Mul(r, inverseSquare), sixth, inverseSquare, only(x), only(y), only(z));
    }
}

// f_n = r^-n - s_n + t_n (r - rc), from r^-n and r - rc.
template <class V>
HWY_INLINE V BaseValue(const PairCutoff& cutoff, std::size_t k, V power, V gap) {
    const Floats d;
    return hn::MulAdd(hn::Set(d, cutoff.slope[k]), gap, hn::Sub(power, hn::Set(d, cutoff.shift[k])));
}

// g_n = n / r^(n+1) - t_n, the repulsion, from r^-n and 1 / r.
template <class V>
HWY_INLINE V BaseForce(const PairCutoff& cutoff, std::size_t k, V power, V inverse) {
    const Floats d;
    return hn::MulSub(hn::Mul(hn::Set(d, pairPowers[k]), power), inverse, hn::Set(d, cutoff.slope[k]));
}

// A f_12 + B f_10 + C f_8 + D f_6, where base(k, r^-n) gives f_n of power k.
template <class V, class Base>
HWY_INLINE V CombineBases(const std::array<float, numPowers>& coefs, V sixth, V inverseSquare,
                          const Base& base) {
    const Floats d;
    const auto eighth = hn::Mul(sixth, inverseSquare);
    const auto tenth = hn::Mul(eighth, inverseSquare);
    const auto twelfth = hn::Mul(tenth, inverseSquare);
    auto sum = hn::Mul(hn::Set(d, coefs[0]), base(0, twelfth));
    sum = hn::MulAdd(hn::Set(d, coefs[1]), base(1, tenth), sum);
    sum = hn::MulAdd(hn::Set(d, coefs[2]), base(2, eighth), sum);
    return hn::MulAdd(hn::Set(d, coefs[3]), base(3, sixth), sum);
}

float SumEnergies(const PairCutoff& cutoff, const std::array<float, numPowers>& coefs,
                  const PairGroup& group) {
    const Floats d;
    auto energy = hn::Zero(d);
    ForEachVector(cutoff, group,
                  [&](auto counts, auto r, auto, auto sixth, auto inverseSquare, auto, auto, auto) HWY_ATTR {
                      const auto gap = hn::Sub(r, hn::Set(d, cutoff.rc));
                      const auto value =
                          CombineBases(coefs, sixth, inverseSquare, [&](std::size_t k, auto power) HWY_ATTR {
                              return BaseValue(cutoff, k, power, gap);
                          });
                      energy = hn::Add(energy, hn::IfThenElseZero(counts, value));
                  });
    return 0.5f * AddUp(energy);
}

std::array<float, 4> SumForces(const PairCutoff& cutoff, const std::array<float, numPowers>& coefs,
                               const PairGroup& group) {
    const Floats d;
    auto energy = hn::Zero(d);
    auto fx = hn::Zero(d);
    auto fy = hn::Zero(d);
    auto fz = hn::Zero(d);
    ForEachVector(cutoff, group,
                  [&](auto counts, auto r, auto inverse, auto sixth, auto inverseSquare, auto x, auto y,
                      auto z) HWY_ATTR {
                      const auto gap = hn::Sub(r, hn::Set(d, cutoff.rc));
                      const auto value =
                          CombineBases(coefs, sixth, inverseSquare, [&](std::size_t k, auto power) HWY_ATTR {
                              return BaseValue(cutoff, k, power, gap);
                          });
                      const auto push =
                          CombineBases(coefs, sixth, inverseSquare, [&](std::size_t k, auto power) HWY_ATTR {
                              return BaseForce(cutoff, k, power, inverse);
                          });
                      energy = hn::Add(energy, hn::IfThenElseZero(counts, value));
                      const auto force = hn::Mul(hn::IfThenElseZero(counts, push), inverse);
                      fx = hn::MulAdd(force, x, fx);
                      fy = hn::MulAdd(force, y, fy);
                      fz = hn::MulAdd(force, z, fz);
                  });
    return {0.5f * AddUp(energy), AddUp(fx), AddUp(fy), AddUp(fz)};
}

PairDerivativeSums SumDerivatives(const PairCutoff& cutoff, const PairGroup& group) {
    const Floats d;
    const std::size_t numLanes = hn::Lanes(d);
    // In memory, because there are more sums than some instruction sets have registers.
    HWY_ALIGN float sums[numPowers * 4 * pairPadding] = {};
    const auto gain = [&](std::size_t k, std::size_t c, auto value) HWY_ATTR {
        float* const sum = sums + (4 * k + c) * numLanes;
        hn::Store(hn::Add(hn::Load(d, sum), value), d, sum);
    };
    ForEachVector(cutoff, group,
                  [&](auto counts, auto r, auto inverse, auto sixth, auto inverseSquare, auto x, auto y,
                      auto z) HWY_ATTR {
                      const auto gap = hn::Sub(r, hn::Set(d, cutoff.rc));
                      auto power = sixth;
                      for (std::size_t k = numPowers; k-- > 0;) {
                          gain(k, 0, hn::IfThenElseZero(counts, BaseValue(cutoff, k, power, gap)));
                          const auto push = hn::IfThenElseZero(counts, BaseForce(cutoff, k, power, inverse));
                          const auto force = hn::Mul(push, inverse);
                          gain(k, 1, hn::Mul(force, x));
                          gain(k, 2, hn::Mul(force, y));
                          gain(k, 3, hn::Mul(force, z));
                          power = hn::Mul(power, inverseSquare);
                      }
                  });
    PairDerivativeSums result{};
    for (std::size_t k = 0; k < numPowers; ++k) {
        for (std::size_t c = 0; c < 4; ++c) {
            const auto sum = hn::Load(d, sums + (4 * k + c) * numLanes);
            result[k][c] = (c == 0 ? 0.5f : 1.0f) * AddUp(sum);
        }
    }
    return result;
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(SumEnergies);
HWY_EXPORT(SumForces);
HWY_EXPORT(SumDerivatives);

float sumPairEnergies(const PairCutoff& cutoff, const std::array<float, numPowers>& coefs,
                      const PairGroup& group) {
    return HWY_DYNAMIC_DISPATCH(SumEnergies)(cutoff, coefs, group);
}

std::array<float, 4> sumPairForces(const PairCutoff& cutoff, const std::array<float, numPowers>& coefs,
                                   const PairGroup& group) {
    return HWY_DYNAMIC_DISPATCH(SumForces)(cutoff, coefs, group);
}

PairDerivativeSums sumPairDerivatives(const PairCutoff& cutoff, const PairGroup& group) {
    return HWY_DYNAMIC_DISPATCH(SumDerivatives)(cutoff, group);
}

} // namespace melta
#endif
