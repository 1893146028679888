// The sums over pairs of neighbours.
//
// With u the unit vectors, F = fc exp(-eta (r - shift)^2) of each neighbour and T the rest, which depends on
// the cosine of the angle and, unless the third side is left out, on its length s(r1, r2, cos), the
// derivative of the pair's term F1 F2 T by the position of neighbour 1 is
//
//     u1 (F1' F2 T + F1 F2 dT/ds ds/dr1) + (F1 F2 / r1) dT/dcos (u2 - (u1 . u2) u1)
//
// where dT/dcos takes ds/dcos in. The last bracket is the part of u2 perpendicular to u1, so that two
// components in a frame (e1, e2) perpendicular to u1 hold it. Hence four sums over the partners make up all
// rows of a neighbour: F2 T, F2 dT/ds ds/dr1, F2 dT/dcos (u2 . e1) and F2 dT/dcos (u2 . e2); without the
// third side the second one vanishes. The factors of the neighbour itself and the three directions come in
// once at the end, and the values are sums of F1 times the first sum. So the Gaussians of the neighbours are
// computed once for each neighbour, and a pair and function costs one exponential, that of zeta log(c / 2)
// and the Gaussian of the third side.
//
// Both signs of lambda lie side by side as columns of the block, and a vector may hold some of each.

#include "symmfunc/behler/BehlerKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/behler/BehlerAngularKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/behler/BehlerPairs-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

constexpr std::size_t numSums = 4; // of each neighbour and column

// Columns are grouped to whole vectors of N lanes.
struct AngularWork {
    std::size_t numColumns;          // columns, padded to whole vectors
    std::size_t vectorStride;        // distance of two vectors of columns in gaussian and slope
    GaussianColumns columns;         // [numColumns]
    float* HWY_RESTRICT zeta;        // [numColumns]
    float* HWY_RESTRICT lambda;      // [numColumns], 1 or -1
    NeighborFrames frames;           // [numNeighbors]
    float* HWY_RESTRICT gaussian;    // [numColumns / N][numNeighbors][N], F
    float* HWY_RESTRICT slope;       // the same, derivative of F by the distance
    float* HWY_RESTRICT partialSums; // [numColumns / N][numNeighbors][4][N]
    BlockSums block;

    AngularWork(ScratchCarver carver, std::size_t numNeighbors, std::size_t numPairs, std::size_t numLanes)
        : AngularWork(carver, numNeighbors, hwy::RoundUpTo(numNeighbors, shellPadding) + shellPadding,
                      hwy::RoundUpTo(2 * numPairs, shellPadding), 2 * numPairs, numLanes) {}

    [[nodiscard]] float* sumsOf(std::size_t column, std::size_t n, std::size_t numLanes) const {
        return partialSums + numSums * (column / numLanes * vectorStride + n * numLanes);
    }

private:
    AngularWork(ScratchCarver& carver, std::size_t numNeighbors, std::size_t paddedNeighbors,
                std::size_t paddedColumns, std::size_t count, std::size_t numLanes)
        : numColumns(hwy::RoundUpTo(count, numLanes)), vectorStride(numNeighbors * numLanes),
          columns(carver, paddedColumns), zeta(carver.take(paddedColumns)),
          lambda(carver.take(paddedColumns)), frames(carver, paddedNeighbors),
          gaussian(carver.take(numNeighbors * paddedColumns)),
          slope(carver.take(numNeighbors * paddedColumns)),
          partialSums(carver.take(numSums * numNeighbors * paddedColumns)), block(carver, paddedColumns) {}
};

void PrepareColumns(const BehlerAngularSet& set, const AngularWork& work) {
    const std::size_t numPairs = set.eta.size();
    for (std::size_t begin : {std::size_t{0}, numPairs}) {
        work.columns.set(set.eta, set.shift, begin);
        std::ranges::copy(set.zeta, work.zeta + begin);
        std::fill_n(work.lambda + begin, numPairs, begin == 0 ? 1.0f : -1.0f);
    }
    work.columns.pad(2 * numPairs, work.numColumns);
    std::fill(work.zeta + 2 * numPairs, work.zeta + work.numColumns, 1.0f);
    std::fill(work.lambda + 2 * numPairs, work.lambda + work.numColumns, -1.0f);
}

void Prepare(const NeighborShell& shell, const BehlerAngularSet& set, std::span<float> scratch) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const AngularWork work(ScratchCarver(scratch), shell.size, set.eta.size(), numLanes);
    PrepareColumns(set, work);
    PrepareFrames(shell, {0, shell.size}, work.frames);
    std::size_t to = 0;
    for (std::size_t k = 0; k < work.numColumns; k += numLanes) {
        const auto width = hn::Load(d, work.columns.width + k);
        const auto shift = hn::Load(d, work.columns.shift + k);
        for (std::size_t n = 0; n < shell.size; ++n, to += numLanes) {
            auto value = hn::Zero(d);
            auto byR = hn::Zero(d);
            CutGaussian(d, width, shift, hn::Set(d, shell.r[n]), hn::Set(d, shell.fc[n]),
                        hn::Set(d, shell.dfc[n]), value, byR);
            hn::Store(value, d, work.gaussian + to);
            hn::Store(byR, d, work.slope + to);
        }
    }
}

// The four sums of a neighbour, for one vector of columns.
template <class V>
struct SumLanes {
    V value, along, across1, across2;
};

// One pair, one vector of columns: T and, with derivatives, dT/ds and dT/dcos, the latter without the factor
// zeta if there is no third side.
template <bool isG4, bool withDiff>
struct PairTerm {
    using V = hn::Vec<Lanes>;
    V value, byDistance, byCosine;

    HWY_INLINE PairTerm(Lanes d, const PairBatch& batch, std::size_t i, hn::Mask<Lanes> isPlus, V zeta,
                        V width, V shift) {
        const V one = hn::Set(d, 1.0f);
        const V logarithm =
            hn::IfThenElse(isPlus, hn::Set(d, batch.logPlus[i]), hn::Set(d, batch.logMinus[i]));
        V exponent = hn::MulAdd(zeta, logarithm, one);
        V steep = hn::Zero(d);
        if constexpr (!isG4) {
            const V gap = hn::Sub(hn::Set(d, batch.distance[i]), shift);
            steep = hn::Mul(width, gap);
            exponent = hn::NegMulAdd(steep, gap, exponent);
        }
        const V power = PowerOfTwo(d, exponent);
        value = isG4 ? power : hn::Mul(power, hn::Set(d, batch.fc[i]));
        if constexpr (withDiff) {
            differentiate(d, batch, i, isPlus, zeta, steep, power);
        }
    }

private:
    HWY_INLINE void differentiate(Lanes d, const PairBatch& batch, std::size_t i, hn::Mask<Lanes> isPlus,
                                  V zeta, V steep, V power) {
        const V slope =
            hn::IfThenElse(isPlus, hn::Set(d, batch.slopePlus[i]), hn::Set(d, batch.slopeMinus[i]));
        if constexpr (isG4) {
            byCosine = hn::Mul(value, slope);
        } else {
            byDistance =
                hn::Mul(power, hn::NegMulAdd(steep, hn::Set(d, batch.fcSlope[i]), hn::Set(d, batch.dfc[i])));
            byCosine =
                hn::MulSub(value, hn::Mul(zeta, slope), hn::Mul(byDistance, hn::Set(d, batch.bend[i])));
        }
    }
};

// Adds a pair's term to the sums of one of the two, with F of the other.
template <bool isG4, class V>
HWY_INLINE void AddTerm(Lanes d, const PairTerm<isG4, true>& term, V gaussian, float along, float across1,
                        float across2, SumLanes<V>& sums) {
    const V pull = hn::Mul(gaussian, term.byCosine);
    sums.value = hn::MulAdd(gaussian, term.value, sums.value);
    sums.across1 = hn::MulAdd(pull, hn::Set(d, across1), sums.across1);
    sums.across2 = hn::MulAdd(pull, hn::Set(d, across2), sums.across2);
    if constexpr (!isG4) {
        sums.along = hn::MulAdd(hn::Mul(gaussian, term.byDistance), hn::Set(d, along), sums.along);
    }
}

template <bool isG4>
HWY_INLINE SumLanes<hn::Vec<Lanes>> LoadSums(Lanes d, const float* HWY_RESTRICT from) {
    const std::size_t numLanes = hn::Lanes(d);
    return {hn::Load(d, from), isG4 ? hn::Zero(d) : hn::Load(d, from + numLanes),
            hn::Load(d, from + 2 * numLanes), hn::Load(d, from + 3 * numLanes)};
}

template <bool isG4, class V>
HWY_INLINE void StoreSums(Lanes d, const SumLanes<V>& sums, float* HWY_RESTRICT to) {
    const std::size_t numLanes = hn::Lanes(d);
    hn::Store(sums.value, d, to);
    hn::Store(sums.across1, d, to + 2 * numLanes);
    hn::Store(sums.across2, d, to + 3 * numLanes);
    if constexpr (!isG4) {
        hn::Store(sums.along, d, to + numLanes);
    }
}

// All pairs of a batch, one vector of columns.
template <bool isG4, bool withDiff>
void AddPairs(std::size_t j, const PairBatch& batch, std::size_t column, const AngularWork& work) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const auto zeta = hn::Load(d, work.zeta + column);
    const auto width = hn::Load(d, work.columns.width + column);
    const auto shift = hn::Load(d, work.columns.shift + column);
    const auto isPlus = hn::Gt(hn::Load(d, work.lambda + column), hn::Zero(d));
    const float* HWY_RESTRICT gaussians = work.gaussian + column / numLanes * work.vectorStride;
    float* HWY_RESTRICT allSums = work.sumsOf(column, 0, numLanes);
    const auto outer = hn::Load(d, gaussians + j * numLanes);
    const auto zero = hn::Zero(d);
    SumLanes<hn::Vec<Lanes>> sums{zero, zero, zero, zero};
    for (std::size_t i = 0; i < batch.count; ++i) {
        const auto k = static_cast<std::size_t>(batch.partner[i]);
        const auto inner = hn::Load(d, gaussians + k * numLanes);
        const PairTerm<isG4, withDiff> term(d, batch, i, isPlus, zeta, width, shift);
        if constexpr (withDiff) {
            AddTerm(d, term, inner, batch.outerAlong[i], batch.outer1[i], batch.outer2[i], sums);
            float* HWY_RESTRICT partnerSums = allSums + numSums * k * numLanes;
            auto ofPartner = LoadSums<isG4>(d, partnerSums);
            AddTerm(d, term, outer, batch.partnerAlong[i], batch.partner1[i], batch.partner2[i], ofPartner);
            StoreSums<isG4>(d, ofPartner, partnerSums);
        } else {
            sums.value = hn::MulAdd(inner, term.value, sums.value);
        }
    }
    float* HWY_RESTRICT values = work.block.values + column;
    hn::Store(hn::MulAdd(outer, sums.value, hn::Load(d, values)), d, values);
    if constexpr (withDiff) {
        float* HWY_RESTRICT outerSums = allSums + numSums * j * numLanes;
        const auto before = LoadSums<isG4>(d, outerSums);
        const SumLanes<hn::Vec<Lanes>> after{
            hn::Add(before.value, sums.value), hn::Add(before.along, sums.along),
            hn::Add(before.across1, sums.across1), hn::Add(before.across2, sums.across2)};
        StoreSums<isG4>(d, after, outerSums);
    }
}

// Writes the rows of neighbour n from its sums, and adds them to those of the central atom.
template <bool isG4>
void StoreRows(const NeighborShell& shell, std::size_t n, const BasisBlock& block, const AngularWork& work) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const auto inverse = hn::Set(d, 1.0f / shell.r[n]);
    float* const rows = FindRows(shell, n, block);
    for (std::size_t k = 0; k < block.values.size(); k += numLanes) {
        const std::size_t place = k / numLanes * work.vectorStride + n * numLanes;
        const auto gaussian = hn::Load(d, work.gaussian + place);
        const auto sums = LoadSums<isG4>(d, work.sumsOf(k, n, numLanes));
        auto across = hn::Mul(gaussian, inverse);
        auto along = hn::Mul(hn::Load(d, work.slope + place), sums.value);
        if constexpr (isG4) {
            across = hn::Mul(across, hn::Load(d, work.zeta + k));
        } else {
            along = hn::MulAdd(gaussian, sums.along, along);
        }
        StoreFramedRows(d, work.frames, n, along, hn::Mul(across, sums.across1),
                        hn::Mul(across, sums.across2), k, block, work.block, rows);
    }
}

void ClearSums(NeighborRange range, const AngularWork& work) {
    const std::size_t numLanes = hn::Lanes(Lanes());
    for (std::size_t k = 0; k < work.numColumns; k += numLanes) {
        std::fill(work.sumsOf(k, range.begin, numLanes), work.sumsOf(k, range.end, numLanes), 0.0f);
    }
}

template <bool isG4, bool withDiff>
void AddAllPairs(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                 const BehlerAngularSet& set, const BasisBlock& block, const AngularWork& work) {
    const std::size_t numLanes = hn::Lanes(Lanes());
    const PairStager<isG4, withDiff> stager(shell, work.frames, set);
    PairBatch batch;
    for (std::size_t j = first.begin; j < first.end; ++j) {
        const std::size_t end = first == second ? j : second.end;
        for (std::size_t k = second.begin; k < end; k += PairBatch::capacity) {
            stager.stage(j, {k, std::min(end, k + PairBatch::capacity)}, batch);
            for (std::size_t column = 0; column < block.values.size(); column += numLanes) {
                AddPairs<isG4, withDiff>(j, batch, column, work);
            }
        }
    }
}

template <bool isG4>
void AddBlock(const NeighborShell& shell, NeighborRange first, NeighborRange second,
              const BehlerAngularSet& set, const BasisBlock& block, const AngularWork& work) {
    if (block.diff == nullptr) {
        AddAllPairs<isG4, false>(shell, first, second, set, block, work);
        return;
    }
    ClearSums(second, work);
    if (first != second) {
        ClearSums(first, work);
    }
    AddAllPairs<isG4, true>(shell, first, second, set, block, work);
    for (std::size_t n = second.begin; n < second.end; ++n) {
        StoreRows<isG4>(shell, n, block, work);
    }
    for (std::size_t n = first.begin; n < first.end && first != second; ++n) {
        StoreRows<isG4>(shell, n, block, work);
    }
}

void Angular(const NeighborShell& shell, NeighborRange first, NeighborRange second,
             const BehlerAngularSet& set, const BasisBlock& block, std::span<float> scratch) {
    const Lanes d;
    const AngularWork work(ScratchCarver(scratch), shell.size, set.eta.size(), hn::Lanes(d));
    work.block.clear();
    if (set.isG4) {
        AddBlock<true>(shell, first, second, set, block, work);
    } else {
        AddBlock<false>(shell, first, second, set, block, work);
    }
    StoreBlock(d, block, work.block);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(Prepare);
HWY_EXPORT(Angular);

std::size_t countBehlerAngularScratch(std::size_t numNeighbors, std::size_t numPairs) {
    // Nine components for each neighbour; four parameters, the value and three sums for each column; two
    // factors and four sums for each neighbour and column.
    const std::size_t paddedNeighbors = hwy::RoundUpTo(numNeighbors, shellPadding) + shellPadding;
    const std::size_t paddedColumns = hwy::RoundUpTo(2 * numPairs, shellPadding);
    return 9 * paddedNeighbors + (8 + 6 * numNeighbors) * paddedColumns;
}

void prepareBehlerAngular(const NeighborShell& shell, const BehlerAngularSet& set, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(Prepare)(shell, set, scratch);
}

void computeBehlerAngular(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                          const BehlerAngularSet& set, const BasisBlock& block, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(Angular)(shell, first, second, set, block, scratch);
}

} // namespace melta
#endif
