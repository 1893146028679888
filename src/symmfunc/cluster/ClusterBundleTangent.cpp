// How densities change when neighbours move, for a bundle of columns: for each neighbour and harmonic by
//
//     g_n (dY/du t) + g_n' (u v) Y
//
// with v the direction and t = (v - (u v) u) / r the change of u.

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

// A vector's part along u, and the change of u.
struct Turn {
    Vector along;
    VectorLanes<Vector> turn;
};

template <class Spread>
HWY_INLINE Turn SplitDirection(const NeighborRows& rows, const Spread& spread, const VectorLanes<Vector>& v) {
    const auto u = SpreadVector(spread, rows.unit);
    const auto inverse = spread(rows.unit + 3 * laneRow);
    const auto along = Dot(u, v);
    return {along,
            {hn::Mul(hn::NegMulAdd(along, u.x, v.x), inverse),
             hn::Mul(hn::NegMulAdd(along, u.y, v.y), inverse),
             hn::Mul(hn::NegMulAdd(along, u.z, v.z), inverse)}};
}

// Adds groups of neighbours to sums [numHarmonics][numRadius][vector]. Several at once, because each sum is
// loaded and stored.
template <std::size_t count, class Spread>
HWY_INLINE void AddGroups(const ClusterPlan& plan, const NeighborRows& rows,
                          const std::array<Spread, count>& spread, const std::array<Turn, count>& turns,
                          float* HWY_RESTRICT sums) {
    const Lanes d;
    Vector turned[count], moved[count];
    const float* harmonic = rows.harmonics;
    for (std::size_t h = 0; h < plan.numHarmonics(); ++h, harmonic += 4 * laneRow) {
        for (std::size_t k = 0; k < count; ++k) {
            moved[k] = hn::Mul(spread[k](harmonic), turns[k].along);
            turned[k] = Dot(turns[k].turn, SpreadVector(spread[k], harmonic + laneRow));
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

// The neighbours that the rows stand for.
struct RowNeighbors {
    std::span<const std::int32_t> entries;
    std::size_t lanes;
    std::span<const float> directions;

    // The directions of the group that begins with neighbour `first`.
    [[nodiscard]] HWY_INLINE VectorLanes<Vector> loadGroup(std::size_t first) const {
        const std::size_t count = std::min(entries.size() - first, hn::Lanes(Lanes()) / lanes);
        const std::size_t length = directions.size() / 3;
        const std::int32_t* const group = entries.data() + first;
        return {LoadGroup(count, lanes, group, directions.data()),
                LoadGroup(count, lanes, group, directions.data() + length),
                LoadGroup(count, lanes, group, directions.data() + 2 * length)};
    }
};

// As many groups as there are numbers k; the first begins with neighbour i of the rows.
template <class Spread, std::size_t... k>
HWY_INLINE void AddGroupsFrom(const ClusterPlan& plan, const NeighborRows& rows, const RowNeighbors& of,
                              hn::Vec<hn::RebindToSigned<Lanes>> members, std::size_t i,
                              float* HWY_RESTRICT sums, std::index_sequence<k...> /*groups*/) {
    constexpr std::size_t count = sizeof...(k);
    const std::size_t step = hn::Lanes(Lanes()) / of.lanes;
    const std::array<Spread, count> spread{Spread(members, i + k * step)...};
    const std::array<Turn, count> turns{SplitDirection(rows, spread[k], of.loadGroup(i + k * step))...};
    AddGroups(plan, rows, spread, turns, sums);
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
    using Spread = GroupSpread<isWhole>;
    constexpr std::size_t atOnce = 4;
    const std::size_t longest = hn::Lanes(Lanes());
    const std::size_t step = longest / lanes;
    const auto members = FindMembers(lanes);
    for (std::size_t n = range.begin; n < range.end; n += longest) {
        FillRows(shell, plan, n, rows);
        const std::size_t count = std::min(range.end - n, longest);
        const RowNeighbors of{shell.entry.subspan(n, count), lanes, directions};
        std::size_t i = 0;
        for (; i + (atOnce - 1) * step < count; i += atOnce * step) {
            AddGroupsFrom<Spread>(plan, rows, of, members, i, sums, std::make_index_sequence<atOnce>());
        }
        for (; i < count; i += step) {
            AddGroupsFrom<Spread>(plan, rows, of, members, i, sums, std::make_index_sequence<1>());
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
