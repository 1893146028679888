// The sums over pairs of neighbours, with derivatives.
//
// With u the unit vectors, w = fc, C = T_k(x) = cos(k theta), S = sin(k theta) and h = q (2 / pi) /
// sin(theta), the derivative of the pair's term w1 w2 C by the position of neighbour 1 is
//
//     u1 fc1' w2 C + (w1 / r1) k h w2 S (u2 - (u1 . u2) u1)
//
// The last bracket is the part of u2 perpendicular to u1, so that two components in a frame (e1, e2)
// perpendicular to u1 hold it. Hence three sums over the partners make up all rows of a neighbour: w2 C, h w2
// (u2 . e1) S and h w2 (u2 . e2) S. The factors of the neighbour itself, of the order and of the three
// directions come in once at the end, and the values are sums of w1 times the first sum. The same two
// components give sin(t) without cancellation, so that collinear neighbours lose no accuracy.

#include "symmfunc/chebyshev/ChebyshevKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/chebyshev/ChebyshevAngularKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevAngle-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// The orders are worked off in chunks of two vectors, so that the sums of the outer neighbour stay in
// registers.
struct AngularWork {
    std::size_t chunkOrders;     // orders of a chunk
    std::size_t numOrders;       // orders, padded to whole chunks
    std::size_t sumStride;       // distance of two neighbours in sums
    std::size_t chunkStride;     // distance of two chunks in sums
    NeighborFrames frames;       // [numNeighbors]
    StagedPowers powers;         // of the partners of the present outer neighbour, [numPartners]
    float* HWY_RESTRICT baseCos; // [numPartners], cos(k theta) with k the first order of the present chunk
    float* HWY_RESTRICT baseSin; // the same with the sine
    float* HWY_RESTRICT
        partner1; // [numPartners], factors of the partner's sums: h w (u . e1) with u and w of the outer
    float* HWY_RESTRICT partner2; // neighbour and the partner's frame, and the same with e2
    float* HWY_RESTRICT outer1;   // [numPartners], the same with the roles exchanged
    float* HWY_RESTRICT outer2;
    BlockSums block;          // of the whole block
    float* HWY_RESTRICT sums; // [numChunks][numNeighbors][2][3][N], the three sums of each neighbour

    AngularWork(ScratchCarver carver, std::size_t numNeighbors, std::size_t padded, std::size_t orders,
                std::size_t numLanes)
        : chunkOrders(2 * numLanes), numOrders(hwy::RoundUpTo(orders, chunkOrders)), sumStride(6 * numLanes),
          chunkStride(numNeighbors * sumStride), frames(carver, padded), powers(carver, padded),
          baseCos(carver.take(padded)), baseSin(carver.take(padded)), partner1(carver.take(padded)),
          partner2(carver.take(padded)), outer1(carver.take(padded)), outer2(carver.take(padded)),
          block(carver, numOrders), sums(carver.take(numOrders / chunkOrders * chunkStride)) {}
};

// Powers and factors of all pairs of outer neighbour j with the partners.
void StagePairs(const NeighborShell& shell, std::size_t j, NeighborRange partners, const AngularWork& work) {
    const Lanes d;
    const NeighborFrames frames = work.frames;
    const auto u = SpreadVector(d, frames.u, j);
    const auto e1 = SpreadVector(d, frames.e1, j);
    const auto e2 = SpreadVector(d, frames.e2, j);
    const auto weight = hn::Set(d, shell.fc[j]);
    for (std::size_t k = partners.begin; k < partners.end; k += hn::Lanes(d)) {
        const std::size_t i = k - partners.begin;
        const auto v = LoadVectors(d, frames.u, k);
        const auto across1 = Dot(u, LoadVectors(d, frames.e1, k));
        const auto across2 = Dot(u, LoadVectors(d, frames.e2, k));
        // The tiny summand keeps the root of exactly collinear neighbours finite.
        const auto sine2 = hn::MulAdd(across1, across1, hn::MulAdd(across2, across2, hn::Set(d, 1.0e-30f)));
        const auto inverseSine = ReciprocalRoot(d, sine2);

        auto x = hn::Zero(d);
        auto squared = hn::Zero(d);
        MapAngle(d, Dot(u, v), hn::Mul(sine2, inverseSine), x, squared);
        const auto inverseRoot = ReciprocalRoot(d, squared);
        StagePowers(d, x, hn::Mul(squared, inverseRoot), i, work.powers);
        // h: minus (2 / pi) / (max(sin t, 0.001) sin theta)
        const auto floored = hn::Min(inverseSine, hn::Set(d, 1000.0f));
        const auto h = hn::Mul(hn::Mul(hn::Set(d, -0.63661975f), floored), inverseRoot);
        const auto ofPartner = hn::Mul(h, weight);
        hn::StoreU(hn::Mul(ofPartner, across1), d, work.partner1 + i);
        hn::StoreU(hn::Mul(ofPartner, across2), d, work.partner2 + i);
        const auto ofOuter = hn::Mul(h, hn::LoadU(d, shell.fc.data() + k));
        hn::StoreU(hn::Mul(ofOuter, Dot(v, e1)), d, work.outer1 + i);
        hn::StoreU(hn::Mul(ofOuter, Dot(v, e2)), d, work.outer2 + i);
    }
}

// Moves the base on to the next chunk; it starts with order 0.
void AdvanceBase(std::size_t numPartners, bool isFirst, const AngularWork& work) {
    const Lanes d;
    for (std::size_t i = 0; i < numPartners; i += hn::Lanes(d)) {
        const auto stepCos = hn::Load(d, work.powers.stepCos + i);
        const auto stepSin = hn::Load(d, work.powers.stepSin + i);
        auto c = stepCos;
        auto s = stepSin;
        Rotate(c, s, stepCos, stepSin);
        if (!isFirst) {
            Rotate(c, s, hn::Load(d, work.baseCos + i), hn::Load(d, work.baseSin + i));
        }
        hn::Store(c, d, work.baseCos + i);
        hn::Store(s, d, work.baseSin + i);
    }
}

// Adds a pair to the second and third sum of the outer neighbour, which are in registers, and to the three
// sums of the partner, which are in memory.
template <class V>
HWY_INLINE void AddPair(Lanes d, V c, V s, V outerWeight, V partner1, V partner2, V outer1, V outer2, V& sum1,
                        V& sum2, float* HWY_RESTRICT row) {
    const std::size_t numLanes = hn::Lanes(d);
    sum1 = hn::MulAdd(outer1, s, sum1);
    sum2 = hn::MulAdd(outer2, s, sum2);
    hn::Store(hn::MulAdd(outerWeight, c, hn::Load(d, row)), d, row);
    hn::Store(hn::MulAdd(partner1, s, hn::Load(d, row + numLanes)), d, row + numLanes);
    hn::Store(hn::MulAdd(partner2, s, hn::Load(d, row + 2 * numLanes)), d, row + 2 * numLanes);
}

// All pairs of outer neighbour j, one chunk of orders.
template <bool isRotated, bool hasTwo>
void AddPairs(const NeighborShell& shell, std::size_t j, NeighborRange partners, std::size_t chunk,
              const AngularWork& work) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const auto blocks = BlockIndices(d);
    const StagedPowers powers = work.powers;
    const float* HWY_RESTRICT fc = shell.fc.data();
    float* HWY_RESTRICT sums = work.sums + chunk * work.chunkStride;
    const auto outerWeight = hn::Set(d, fc[j]);
    const auto zero = hn::Zero(d);
    auto sum0 = zero, sum1 = zero, sum2 = zero, next0 = zero, next1 = zero, next2 = zero;
    for (std::size_t k = partners.begin; k < partners.end; ++k) {
        const std::size_t i = k - partners.begin;
        const auto weight = hn::Set(d, fc[k]);
        const auto partner1 = hn::Set(d, work.partner1[i]);
        const auto partner2 = hn::Set(d, work.partner2[i]);
        const auto outer1 = hn::Set(d, work.outer1[i]);
        const auto outer2 = hn::Set(d, work.outer2[i]);
        auto c = zero, s = zero;
        FirstOrders(d, powers, i, blocks, c, s);
        if constexpr (isRotated) {
            Rotate(c, s, hn::Set(d, work.baseCos[i]), hn::Set(d, work.baseSin[i]));
        }
        sum0 = hn::MulAdd(weight, c, sum0);
        AddPair(d, c, s, outerWeight, partner1, partner2, outer1, outer2, sum1, sum2,
                sums + k * work.sumStride);
        if constexpr (hasTwo) {
            Rotate(c, s, hn::Set(d, powers.stepCos[i]), hn::Set(d, powers.stepSin[i]));
            next0 = hn::MulAdd(weight, c, next0);
            AddPair(d, c, s, outerWeight, partner1, partner2, outer1, outer2, next1, next2,
                    sums + k * work.sumStride + 3 * numLanes);
        }
    }
    float* HWY_RESTRICT values = work.block.values + chunk * work.chunkOrders;
    hn::Store(hn::MulAdd(outerWeight, sum0, hn::Load(d, values)), d, values);
    hn::Store(hn::MulAdd(outerWeight, next0, hn::Load(d, values + numLanes)), d, values + numLanes);
    float* HWY_RESTRICT row = sums + j * work.sumStride;
    hn::Store(sum0, d, row);
    hn::Store(sum1, d, row + numLanes);
    hn::Store(sum2, d, row + 2 * numLanes);
    hn::Store(next0, d, row + 3 * numLanes);
    hn::Store(next1, d, row + 4 * numLanes);
    hn::Store(next2, d, row + 5 * numLanes);
}

template <bool isRotated>
void AddChunk(const NeighborShell& shell, std::size_t j, NeighborRange partners, std::size_t chunk,
              bool hasTwo, const AngularWork& work) {
    if (hasTwo) {
        AddPairs<isRotated, true>(shell, j, partners, chunk, work);
    } else {
        AddPairs<isRotated, false>(shell, j, partners, chunk, work);
    }
}

// All pairs of outer neighbour j.
void AddOuter(const NeighborShell& shell, std::size_t j, NeighborRange partners, std::size_t numOrders,
              const AngularWork& work) {
    StagePairs(shell, j, partners, work);
    const std::size_t numLanes = work.chunkOrders / 2;
    for (std::size_t chunk = 0; chunk * work.chunkOrders < numOrders; ++chunk) {
        const bool hasTwo = numOrders - chunk * work.chunkOrders > numLanes;
        if (chunk == 0) {
            AddChunk<false>(shell, j, partners, chunk, hasTwo, work);
        } else {
            AdvanceBase(partners.end - partners.begin, chunk == 1, work);
            AddChunk<true>(shell, j, partners, chunk, hasTwo, work);
        }
    }
}

// Writes the rows of neighbour n from its sums, and adds them to those of the central atom.
void StoreRows(const NeighborShell& shell, std::size_t n, const BasisBlock& block, const AngularWork& work) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const std::size_t numOrders = block.values.size();
    const auto along = hn::Set(d, shell.dfc[n]);
    const auto across = hn::Set(d, shell.fc[n] / shell.r[n]);
    float* const rows = FindRows(shell, n, block);
    for (std::size_t k = 0; k < numOrders; k += numLanes) {
        const float* HWY_RESTRICT sums = work.sums + k / work.chunkOrders * work.chunkStride +
                                         n * work.sumStride + k % work.chunkOrders * 3;
        const auto slope = hn::Mul(hn::Iota(d, static_cast<float>(k)), across);
        const auto part0 = hn::Mul(along, hn::Load(d, sums));
        const auto part1 = hn::Mul(slope, hn::Load(d, sums + numLanes));
        const auto part2 = hn::Mul(slope, hn::Load(d, sums + 2 * numLanes));
        StoreFramedRows(d, work.frames, n, part0, part1, part2, k, block, work.block, rows);
    }
}

void AddAllPairs(const NeighborShell& shell, NeighborRange first, NeighborRange second, std::size_t numOrders,
                 const AngularWork& work) {
    const bool isWithin = first == second;
    if (!isWithin) {
        for (std::size_t start = 0; start < work.numOrders; start += work.chunkOrders) {
            float* const sums = work.sums + start / work.chunkOrders * work.chunkStride;
            std::fill(sums + second.begin * work.sumStride, sums + second.end * work.sumStride, 0.0f);
        }
    }
    for (std::size_t j = first.begin; j < first.end; ++j) {
        const NeighborRange partners{second.begin, isWithin ? j : second.end};
        AddOuter(shell, j, partners, numOrders, work);
    }
}

void Angular(const NeighborShell& shell, NeighborRange first, NeighborRange second, const BasisBlock& block,
             std::span<float> scratch) {
    const Lanes d;
    const std::size_t padded = hwy::RoundUpTo(shell.size, shellPadding) + shellPadding;
    const AngularWork work(ScratchCarver(scratch), shell.size, padded, block.values.size(), hn::Lanes(d));
    work.block.clear();
    PrepareFrames(shell, second, work.frames);
    if (first != second) {
        PrepareFrames(shell, first, work.frames);
    }
    AddAllPairs(shell, first, second, block.values.size(), work);
    for (std::size_t n = second.begin; n < second.end; ++n) {
        StoreRows(shell, n, block, work);
    }
    for (std::size_t n = first.begin; n < first.end && first != second; ++n) {
        StoreRows(shell, n, block, work);
    }
    StoreBlock(d, block, work.block);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(Angular);

std::size_t countChebyshevScratch(std::size_t numNeighbors, std::size_t numOrders) {
    // Nine components, eighteen powers and six factors for each neighbour, three sums for each neighbour and
    // order.
    const std::size_t padded = hwy::RoundUpTo(numNeighbors, shellPadding) + shellPadding;
    const std::size_t paddedOrders = hwy::RoundUpTo(numOrders, 2 * shellPadding);
    return 33 * padded + (4 + 3 * numNeighbors) * paddedOrders;
}

void computeChebyshevAngular(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                             const BasisBlock& block, std::span<float> scratch) {
    if (block.diff == nullptr) {
        computeChebyshevAngularValues(shell, first, second, block.values, scratch);
    } else {
        HWY_DYNAMIC_DISPATCH(Angular)(shell, first, second, block, scratch);
    }
}

} // namespace melta
#endif
