// The blocks of the values of three- and four-body functions. The lanes hold consecutive radial functions of
// a channel. Included once for each instruction set.

#if defined(MELTA_CLUSTER_BLOCKS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CLUSTER_BLOCKS_INL
#undef MELTA_CLUSTER_BLOCKS_INL
#else
#define MELTA_CLUSTER_BLOCKS_INL
#endif

#include <algorithm>

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBasis-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// Stores the first `count` lanes.
template <class V>
HWY_INLINE void StoreColumns(Columns d, V v, std::size_t count, float* HWY_RESTRICT to) {
    if (count >= hn::Lanes(d)) {
        hn::StoreU(v, d, to);
        return;
    }
    HWY_ALIGN float lanes[hn::MaxLanes(Columns())];
    hn::Store(v, d, lanes);
    std::copy_n(lanes, count, to);
}

// Calls one visitor for each block of values of three- and four-body functions, with the first columns of its
// channels, its degree or triple, and its first value.
template <class Squares, class Pairs, class Triples>
HWY_INLINE void ForEachBlock(const ClusterPlan& plan, Squares&& squares, Pairs&& pairs, Triples&& triples) {
    std::size_t value = plan.startOfSquares();
    for (std::size_t k = 0; k < plan.numChannels; ++k) {
        for (std::size_t l = 1; l <= plan.maxAngular; ++l, value += 2 * plan.numRadius - 1) {
            squares(k * plan.numRadius, l, value);
        }
    }
    for (std::size_t k = 0; k < plan.numChannels; ++k) {
        for (std::size_t j = 0; j < k; ++j) {
            for (std::size_t l = 1; l <= plan.maxAngular; ++l, value += plan.numRadius) {
                pairs(j * plan.numRadius, k * plan.numRadius, l, value);
            }
        }
    }
    for (std::size_t k = 0; k < plan.numChannels; ++k) {
        for (std::size_t t = 0; t < plan.numTriples(); ++t, value += plan.numRadius4) {
            triples(k * plan.numRadius, t, value);
        }
    }
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CLUSTER_BLOCKS_INL
