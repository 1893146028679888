// The way back through the sums over pairs of neighbours, from the gradient by the values to that by the
// positions.
//
// With g the gradient by the values and the names of the way forth, a pair brings in four sums over the
// functions, those of g F1' F2 T, g F1 F2' T, g F1 F2 dT/ds and g F1 F2 dT/dcos. What they do to the two
// neighbours is the same for all functions. The lanes hold different pairs, and both signs of lambda share
// what they can.

#include "symmfunc/behler/BehlerKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/behler/BehlerAngularGradient.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/behler/BehlerPairs-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

using V = hn::Vec<Lanes>;

struct GradientWork {
    std::size_t stride;           // distance of two sets of parameters in gaussian and slope
    NeighborFrames frames;        // [numNeighbors]
    float* HWY_RESTRICT along;    // [numNeighbors], gradient along u
    float* HWY_RESTRICT across1;  // [numNeighbors], gradient along e1, times the distance
    float* HWY_RESTRICT across2;  // the same along e2
    float* HWY_RESTRICT gaussian; // [numSets][stride], F
    float* HWY_RESTRICT slope;    // the same, derivative of F by the distance

    GradientWork(ScratchCarver carver, std::size_t padded, std::size_t numSets)
        : stride(padded), frames(carver, padded), along(carver.take(padded)), across1(carver.take(padded)),
          across2(carver.take(padded)), gaussian(carver.take(numSets * padded)),
          slope(carver.take(numSets * padded)) {}

    GradientWork(const NeighborShell& shell, const BehlerAngularSet& set, std::span<float> scratch)
        : GradientWork(ScratchCarver(scratch), hwy::RoundUpTo(shell.size, shellPadding) + shellPadding,
                       set.eta.size()) {}
};

void PrepareGradient(const NeighborShell& shell, const BehlerAngularSet& set, std::span<float> scratch) {
    const Lanes d;
    const GradientWork work(shell, set, scratch);
    PrepareFrames(shell, {0, shell.size}, work.frames);
    for (std::size_t m = 0; m < set.eta.size(); ++m) {
        const auto width = hn::Set(d, log2OfE * set.eta[m]);
        const auto shift = hn::Set(d, set.shift[m]);
        for (std::size_t n = 0; n < shell.size; n += hn::Lanes(d)) {
            auto value = hn::Zero(d);
            auto byR = hn::Zero(d);
            CutGaussian(d, width, shift, hn::LoadU(d, shell.r.data() + n), hn::LoadU(d, shell.fc.data() + n),
                        hn::LoadU(d, shell.dfc.data() + n), value, byR);
            hn::StoreU(value, d, work.gaussian + m * work.stride + n);
            hn::StoreU(byR, d, work.slope + m * work.stride + n);
        }
    }
}

// The partners of N pairs. Those of pairs with a third side are not side by side.
template <bool isG4>
class PartnerLanes {
public:
    HWY_INLINE PartnerLanes(Lanes d, const PairBatch& batch, std::size_t i)
        : begin(static_cast<std::size_t>(batch.partner[0]) + i),
          places(hn::IfThenElseZero(hn::FirstN(Ints(), HWY_MIN(batch.count - i, hn::Lanes(d))),
                                    hn::LoadU(Ints(), batch.partner + i))) {}

    HWY_INLINE V load(Lanes d, const float* HWY_RESTRICT from) const {
        if constexpr (isG4) {
            return hn::LoadU(d, from + begin);
        } else {
            return hn::GatherIndex(d, from, places);
        }
    }

private:
    using Ints = hn::RebindToSigned<Lanes>;
    std::size_t begin;
    hn::Vec<Ints> places; // the first one behind the last pair
};

// The four sums over the functions of N pairs.
struct PairSums {
    V outer, partner; // g F1' F2 T and g F1 F2' T
    V byDistance;     // g F1 F2 dT/ds
    V byCosine;       // g F1 F2 dT/dcos
};

// Powers of both signs of lambda with their weights: what stands for T and for lambda dT/dc / zeta.
struct WeightedPowers {
    V value, slope;

    HWY_INLINE WeightedPowers(Lanes d, const PairBatch& batch, std::size_t i, V zeta, V exponent, float plus,
                              float minus) {
        const V powerPlus = hn::Mul(
            hn::Set(d, plus), PowerOfTwo(d, hn::MulAdd(zeta, hn::LoadU(d, batch.logPlus + i), exponent)));
        const V powerMinus = hn::Mul(
            hn::Set(d, minus), PowerOfTwo(d, hn::MulAdd(zeta, hn::LoadU(d, batch.logMinus + i), exponent)));
        value = hn::Add(powerPlus, powerMinus);
        slope = hn::MulAdd(powerPlus, hn::LoadU(d, batch.slopePlus + i),
                           hn::Mul(powerMinus, hn::LoadU(d, batch.slopeMinus + i)));
    }
};

template <bool isG4>
HWY_INLINE PairSums SumFunctions(Lanes d, std::size_t j, const PairBatch& batch, std::size_t i,
                                 const BehlerAngularSet& set, std::span<const float> gradient,
                                 const GradientWork& work) {
    PairSums sums{hn::Zero(d), hn::Zero(d), hn::Zero(d), hn::Zero(d)};
    const std::size_t numSets = set.eta.size();
    const PartnerLanes<isG4> partners(d, batch, i);
    for (std::size_t m = 0; m < numSets; ++m) {
        const float* const gaussians = work.gaussian + m * work.stride;
        const float* const slopes = work.slope + m * work.stride;
        const V zeta = hn::Set(d, set.zeta[m]);
        V exponent = hn::Set(d, 1.0f);
        V steep = hn::Zero(d);
        if constexpr (!isG4) {
            const V gap = hn::Sub(hn::LoadU(d, batch.distance + i), hn::Set(d, set.shift[m]));
            steep = hn::Mul(hn::Set(d, log2OfE * set.eta[m]), gap);
            exponent = hn::NegMulAdd(steep, gap, exponent);
        }
        const WeightedPowers powers(d, batch, i, zeta, exponent, gradient[m], gradient[numSets + m]);
        const V outer = hn::Set(d, gaussians[j]);
        const V partner = partners.load(d, gaussians);
        const V product = hn::Mul(outer, partner);
        const V fc = isG4 ? hn::Set(d, 1.0f) : hn::LoadU(d, batch.fc + i);
        const V value = isG4 ? powers.value : hn::Mul(powers.value, fc);
        const V outerSlope = hn::Set(d, slopes[j]);
        sums.outer = hn::MulAdd(hn::Mul(outerSlope, partner), value, sums.outer);
        sums.partner = hn::MulAdd(hn::Mul(outer, partners.load(d, slopes)), value, sums.partner);
        const V turn = hn::Mul(zeta, product);
        sums.byCosine = hn::MulAdd(isG4 ? turn : hn::Mul(turn, fc), powers.slope, sums.byCosine);
        if constexpr (!isG4) {
            const V byDistance =
                hn::NegMulAdd(steep, hn::LoadU(d, batch.fcSlope + i), hn::LoadU(d, batch.dfc + i));
            sums.byDistance = hn::MulAdd(hn::Mul(product, powers.value), byDistance, sums.byDistance);
        }
    }
    return sums;
}

// Adds the first `count` lanes to the sums of their partners, no two of which are the same.
template <bool isG4>
HWY_INLINE void AddToPartners(Lanes d, V v, const PairBatch& batch, std::size_t i, std::size_t count,
                              float* HWY_RESTRICT sums) {
    if constexpr (isG4) {
        float* const to = sums + batch.partner[0] + i;
        hn::StoreU(hn::Add(hn::LoadU(d, to), v), d, to);
    } else {
        HWY_ALIGN float lanes[shellPadding];
        hn::Store(v, d, lanes);
        for (std::size_t lane = 0; lane < count; ++lane) {
            sums[batch.partner[i + lane]] += lanes[lane];
        }
    }
}

// Adds the pairs of a batch to the sums of both neighbours.
template <bool isG4>
void AddBatch(std::size_t j, const PairBatch& batch, const BehlerAngularSet& set,
              std::span<const float> gradient, const GradientWork& work) {
    const Lanes d;
    V along = hn::Zero(d), across1 = hn::Zero(d), across2 = hn::Zero(d);
    for (std::size_t i = 0; i < batch.count; i += hn::Lanes(d)) {
        const std::size_t count = std::min(batch.count - i, hn::Lanes(d));
        const auto isInside = hn::FirstN(d, count);
        PairSums sums = SumFunctions<isG4>(d, j, batch, i, set, gradient, work);
        if constexpr (!isG4) {
            const V byDistance = sums.byDistance;
            sums.outer = hn::MulAdd(byDistance, hn::LoadU(d, batch.outerAlong + i), sums.outer);
            sums.partner = hn::MulAdd(byDistance, hn::LoadU(d, batch.partnerAlong + i), sums.partner);
            sums.byCosine = hn::NegMulAdd(byDistance, hn::LoadU(d, batch.bend + i), sums.byCosine);
        }
        const auto keep = [isInside](V v) { return hn::IfThenElseZero(isInside, v); };
        const auto turn = [&](const float* HWY_RESTRICT by) {
            return keep(hn::Mul(sums.byCosine, hn::LoadU(d, by + i)));
        };
        along = hn::Add(along, keep(sums.outer));
        across1 = hn::Add(across1, turn(batch.outer1));
        across2 = hn::Add(across2, turn(batch.outer2));
        AddToPartners<isG4>(d, keep(sums.partner), batch, i, count, work.along);
        AddToPartners<isG4>(d, turn(batch.partner1), batch, i, count, work.across1);
        AddToPartners<isG4>(d, turn(batch.partner2), batch, i, count, work.across2);
    }
    work.along[j] += hn::GetLane(hn::SumOfLanes(d, along));
    work.across1[j] += hn::GetLane(hn::SumOfLanes(d, across1));
    work.across2[j] += hn::GetLane(hn::SumOfLanes(d, across2));
}

template <bool isG4>
void AddAllPairs(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                 const BehlerAngularSet& set, std::span<const float> gradient, const GradientWork& work) {
    const PairStager<isG4, true> stager(shell, work.frames, set);
    PairBatch batch;
    for (std::size_t j = first.begin; j < first.end; ++j) {
        const std::size_t end = first == second ? j : second.end;
        for (std::size_t k = second.begin; k < end; k += PairBatch::capacity) {
            stager.stage(j, {k, std::min(end, k + PairBatch::capacity)}, batch);
            AddBatch<isG4>(j, batch, set, gradient, work);
        }
    }
}

void ClearSums(NeighborRange range, const GradientWork& work) {
    for (float* const sums : {work.along, work.across1, work.across2}) {
        std::fill(sums + range.begin, sums + range.end, 0.0f);
    }
}

// Adds what the sums of the neighbours make up.
void AddGradient(const NeighborShell& shell, NeighborRange range, const GradientWork& work,
                 const ShellGradient& to) {
    const auto& [u, e1, e2] = work.frames;
    for (std::size_t n = range.begin; n < range.end; ++n) {
        const float along = work.along[n];
        const float across1 = work.across1[n] / shell.r[n];
        const float across2 = work.across2[n] / shell.r[n];
        to.x[n] += along * u.x[n] + across1 * e1.x[n] + across2 * e2.x[n];
        to.y[n] += along * u.y[n] + across1 * e1.y[n] + across2 * e2.y[n];
        to.z[n] += along * u.z[n] + across1 * e1.z[n] + across2 * e2.z[n];
    }
}

void AngularGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                     const BehlerAngularSet& set, std::span<const float> gradient,
                     const ShellGradient& result, std::span<float> scratch) {
    const GradientWork work(shell, set, scratch);
    ClearSums(second, work);
    ClearSums(first, work);
    if (set.isG4) {
        AddAllPairs<true>(shell, first, second, set, gradient, work);
    } else {
        AddAllPairs<false>(shell, first, second, set, gradient, work);
    }
    AddGradient(shell, second, work, result);
    if (first != second) {
        AddGradient(shell, first, work, result);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(PrepareGradient);
HWY_EXPORT(AngularGradient);

std::size_t countBehlerGradientScratch(std::size_t numNeighbors, std::size_t numSets) {
    // Nine components and three sums for each neighbour; two factors for each neighbour and set.
    const std::size_t padded = hwy::RoundUpTo(numNeighbors, shellPadding) + shellPadding;
    return (12 + 2 * numSets) * padded;
}

void prepareBehlerAngularGradient(const NeighborShell& shell, const BehlerAngularSet& set,
                                  std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(PrepareGradient)(shell, set, scratch);
}

void addBehlerAngularGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                              const BehlerAngularSet& set, std::span<const float> gradient,
                              const ShellGradient& result, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AngularGradient)(shell, first, second, set, gradient, result, scratch);
}

} // namespace melta
#endif
