// The sums over pairs of neighbours, values alone. The lanes hold different pairs: without derivatives, to
// which each neighbour adds its own, nobody needs to know whose the pairs are.

#include "symmfunc/chebyshev/ChebyshevKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/chebyshev/ChebyshevAngularValues.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevPairs-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Adds the pairs of a batch to the sums of each order, [numOrders][N].
void AddBatch(const AngleBatch& batch, std::size_t numOrders, float* HWY_RESTRICT sums) {
    constexpr std::size_t numVectors = AngleBatch::vectorsAtOnce;
    const Lanes d;
    using V = hn::Vec<Lanes>;
    const std::size_t numLanes = hn::Lanes(d);
    for (std::size_t i = 0; i < batch.count; i += numVectors * numLanes) {
        V stepCos[numVectors], stepSin[numVectors], c[numVectors], s[numVectors];
        for (std::size_t v = 0; v < numVectors; ++v) {
            stepCos[v] = hn::Load(d, batch.cosine + i + v * numLanes);
            stepSin[v] = hn::Load(d, batch.sine + i + v * numLanes);
            c[v] = hn::Load(d, batch.weight + i + v * numLanes);
            s[v] = hn::Zero(d);
        }
        for (std::size_t k = 0; k < numOrders; ++k) {
            float* HWY_RESTRICT sum = sums + k * numLanes;
            V added = c[0];
            for (std::size_t v = 1; v < numVectors; ++v) {
                added = hn::Add(added, c[v]);
            }
            hn::Store(hn::Add(hn::Load(d, sum), added), d, sum);
            for (std::size_t v = 0; v < numVectors; ++v) {
                Rotate(c[v], s[v], stepCos[v], stepSin[v]);
            }
        }
    }
}

void AngularValues(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                   std::span<float> values, std::span<float> scratch) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const std::size_t padded = hwy::RoundUpTo(shell.size, shellPadding) + shellPadding;
    ScratchCarver carver(scratch);
    float* HWY_RESTRICT sums = carver.take(numLanes * values.size());
    const Components u(carver, padded);
    std::fill_n(sums, numLanes * values.size(), 0.0f);
    PrepareDirections(shell, second, u, 0);
    PrepareDirections(shell, first, u, 0);
    AngleBatch batch;
    ForEachBatch<false>(shell, u, first, second, batch,
                        [&](const AngleBatch& full) { AddBatch(full, values.size(), sums); });
    for (std::size_t k = 0; k < values.size(); ++k) {
        values[k] = hn::GetLane(hn::SumOfLanes(d, hn::Load(d, sums + k * numLanes)));
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(AngularValues);

void computeChebyshevAngularValues(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                   std::span<float> values, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AngularValues)(shell, first, second, values, scratch);
}

} // namespace melta
#endif
