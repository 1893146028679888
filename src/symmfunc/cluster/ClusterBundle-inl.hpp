// What the kernels of a bundle share. Included once for each instruction set.

#if defined(MELTA_CLUSTER_BUNDLE_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CLUSTER_BUNDLE_INL
#undef MELTA_CLUSTER_BUNDLE_INL
#else
#define MELTA_CLUSTER_BUNDLE_INL
#endif

#include <cstdint>
#include <type_traits>

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBasis-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// Calls action(d) with the vectors that take a whole row of a bundle.
template <class Action>
HWY_INLINE void WithLanes(std::size_t lanes, Action&& action) {
    if (lanes > 8) {
        action(hn::CappedTag<float, 16>());
    } else if (lanes > 4) {
        action(hn::CappedTag<float, 8>());
    } else {
        action(hn::CappedTag<float, 4>());
    }
}

using Quad = hn::CappedTag<float, 4>;

// Copies a row of a bundle, or any whole number of quads.
HWY_INLINE void CopyRow(std::size_t lanes, const float* HWY_RESTRICT from, float* HWY_RESTRICT to) {
    const Quad d;
    for (std::size_t i = 0; i < lanes; i += hn::Lanes(d)) {
        hn::Store(hn::Load(d, from + i), d, to + i);
    }
}

// Vectors longer than a row hold the rows of several neighbours, a group. Spreads the quantities of one group
// over the columns: lane i takes neighbour first + i / lanes of a row of NeighborRows.
template <bool isWhole>
class GroupSpread {
public:
    HWY_INLINE GroupSpread(std::size_t lanes, std::size_t firstNeighbor)
        : first(firstNeighbor), indices(makeIndices(lanes, firstNeighbor)) {}

    HWY_INLINE hn::Vec<Lanes> operator()(const float* HWY_RESTRICT row) const {
        const Lanes d;
        if constexpr (isWhole) {
            return hn::Set(d, row[first]);
        } else {
            return hn::TableLookupLanes(hn::Load(d, row), indices);
        }
    }

private:
    static HWY_INLINE auto makeIndices(std::size_t lanes, std::size_t first) {
        const Lanes d;
        HWY_ALIGN std::int32_t places[hn::MaxLanes(Lanes())];
        for (std::size_t i = 0; i < hn::Lanes(d); ++i) {
            places[i] = static_cast<std::int32_t>(isWhole ? 0 : first + i / lanes);
        }
        return hn::SetTableIndices(d, places);
    }

    std::size_t first;
    decltype(makeIndices(4, 0)) indices;
};

// Calls action with a constant that says whether a row is a whole vector.
template <class Action>
HWY_INLINE void WithGroups(std::size_t lanes, Action&& action) {
    if (lanes == hn::Lanes(Lanes())) {
        action(std::true_type());
    } else {
        action(std::false_type());
    }
}

// What a vector of neighbours has for all columns. Each quantity is a row of laneRow floats, of which the
// columns read one at a time.
struct NeighborRows {
    float* HWY_RESTRICT radius;      // [numRadius][2], g and its derivative by the distance
    float* HWY_RESTRICT harmonics;   // [numHarmonics][4], Y and its derivatives by the position
    float* HWY_RESTRICT unit;        // [3], u
    float* HWY_RESTRICT polynomials; // [(L + 1) (L + 2) / 2]

    NeighborRows(ScratchCarver& carver, const ClusterPlan& plan)
        : radius(carver.take(2 * plan.numRadius * laneRow)),
          harmonics(carver.take(4 * plan.numHarmonics() * laneRow)), unit(carver.take(3 * laneRow)),
          polynomials(carver.take((plan.maxAngular + 1) * (plan.maxAngular + 2) / 2 * laneRow)) {}
};

// A harmonic and its derivatives by the position, from those by the components of u.
template <class V>
HWY_INLINE void StoreHarmonic(Lanes d, const NeighborLanes<V>& lanes, V value, const VectorLanes<V>& byUnit,
                              float* HWY_RESTRICT rows) {
    const V along = Dot(lanes.u, byUnit);
    hn::Store(value, d, rows);
    hn::Store(hn::Mul(hn::NegMulAdd(along, lanes.u.x, byUnit.x), lanes.inverse), d, rows + laneRow);
    hn::Store(hn::Mul(hn::NegMulAdd(along, lanes.u.y, byUnit.y), lanes.inverse), d, rows + 2 * laneRow);
    hn::Store(hn::Mul(hn::NegMulAdd(along, lanes.u.z, byUnit.z), lanes.inverse), d, rows + 3 * laneRow);
}

template <class V>
HWY_INLINE void FillHarmonics(Lanes d, const ClusterPlan& plan, const NeighborLanes<V>& lanes,
                              const NeighborRows& rows) {
    FillPolynomials(d, plan.harmonics, lanes.u.z, rows.polynomials);
    ForEachOrder(d, plan.maxAngular, lanes.u.x, lanes.u.y, [&](std::size_t m, V c, V s, V lastC, V lastS) {
        const auto times = hn::Set(d, static_cast<float>(m));
        for (std::size_t l = m; l <= plan.maxAngular; ++l) {
            const std::size_t place = l * (l + 1) / 2 + m;
            const float* const polynomial = rows.polynomials + place * laneRow;
            const auto p = hn::Load(d, polynomial);
            // Its factor is zero where there is no next one.
            const auto next = hn::Load(d, m < l ? polynomial + laneRow : polynomial);
            const auto dp = hn::Mul(hn::Set(d, plan.harmonics.ofSlope[place]), next);
            const auto byC = hn::Mul(hn::Mul(times, p), lastC);
            const auto byS = hn::Mul(hn::Mul(times, p), lastS);
            float* const middle = rows.harmonics + 4 * l * (l + 1) * laneRow;
            StoreHarmonic(d, lanes, hn::Mul(p, s), {byS, byC, hn::Mul(dp, s)}, middle - 4 * m * laneRow);
            StoreHarmonic(d, lanes, hn::Mul(p, c), {byC, hn::Neg(byS), hn::Mul(dp, c)},
                          middle + 4 * m * laneRow);
        }
    });
}

// The rows of neighbours `n` and following.
HWY_INLINE void FillRows(const NeighborShell& shell, const ClusterPlan& plan, std::size_t n,
                         const NeighborRows& rows) {
    const Lanes d;
    const NeighborLanes<hn::Vec<Lanes>> lanes(d, shell, n, plan.rcut);
    hn::Store(lanes.u.x, d, rows.unit);
    hn::Store(lanes.u.y, d, rows.unit + laneRow);
    hn::Store(lanes.u.z, d, rows.unit + 2 * laneRow);
    FillRadius(d, shell, plan, n, lanes.x, rows.radius);
    FillHarmonics(d, plan, lanes, rows);
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CLUSTER_BUNDLE_INL
