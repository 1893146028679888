// Pairs of neighbours side by side, one pair to a lane, whoever the two are: what sums over pairs run over
// that do not keep anything for each neighbour and order. Included once for each instruction set.

#if defined(MELTA_CHEBYSHEV_PAIRS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CHEBYSHEV_PAIRS_INL
#undef MELTA_CHEBYSHEV_PAIRS_INL
#else
#define MELTA_CHEBYSHEV_PAIRS_INL
#endif

#include <algorithm>
#include <cstddef>

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevAngle-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// Pairs of one outer neighbour with consecutive partners.
struct AngleRun {
    std::size_t outer;   // place of the outer neighbour in the shell
    std::size_t partner; // place of the first partner
    std::size_t count;   // of pairs
    std::size_t begin;   // place of the first pair in the batch
};

// As many pairs as stay in the nearest cache. With w the cutoff values of the two, t the angle between them
// and x = cos(theta) the argument of the polynomials.
struct AngleBatch {
    static constexpr std::size_t capacity = 512;
    static constexpr std::size_t maxRuns = 64;
    static constexpr std::size_t vectorsAtOnce = 4; // that the sums over orders take
    static constexpr std::size_t stride = capacity + vectorsAtOnce * shellPadding;

    std::size_t count = 0;
    std::size_t numRuns = 0;
    AngleRun runs[maxRuns];
    HWY_ALIGN float cosine[stride]; // of theta
    HWY_ALIGN float sine[stride];   // of theta
    HWY_ALIGN float weight[stride]; // w1 w2
    // For gradients alone:
    HWY_ALIGN float angleCosine[stride]; // of t
    HWY_ALIGN float pull[stride];        // w1 w2 dx/dcos(t) / -sin(theta)

    [[nodiscard]] bool isFull() const { return count == capacity || numRuns == maxRuns; }

    void clear() {
        count = 0;
        numRuns = 0;
    }
};

// Adds the pairs of outer neighbour `outer` with `count` partners from `partner` on, which have room. u: unit
// vectors towards the neighbours of the shell.
template <bool withPull>
HWY_INLINE void StageRun(const NeighborShell& shell, const Components& u, std::size_t outer,
                         std::size_t partner, std::size_t count, AngleBatch& batch) {
    const Lanes d;
    const auto a = SpreadVector(d, u, outer);
    const auto weight = hn::Set(d, shell.fc[outer]);
    batch.runs[batch.numRuns++] = {outer, partner, count, batch.count};
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        const std::size_t to = batch.count + i;
        const auto b = LoadVectors(d, u, partner + i);
        const auto angleCosine = Dot(a, b);
        // The sine as the length of the cross product keeps its accuracy for collinear neighbours; the tiny
        // summand keeps its inverse finite.
        const auto x = hn::MulSub(a.y, b.z, hn::Mul(a.z, b.y));
        const auto y = hn::MulSub(a.z, b.x, hn::Mul(a.x, b.z));
        const auto z = hn::MulSub(a.x, b.y, hn::Mul(a.y, b.x));
        const auto sine2 = hn::MulAdd(x, x, hn::MulAdd(y, y, hn::MulAdd(z, z, hn::Set(d, 1.0e-30f))));
        const auto inverseSine = ReciprocalRoot(d, sine2);
        auto cosine = hn::Zero(d);
        auto squared = hn::Zero(d);
        MapAngle(d, angleCosine, hn::Mul(sine2, inverseSine), cosine, squared);
        const auto inverseRoot = ReciprocalRoot(d, squared);
        const auto product = hn::Mul(weight, hn::LoadU(d, shell.fc.data() + partner + i));
        hn::StoreU(cosine, d, batch.cosine + to);
        hn::StoreU(hn::Mul(squared, inverseRoot), d, batch.sine + to);
        hn::StoreU(product, d, batch.weight + to);
        if constexpr (withPull) {
            const auto floored = hn::Min(inverseSine, hn::Set(d, 1000.0f));
            const auto scale = hn::Mul(hn::Mul(hn::Set(d, -0.63661975f), floored), inverseRoot);
            hn::StoreU(angleCosine, d, batch.angleCosine + to);
            hn::StoreU(hn::Mul(product, scale), d, batch.pull + to);
        }
    }
    batch.count += count;
}

// Pairs without weight up to the next whole group of vectors.
HWY_INLINE void PadBatch(AngleBatch& batch) {
    const std::size_t end = hwy::RoundUpTo(batch.count, AngleBatch::vectorsAtOnce * hn::Lanes(Lanes()));
    std::fill(batch.cosine + batch.count, batch.cosine + end, 1.0f);
    std::fill(batch.sine + batch.count, batch.sine + end, 0.0f);
    std::fill(batch.weight + batch.count, batch.weight + end, 0.0f);
}

// Calls work(batch) for batches that together hold all pairs: all of `first` with all of `second`, or, if the
// two ranges are the same, each pair within it once.
template <bool withPull, class Work>
HWY_INLINE void ForEachBatch(const NeighborShell& shell, const Components& u, NeighborRange first,
                             NeighborRange second, AngleBatch& batch, Work&& work) {
    const bool isWithin = first == second;
    batch.clear();
    for (std::size_t outer = first.begin; outer < first.end; ++outer) {
        const std::size_t end = isWithin ? outer : second.end;
        for (std::size_t partner = second.begin; partner < end;) {
            const std::size_t count = std::min(end - partner, AngleBatch::capacity - batch.count);
            StageRun<withPull>(shell, u, outer, partner, count, batch);
            partner += count;
            if (batch.isFull()) {
                PadBatch(batch);
                work(batch);
                batch.clear();
            }
        }
    }
    if (batch.count > 0) {
        PadBatch(batch);
        work(batch);
    }
}

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CHEBYSHEV_PAIRS_INL
