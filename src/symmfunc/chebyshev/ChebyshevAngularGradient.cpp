// The way back through the sums over pairs of neighbours, from the gradient by the values to that by the
// positions.
//
// With g the gradient by the values and the names of the way forth, a pair brings in
//
//     P = sum over k of g_k cos(k theta),   Q = sum over k of k g_k sin(k theta)
//
// and the gradient by the position of neighbour 1 is, summed over its partners,
//
//     u1 fc1' w2 P + (w1 w2 h Q / r1) (u2 - (u1 . u2) u1)
//
// So a pair costs two sums over the orders, and nothing is kept for each neighbour and order. The lanes hold
// different pairs.

#include "symmfunc/chebyshev/ChebyshevKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/chebyshev/ChebyshevAngularGradient.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevPairs-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

struct GradientWork {
    Components u;              // [numNeighbors], unit vector towards the neighbour
    float* HWY_RESTRICT along; // [numNeighbors], sum of w2 P
    Components across;         // [numNeighbors], sum of w1 w2 h Q (u2 - (u1 . u2) u1)
    float* HWY_RESTRICT slope; // [numOrders], k g_k

    GradientWork(ScratchCarver carver, std::size_t numNeighbors, std::size_t numOrders)
        : u(carver, numNeighbors), along(carver.take(numNeighbors)), across(carver, numNeighbors),
          slope(carver.take(numOrders)) {}

    void clear(NeighborRange range) const {
        for (float* const sums : {along, across.x, across.y, across.z}) {
            std::fill(sums + range.begin, sums + range.end, 0.0f);
        }
    }
};

// P and Q of the pairs of a batch. They take the places of `weight` and `sine`, which nobody needs any more.
void SumOrders(std::span<const float> gradient, const float* HWY_RESTRICT slope, AngleBatch& batch) {
    constexpr std::size_t numVectors = AngleBatch::vectorsAtOnce;
    const Lanes d;
    using V = hn::Vec<Lanes>;
    const std::size_t numLanes = hn::Lanes(d);
    const std::size_t numOrders = gradient.size();
    for (std::size_t i = 0; i < batch.count; i += numVectors * numLanes) {
        V stepCos[numVectors], stepSin[numVectors], c[numVectors], s[numVectors], p[numVectors],
            q[numVectors];
        for (std::size_t v = 0; v < numVectors; ++v) {
            stepCos[v] = c[v] = hn::Load(d, batch.cosine + i + v * numLanes);
            stepSin[v] = s[v] = hn::Load(d, batch.sine + i + v * numLanes);
            p[v] = hn::Set(d, gradient[0]);
            q[v] = hn::Zero(d);
        }
        for (std::size_t k = 1; k < numOrders; ++k) {
            const V ofCos = hn::Set(d, gradient[k]);
            const V ofSin = hn::Set(d, slope[k]);
            for (std::size_t v = 0; v < numVectors; ++v) {
                p[v] = hn::MulAdd(ofCos, c[v], p[v]);
                q[v] = hn::MulAdd(ofSin, s[v], q[v]);
                Rotate(c[v], s[v], stepCos[v], stepSin[v]);
            }
        }
        for (std::size_t v = 0; v < numVectors; ++v) {
            hn::Store(p[v], d, batch.weight + i + v * numLanes);
            hn::Store(q[v], d, batch.sine + i + v * numLanes);
        }
    }
}

template <class V>
HWY_INLINE void AddTo(Lanes d, V v, float* HWY_RESTRICT sums) {
    hn::StoreU(hn::Add(hn::LoadU(d, sums), v), d, sums);
}

// Adds the pairs of a run to the sums of both neighbours.
void AddRun(const NeighborShell& shell, const AngleRun& run, const AngleBatch& batch,
            const GradientWork& work) {
    const Lanes d;
    const auto u1 = SpreadVector(d, work.u, run.outer);
    const auto weight = hn::Set(d, shell.fc[run.outer]);
    auto along = hn::Zero(d), x = hn::Zero(d), y = hn::Zero(d), z = hn::Zero(d);
    for (std::size_t i = 0; i < run.count; i += hn::Lanes(d)) {
        const std::size_t partner = run.partner + i;
        const std::size_t from = run.begin + i;
        // The lanes behind the last pair hold anything.
        const auto isInside = hn::FirstN(d, run.count - i);
        const auto load = [&](const float* HWY_RESTRICT place) {
            return hn::IfThenElseZero(isInside, hn::LoadU(d, place));
        };
        const auto p = load(batch.weight + from);
        const auto pull = hn::Mul(load(batch.pull + from), load(batch.sine + from));
        const auto cosine = load(batch.angleCosine + from);
        const VectorLanes<hn::Vec<Lanes>> u2{load(work.u.x + partner), load(work.u.y + partner),
                                             load(work.u.z + partner)};
        along = hn::MulAdd(hn::LoadU(d, shell.fc.data() + partner), p, along);
        x = hn::MulAdd(pull, hn::NegMulAdd(cosine, u1.x, u2.x), x);
        y = hn::MulAdd(pull, hn::NegMulAdd(cosine, u1.y, u2.y), y);
        z = hn::MulAdd(pull, hn::NegMulAdd(cosine, u1.z, u2.z), z);
        AddTo(d, hn::Mul(weight, p), work.along + partner);
        AddTo(d, hn::Mul(pull, hn::NegMulAdd(cosine, u2.x, u1.x)), work.across.x + partner);
        AddTo(d, hn::Mul(pull, hn::NegMulAdd(cosine, u2.y, u1.y)), work.across.y + partner);
        AddTo(d, hn::Mul(pull, hn::NegMulAdd(cosine, u2.z, u1.z)), work.across.z + partner);
    }
    work.along[run.outer] += hn::GetLane(hn::SumOfLanes(d, along));
    work.across.x[run.outer] += hn::GetLane(hn::SumOfLanes(d, x));
    work.across.y[run.outer] += hn::GetLane(hn::SumOfLanes(d, y));
    work.across.z[run.outer] += hn::GetLane(hn::SumOfLanes(d, z));
}

// Adds what the sums of the neighbours make up.
void AddGradient(const NeighborShell& shell, NeighborRange range, const GradientWork& work,
                 const ShellGradient& to) {
    for (std::size_t n = range.begin; n < range.end; ++n) {
        const float along = shell.dfc[n] * work.along[n];
        const float inverse = 1.0f / shell.r[n];
        to.x[n] += along * work.u.x[n] + inverse * work.across.x[n];
        to.y[n] += along * work.u.y[n] + inverse * work.across.y[n];
        to.z[n] += along * work.u.z[n] + inverse * work.across.z[n];
    }
}

void AngularGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                     std::span<const float> gradient, const ShellGradient& result, std::span<float> scratch) {
    const std::size_t padded = hwy::RoundUpTo(shell.size, shellPadding) + shellPadding;
    const GradientWork work(ScratchCarver(scratch), padded, gradient.size());
    for (std::size_t k = 0; k < gradient.size(); ++k) {
        work.slope[k] = static_cast<float>(k) * gradient[k];
    }
    for (const NeighborRange range : {first, second}) {
        PrepareDirections(shell, range, work.u, 0);
        work.clear(range);
    }
    AngleBatch batch;
    ForEachBatch<true>(shell, work.u, first, second, batch, [&](AngleBatch& full) {
        SumOrders(gradient, work.slope, full);
        for (std::size_t run = 0; run < full.numRuns; ++run) {
            AddRun(shell, full.runs[run], full, work);
        }
    });
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

HWY_EXPORT(AngularGradient);

std::size_t countChebyshevGradientScratch(std::size_t numNeighbors, std::size_t numOrders) {
    // Six components and the sum along the direction for each neighbour, a factor for each order.
    return 7 * (hwy::RoundUpTo(numNeighbors, shellPadding) + shellPadding) + numOrders;
}

void addChebyshevAngularGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                 std::span<const float> gradient, const ShellGradient& result,
                                 std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AngularGradient)(shell, first, second, gradient, result, scratch);
}

} // namespace melta
#endif
