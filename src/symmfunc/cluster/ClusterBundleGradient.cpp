// The way back from densities to neighbours, for a bundle of columns. The formulas are those of
// ClusterGradient.cpp.

#include "symmfunc/cluster/ClusterBundleKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterBundleGradient.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBundle-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// b of ClusterGradient.cpp, [numHarmonics][numRadius][vector], each row as often as it fits into a vector.
template <class D>
void MixChannels(D d, const ClusterPlan& plan, std::span<const float> weights,
                 const float* HWY_RESTRICT byDensity, float* HWY_RESTRICT mixed) {
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t longest = hn::Lanes(Lanes());
    for (std::size_t h = 0; h < plan.numHarmonics(); ++h) {
        const float* row = byDensity + h * plan.startOfSquares() * lanes;
        for (std::size_t n = 0; n < plan.numRadius; ++n, row += lanes, mixed += longest) {
            const float* from = row;
            auto sum = hn::Zero(d);
            for (const float weight : weights) {
                sum = hn::MulAdd(hn::Set(d, weight), hn::Load(d, from), sum);
                from += plan.numRadius * lanes;
            }
            for (std::size_t i = 0; i < longest; i += lanes) {
                hn::Store(sum, d, mixed + i);
            }
        }
    }
}

using Vector = hn::Vec<Lanes>;

// The sums over the harmonics: of B Y, and of A times the derivatives of Y by the components of u.
struct PositionSums {
    Vector along;
    VectorLanes<Vector> across;
};

// Adds harmonics h to h + count - 1 of a group of neighbours.
template <std::size_t count, class Spread>
HWY_INLINE void AddHarmonics(const ClusterPlan& plan, const NeighborRows& rows, const Spread& spread,
                             std::size_t h, const float* HWY_RESTRICT mixed, PositionSums& sums) {
    const Lanes d;
    const std::size_t length = plan.numRadius * hn::Lanes(d);
    const float* radius = rows.radius;
    Vector a[count], b[count];
    for (std::size_t i = 0; i < count; ++i) {
        a[i] = b[i] = hn::Zero(d);
    }
    const float* factors = mixed + h * length;
    for (const float* const end = factors + length; factors != end; factors += hn::Lanes(d)) {
        const auto value = spread(radius);
        const auto slope = spread(radius + laneRow);
        radius += 2 * laneRow;
        for (std::size_t i = 0; i < count; ++i) {
            const auto factor = hn::Load(d, factors + i * length);
            a[i] = hn::MulAdd(factor, value, a[i]);
            b[i] = hn::MulAdd(factor, slope, b[i]);
        }
    }
    const float* harmonic = rows.harmonics + 4 * h * laneRow;
    for (std::size_t i = 0; i < count; ++i, harmonic += 4 * laneRow) {
        sums.along = hn::MulAdd(b[i], spread(harmonic), sums.along);
        sums.across.x = hn::MulAdd(a[i], spread(harmonic + laneRow), sums.across.x);
        sums.across.y = hn::MulAdd(a[i], spread(harmonic + 2 * laneRow), sums.across.y);
        sums.across.z = hn::MulAdd(a[i], spread(harmonic + 3 * laneRow), sums.across.z);
    }
}

// The gradient by the positions of a group. Four harmonics at once hide the time of an addition; there are
// squares of numbers, which leave one at most.
template <class Spread>
HWY_INLINE VectorLanes<Vector> SumGroup(const ClusterPlan& plan, const NeighborRows& rows,
                                        const Spread& spread, const float* HWY_RESTRICT mixed) {
    const auto zero = hn::Zero(Lanes());
    PositionSums sums{zero, {zero, zero, zero}};
    std::size_t h = 0;
    for (; h + 4 <= plan.numHarmonics(); h += 4) {
        AddHarmonics<4>(plan, rows, spread, h, mixed, sums);
    }
    if (h < plan.numHarmonics()) {
        AddHarmonics<1>(plan, rows, spread, h, mixed, sums);
    }
    // The part of `across` along u is taken away.
    const auto u = SpreadVector(spread, rows.unit);
    const auto inverse = spread(rows.unit + 3 * laneRow);
    const auto along = hn::NegMulAdd(Dot(u, sums.across), inverse, sums.along);
    return {hn::MulAdd(along, u.x, hn::Mul(inverse, sums.across.x)),
            hn::MulAdd(along, u.y, hn::Mul(inverse, sums.across.y)),
            hn::MulAdd(along, u.z, hn::Mul(inverse, sums.across.z))};
}

// Stores the rows of the first `count` neighbours of a group.
HWY_INLINE void StoreGroup(Vector v, std::size_t count, std::size_t lanes, const std::int32_t* entries,
                           float* HWY_RESTRICT to) {
    const Lanes d;
    if (lanes == hn::Lanes(d)) {
        hn::Store(v, d, to + static_cast<std::size_t>(entries[0]) * lanes);
        return;
    }
    HWY_ALIGN float group[hn::MaxLanes(Lanes())];
    hn::Store(v, d, group);
    for (std::size_t k = 0; k < count; ++k) {
        CopyRow(lanes, group + k * lanes, to + static_cast<std::size_t>(entries[k]) * lanes);
    }
}

template <bool isWhole>
void StoreNeighbors(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                    const NeighborRows& rows, const float* HWY_RESTRICT mixed, std::size_t lanes,
                    std::span<float> byPositions) {
    const std::size_t longest = hn::Lanes(Lanes());
    const std::size_t length = byPositions.size() / 3;
    const auto members = FindMembers(lanes);
    for (std::size_t n = range.begin; n < range.end; n += longest) {
        FillRows(shell, plan, n, rows);
        const std::size_t count = std::min(range.end - n, longest);
        for (std::size_t i = 0; i < count; i += longest / lanes) {
            const GroupSpread<isWhole> spread(members, i);
            const auto gradient = SumGroup(plan, rows, spread, mixed);
            const std::int32_t* const entries = shell.entry.data() + n + i;
            const std::size_t inGroup = std::min(count - i, longest / lanes);
            StoreGroup(gradient.x, inGroup, lanes, entries, byPositions.data());
            StoreGroup(gradient.y, inGroup, lanes, entries, byPositions.data() + length);
            StoreGroup(gradient.z, inGroup, lanes, entries, byPositions.data() + 2 * length);
        }
    }
}

void ComputeGradient(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                     std::span<const float> weights, std::span<const float> byDensity, std::size_t lanes,
                     std::span<float> byPositions, std::span<float> scratch) {
    ScratchCarver carver(scratch);
    const NeighborRows rows(carver, plan);
    float* const mixed = carver.take(plan.numHarmonics() * plan.numRadius * hn::Lanes(Lanes()));
    WithLanes(lanes, [&](auto d) { MixChannels(d, plan, weights, byDensity.data(), mixed); });
    WithGroups(lanes, [&](auto isWhole) {
        StoreNeighbors<isWhole()>(shell, range, plan, rows, mixed, lanes, byPositions);
    });
}

std::size_t FindLanes(std::size_t numColumns) {
    const std::size_t longest = hn::Lanes(Lanes());
    std::size_t lanes = 4;
    while (lanes < numColumns && lanes < longest) {
        lanes *= 2;
    }
    return std::min(lanes, longest);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(ComputeGradient);
HWY_EXPORT(FindLanes);

std::size_t findClusterLanes(std::size_t numColumns) {
    return HWY_DYNAMIC_DISPATCH(FindLanes)(numColumns);
}

std::size_t countClusterBundleScratch(const ClusterPlan& plan) {
    const std::size_t polynomials = (plan.maxAngular + 1) * (plan.maxAngular + 2) / 2;
    const std::size_t numRows = 2 * plan.numRadius + 4 * plan.numHarmonics() + 4 + polynomials;
    return numRows * shellPadding + plan.numHarmonics() * plan.numRadius * shellPadding;
}

void computeClusterBundleGradient(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                                  std::span<const float> weights, std::span<const float> byDensity,
                                  std::size_t lanes, std::span<float> byPositions, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(ComputeGradient)
    (shell, range, plan, weights, byDensity, lanes, byPositions, scratch);
}

} // namespace melta
#endif
