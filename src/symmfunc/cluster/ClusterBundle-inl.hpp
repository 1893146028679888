// What the kernels of a bundle share. Included once for each instruction set.

#if defined(MELTA_CLUSTER_BUNDLE_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CLUSTER_BUNDLE_INL
#undef MELTA_CLUSTER_BUNDLE_INL
#else
#define MELTA_CLUSTER_BUNDLE_INL
#endif

#include <algorithm>
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

// Vectors longer than a row hold the rows of several neighbours, a group. Which of them each lane belongs to.
HWY_INLINE hn::Vec<hn::RebindToSigned<Lanes>> FindMembers(std::size_t lanes) {
    const hn::RebindToSigned<Lanes> d;
    HWY_ALIGN std::int32_t members[hn::MaxLanes(Lanes())];
    std::int32_t member = 0;
    for (std::size_t i = 0; i < hn::Lanes(d); i += lanes, ++member) {
        std::fill_n(members + i, lanes, member);
    }
    return hn::Load(d, members);
}

// Spreads the quantities of the group that begins with a neighbour of NeighborRows over the columns.
template <bool isWhole>
class GroupSpread {
public:
    HWY_INLINE GroupSpread(hn::Vec<hn::RebindToSigned<Lanes>> members, std::size_t firstNeighbor)
        : first(firstNeighbor), indices(findIndices(members, firstNeighbor)) {}

    HWY_INLINE hn::Vec<Lanes> operator()(const float* HWY_RESTRICT row) const {
        const Lanes d;
        if constexpr (isWhole) {
            return hn::Set(d, row[first]);
        } else {
            return hn::TableLookupLanes(hn::Load(d, row), indices);
        }
    }

private:
    static HWY_INLINE auto findIndices(hn::Vec<hn::RebindToSigned<Lanes>> members, std::size_t first) {
        const hn::RebindToSigned<Lanes> d;
        if constexpr (isWhole) {
            return nullptr;
        } else {
            return hn::IndicesFromVec(Lanes(),
                                      hn::Add(members, hn::Set(d, static_cast<std::int32_t>(first))));
        }
    }

    std::size_t first;
    decltype(findIndices(FindMembers(1), 0)) indices;
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
    float* HWY_RESTRICT harmonics;   // [numHarmonics][4], Y and its derivatives by the components of u
    float* HWY_RESTRICT unit;        // [4], u and the inverse of the distance
    float* HWY_RESTRICT polynomials; // [(L + 1) (L + 2) / 2]

    NeighborRows(ScratchCarver& carver, const ClusterPlan& plan)
        : radius(carver.take(2 * plan.numRadius * laneRow)),
          harmonics(carver.take(4 * plan.numHarmonics() * laneRow)), unit(carver.take(4 * laneRow)),
          polynomials(carver.take((plan.maxAngular + 1) * (plan.maxAngular + 2) / 2 * laneRow)) {}
};

template <class V>
HWY_INLINE void StoreHarmonic(Lanes d, V value, V byX, V byY, V byZ, float* HWY_RESTRICT rows) {
    hn::Store(value, d, rows);
    hn::Store(byX, d, rows + laneRow);
    hn::Store(byY, d, rows + 2 * laneRow);
    hn::Store(byZ, d, rows + 3 * laneRow);
}

template <class V>
HWY_INLINE void FillHarmonics(Lanes d, const ClusterPlan& plan, const VectorLanes<V>& u,
                              const NeighborRows& rows) {
    FillPolynomials(d, plan.harmonics, u.z, rows.polynomials);
    ForEachOrder(d, plan.maxAngular, u.x, u.y, [&](std::size_t m, V c, V s, V lastC, V lastS) {
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
            StoreHarmonic(d, hn::Mul(p, s), byS, byC, hn::Mul(dp, s), middle - 4 * m * laneRow);
            StoreHarmonic(d, hn::Mul(p, c), byC, hn::Neg(byS), hn::Mul(dp, c), middle + 4 * m * laneRow);
        }
    });
}

// A vector of a group, whose rows begin at its x.
template <class Spread>
HWY_INLINE VectorLanes<hn::Vec<Lanes>> SpreadVector(const Spread& spread, const float* HWY_RESTRICT rows) {
    return {spread(rows), spread(rows + laneRow), spread(rows + 2 * laneRow)};
}

// The rows of neighbours `n` and following.
HWY_INLINE void FillRows(const NeighborShell& shell, const ClusterPlan& plan, std::size_t n,
                         const NeighborRows& rows) {
    const Lanes d;
    const NeighborLanes<hn::Vec<Lanes>> lanes(d, shell, n, plan.rcut);
    hn::Store(lanes.u.x, d, rows.unit);
    hn::Store(lanes.u.y, d, rows.unit + laneRow);
    hn::Store(lanes.u.z, d, rows.unit + 2 * laneRow);
    hn::Store(lanes.inverse, d, rows.unit + 3 * laneRow);
    FillRadius(d, shell, plan, n, lanes.x, rows.radius);
    FillHarmonics(d, plan, lanes.u, rows);
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CLUSTER_BUNDLE_INL
