// How densities change when neighbours move, for a bundle of columns: for each neighbour and harmonic, with
// v the direction and dY the derivatives of Y by the position,
//
//     g_n (dY v) + g_n' (u v) Y

#include "symmfunc/cluster/ClusterBundleKernels.hpp"

#include <algorithm>
#include <array>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterBundleTangent.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBundle-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

using Vector = hn::Vec<Lanes>;

// A direction of a group of neighbours times a vector of the rows, which begins at its x.
template <class Spread>
HWY_INLINE Vector DotRows(const VectorLanes<Vector>& direction, const Spread& spread,
                          const float* HWY_RESTRICT vector) {
    return Dot(direction, {spread(vector), spread(vector + laneRow), spread(vector + 2 * laneRow)});
}

// Adds groups of neighbours to sums [numHarmonics][numRadius][vector]. Several at once, because each sum is
// loaded and stored.
template <std::size_t count, class Spread>
HWY_INLINE void
AddGroups(const ClusterPlan& plan, const NeighborRows& rows, const std::array<Spread, count>& spread,
          const std::array<VectorLanes<Vector>, count>& directions, float* HWY_RESTRICT sums) {
    const Lanes d;
    Vector along[count], turned[count], moved[count];
    for (std::size_t k = 0; k < count; ++k) {
        along[k] = DotRows(directions[k], spread[k], rows.unit);
    }
    const float* harmonic = rows.harmonics;
    for (std::size_t h = 0; h < plan.numHarmonics(); ++h, harmonic += 4 * laneRow) {
        for (std::size_t k = 0; k < count; ++k) {
            moved[k] = hn::Mul(spread[k](harmonic), along[k]);
            turned[k] = DotRows(directions[k], spread[k], harmonic + laneRow);
        }
        const float* radius = rows.radius;
        for (std::size_t n = 0; n < plan.numRadius; ++n, radius += 2 * laneRow, sums += hn::Lanes(d)) {
            auto sum = hn::Load(d, sums);
            for (std::size_t k = 0; k < count; ++k) {
                sum = hn::MulAdd(spread[k](radius), turned[k], sum);
                sum = hn::MulAdd(spread[k](radius + laneRow), moved[k], sum);
            }
            hn::Store(sum, d, sums);
        }
    }
}

// The rows of the first `count` neighbours of a group, and zeros behind them.
HWY_INLINE Vector LoadGroup(std::size_t count, std::size_t lanes, const std::int32_t* entries,
                            const float* HWY_RESTRICT from) {
    const Lanes d;
    if (lanes == hn::Lanes(d)) {
        return hn::Load(d, from + static_cast<std::size_t>(entries[0]) * lanes);
    }
    HWY_ALIGN float group[hn::MaxLanes(Lanes())];
    hn::Store(hn::Zero(d), d, group);
    for (std::size_t k = 0; k < count; ++k) {
        CopyRow(lanes, from + static_cast<std::size_t>(entries[k]) * lanes, group + k * lanes);
    }
    return hn::Load(d, group);
}

// The neighbours that the rows stand for, `size` of them.
struct RowNeighbors {
    const std::int32_t* entries;
    std::size_t size;
    std::size_t lanes;
    std::span<const float> directions;
};

// `count` groups, of which the first begins with neighbour i of the rows.
template <std::size_t count, bool isWhole, std::size_t... k>
HWY_INLINE void AddGroupsFrom(const ClusterPlan& plan, const NeighborRows& rows, const RowNeighbors& of,
                              std::size_t i, float* HWY_RESTRICT sums, std::index_sequence<k...> /*groups*/) {
    const std::size_t length = of.directions.size() / 3;
    const std::size_t inGroup = hn::Lanes(Lanes()) / of.lanes;
    const auto load = [&](std::size_t group) -> VectorLanes<Vector> {
        const std::size_t first = i + group * inGroup;
        const std::size_t number = std::min(of.size - first, inGroup);
        const float* const from = of.directions.data();
        return {LoadGroup(number, of.lanes, of.entries + first, from),
                LoadGroup(number, of.lanes, of.entries + first, from + length),
                LoadGroup(number, of.lanes, of.entries + first, from + 2 * length)};
    };
    AddGroups<count>(plan, rows, std::array{GroupSpread<isWhole>(of.lanes, i + k * inGroup)...},
                     std::array{load(k)...}, sums);
}

// Adds the sums of an element to the channels. The rows of a vector are those of different neighbours.
template <class D>
void SpreadSums(D d, const ClusterPlan& plan, std::span<const float> weights, const float* HWY_RESTRICT sums,
                float* HWY_RESTRICT tangent) {
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t longest = hn::Lanes(Lanes());
    for (std::size_t h = 0; h < plan.numHarmonics(); ++h) {
        float* row = tangent + h * plan.startOfSquares() * lanes;
        for (std::size_t n = 0; n < plan.numRadius; ++n, row += lanes, sums += longest) {
            auto sum = hn::Load(d, sums);
            for (std::size_t i = lanes; i < longest; i += lanes) {
                sum = hn::Add(sum, hn::Load(d, sums + i));
            }
            float* to = row;
            for (const float weight : weights) {
                hn::Store(hn::MulAdd(hn::Set(d, weight), sum, hn::Load(d, to)), d, to);
                to += plan.numRadius * lanes;
            }
        }
    }
}

template <bool isWhole>
void SumNeighbors(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                  const NeighborRows& rows, std::span<const float> directions, std::size_t lanes,
                  float* HWY_RESTRICT sums) {
    constexpr std::size_t atOnce = 4;
    const std::size_t longest = hn::Lanes(Lanes());
    const std::size_t step = longest / lanes;
    for (std::size_t n = range.begin; n < range.end; n += longest) {
        FillRows(shell, plan, n, rows);
        const std::size_t count = std::min(range.end - n, longest);
        const RowNeighbors of{shell.entry.data() + n, count, lanes, directions};
        std::size_t i = 0;
        for (; i + (atOnce - 1) * step < count; i += atOnce * step) {
            AddGroupsFrom<atOnce, isWhole>(plan, rows, of, i, sums, std::make_index_sequence<atOnce>());
        }
        for (; i < count; i += step) {
            AddGroupsFrom<1, isWhole>(plan, rows, of, i, sums, std::make_index_sequence<1>());
        }
    }
}

void AddTangent(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                std::span<const float> weights, std::span<const float> directions, std::size_t lanes,
                std::span<float> tangent, std::span<float> scratch) {
    ScratchCarver carver(scratch);
    const NeighborRows rows(carver, plan);
    const std::size_t numSums = plan.numHarmonics() * plan.numRadius * hn::Lanes(Lanes());
    float* const sums = carver.take(numSums);
    std::fill_n(sums, numSums, 0.0f);
    WithGroups(lanes, [&](auto isWhole) {
        SumNeighbors<isWhole()>(shell, range, plan, rows, directions, lanes, sums);
    });
    WithLanes(lanes, [&](auto d) { SpreadSums(d, plan, weights, sums, tangent.data()); });
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(AddTangent);

void addClusterBundleTangent(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                             std::span<const float> weights, std::span<const float> directions,
                             std::size_t lanes, std::span<float> tangent, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AddTangent)(shell, range, plan, weights, directions, lanes, tangent, scratch);
}

} // namespace melta
#endif
