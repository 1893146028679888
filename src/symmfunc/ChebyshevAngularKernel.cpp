// The sums over pairs of neighbours.
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

#include "symmfunc/ChebyshevKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/ChebyshevAngularKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/ChebyshevRotation-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Three components of a vector for each neighbour.
struct Components {
    float* HWY_RESTRICT x;
    float* HWY_RESTRICT y;
    float* HWY_RESTRICT z;

    Components(ScratchCarver& carver, std::size_t count)
        : x(carver.take(count)), y(carver.take(count)), z(carver.take(count)) {}
};

// The orders are worked off in chunks of two vectors, so that the sums of the outer neighbour stay in
// registers.
struct AngularWork {
    std::size_t chunkOrders;     // orders of a chunk
    std::size_t numOrders;       // orders, padded to whole chunks
    std::size_t sumStride;       // distance of two neighbours in sums
    std::size_t chunkStride;     // distance of two chunks in sums
    Components u, e1, e2;        // [numNeighbors], unit vector towards the neighbour, and its frame
    StagedPowers powers;         // of the partners of the present outer neighbour, [numPartners]
    float* HWY_RESTRICT baseCos; // [numPartners], cos(k theta) with k the first order of the present chunk
    float* HWY_RESTRICT baseSin; // the same with the sine
    float* HWY_RESTRICT
        partner1; // [numPartners], factors of the partner's sums: h w (u . e1) with u and w of the outer
    float* HWY_RESTRICT partner2; // neighbour and the partner's frame, and the same with e2
    float* HWY_RESTRICT outer1;   // [numPartners], the same with the roles exchanged
    float* HWY_RESTRICT outer2;
    float* HWY_RESTRICT values;  // [numOrders]
    float* HWY_RESTRICT central; // [3][numOrders], sums of the neighbours' rows
    float* HWY_RESTRICT sums;    // [numChunks][numNeighbors][2][3][N], the three sums of each neighbour

    AngularWork(ScratchCarver carver, std::size_t numNeighbors, std::size_t padded, std::size_t orders,
                std::size_t numLanes)
        : chunkOrders(2 * numLanes), numOrders(hwy::RoundUpTo(orders, chunkOrders)), sumStride(6 * numLanes),
          chunkStride(numNeighbors * sumStride), u(carver, padded), e1(carver, padded), e2(carver, padded),
          powers(carver, padded), baseCos(carver.take(padded)), baseSin(carver.take(padded)),
          partner1(carver.take(padded)), partner2(carver.take(padded)), outer1(carver.take(padded)),
          outer2(carver.take(padded)), values(carver.take(numOrders)), central(carver.take(3 * numOrders)),
          sums(carver.take(numOrders / chunkOrders * chunkStride)) {}
};

// Unit vectors and frames. The frame is that of T. Duff et al., J. Comput. Graph. Tech. 6 (1), 1 (2017),
// eq. 4.
void PrepareNeighbors(const ChebyshevShell& shell, ChebyshevRange range, const AngularWork& work) {
    const Lanes d;
    const auto one = hn::Set(d, 1.0f);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const auto inverse = hn::Div(one, hn::LoadU(d, shell.r.data() + n));
        const auto x = hn::Mul(hn::LoadU(d, shell.dx.data() + n), inverse);
        const auto y = hn::Mul(hn::LoadU(d, shell.dy.data() + n), inverse);
        const auto z = hn::Mul(hn::LoadU(d, shell.dz.data() + n), inverse);
        hn::StoreU(x, d, work.u.x + n);
        hn::StoreU(y, d, work.u.y + n);
        hn::StoreU(z, d, work.u.z + n);
        const auto sign = hn::CopySign(one, z);
        const auto a = hn::Neg(hn::Div(one, hn::Add(sign, z)));
        const auto b = hn::Mul(hn::Mul(x, y), a);
        hn::StoreU(hn::MulAdd(hn::Mul(sign, hn::Mul(x, x)), a, one), d, work.e1.x + n);
        hn::StoreU(hn::Mul(sign, b), d, work.e1.y + n);
        hn::StoreU(hn::Neg(hn::Mul(sign, x)), d, work.e1.z + n);
        hn::StoreU(b, d, work.e2.x + n);
        hn::StoreU(hn::MulAdd(hn::Mul(y, y), a, sign), d, work.e2.y + n);
        hn::StoreU(hn::Neg(y), d, work.e2.z + n);
    }
}

template <class V>
HWY_INLINE V Dot(V ax, V ay, V az, V bx, V by, V bz) {
    return hn::MulAdd(ax, bx, hn::MulAdd(ay, by, hn::Mul(az, bz)));
}

// (2 / pi) asin(v) for 0 <= v <= 0.708; relative error below 1e-7.
template <class V>
HWY_INLINE V ScaledArcsine(Lanes d, V v) {
    const V z = hn::Mul(v, v);
    V p = hn::Set(d, 0.06985753774642944f);
    p = hn::MulAdd(p, z, hn::Set(d, -0.05740998312830925f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.04812726378440857f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.010640091262757778f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.029592417180538177f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.04767068475484848f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.10610513389110565f));
    p = hn::MulAdd(p, z, hn::Set(d, 0.6366197466850281f));
    return hn::Mul(p, v);
}

// x = 2 t / pi - 1 and 1 - x^2 from cosine and sine of the angle t. The smaller of the two is turned into an
// angle: the arcsine is accurate there, and 1 - |x| comes out without cancellation.
template <class V>
HWY_INLINE void MapAngle(Lanes d, V cosine, V sine, V& x, V& squaredSine) {
    const V one = hn::Set(d, 1.0f);
    const V steep = hn::Abs(cosine);
    const V p = ScaledArcsine(d, hn::Min(steep, sine));
    const auto isNearAxis = hn::Lt(sine, steep);
    const V size = hn::IfThenElse(isNearAxis, hn::Sub(one, p), p);
    x = hn::CopySign(size, hn::Neg(cosine));
    squaredSine = hn::NegMulAdd(p, p, hn::IfThenElse(isNearAxis, hn::Add(p, p), one));
    squaredSine = hn::Max(squaredSine, hn::Set(d, smallestSquaredSine));
}

// Powers and factors of all pairs of outer neighbour j with the partners.
template <bool withDiff>
void StagePairs(const ChebyshevShell& shell, std::size_t j, ChebyshevRange partners,
                const AngularWork& work) {
    const Lanes d;
    const auto ux = hn::Set(d, work.u.x[j]), uy = hn::Set(d, work.u.y[j]), uz = hn::Set(d, work.u.z[j]);
    const auto e1x = hn::Set(d, work.e1.x[j]), e1y = hn::Set(d, work.e1.y[j]), e1z = hn::Set(d, work.e1.z[j]);
    const auto e2x = hn::Set(d, work.e2.x[j]), e2y = hn::Set(d, work.e2.y[j]), e2z = hn::Set(d, work.e2.z[j]);
    const auto weight = hn::Set(d, shell.fc[j]);
    for (std::size_t k = partners.begin; k < partners.end; k += hn::Lanes(d)) {
        const std::size_t i = k - partners.begin;
        const auto vx = hn::LoadU(d, work.u.x + k), vy = hn::LoadU(d, work.u.y + k),
                   vz = hn::LoadU(d, work.u.z + k);
        const auto across1 = Dot(ux, uy, uz, hn::LoadU(d, work.e1.x + k), hn::LoadU(d, work.e1.y + k),
                                 hn::LoadU(d, work.e1.z + k));
        const auto across2 = Dot(ux, uy, uz, hn::LoadU(d, work.e2.x + k), hn::LoadU(d, work.e2.y + k),
                                 hn::LoadU(d, work.e2.z + k));
        // The tiny summand keeps the root of exactly collinear neighbours finite.
        const auto sine2 = hn::MulAdd(across1, across1, hn::MulAdd(across2, across2, hn::Set(d, 1.0e-30f)));
        const auto inverseSine = ReciprocalRoot(d, sine2);

        auto x = hn::Zero(d);
        auto squared = hn::Zero(d);
        MapAngle(d, Dot(ux, uy, uz, vx, vy, vz), hn::Mul(sine2, inverseSine), x, squared);
        const auto inverseRoot = ReciprocalRoot(d, squared);
        StagePowers(d, x, hn::Mul(squared, inverseRoot), i, work.powers);
        if constexpr (withDiff) {
            // h: minus (2 / pi) / (max(sin t, 0.001) sin theta)
            const auto floored = hn::Min(inverseSine, hn::Set(d, 1000.0f));
            const auto h = hn::Mul(hn::Mul(hn::Set(d, -0.63661975f), floored), inverseRoot);
            const auto ofPartner = hn::Mul(h, weight);
            hn::StoreU(hn::Mul(ofPartner, across1), d, work.partner1 + i);
            hn::StoreU(hn::Mul(ofPartner, across2), d, work.partner2 + i);
            const auto ofOuter = hn::Mul(h, hn::LoadU(d, shell.fc.data() + k));
            hn::StoreU(hn::Mul(ofOuter, Dot(vx, vy, vz, e1x, e1y, e1z)), d, work.outer1 + i);
            hn::StoreU(hn::Mul(ofOuter, Dot(vx, vy, vz, e2x, e2y, e2z)), d, work.outer2 + i);
        }
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
template <bool withDiff, bool isRotated, bool hasTwo>
void AddPairs(const ChebyshevShell& shell, std::size_t j, ChebyshevRange partners, std::size_t chunk,
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
        auto c = zero, s = zero, partner1 = zero, partner2 = zero, outer1 = zero, outer2 = zero;
        FirstOrders(d, powers, i, blocks, c, s);
        if constexpr (isRotated) {
            Rotate(c, s, hn::Set(d, work.baseCos[i]), hn::Set(d, work.baseSin[i]));
        }
        sum0 = hn::MulAdd(weight, c, sum0);
        if constexpr (withDiff) {
            partner1 = hn::Set(d, work.partner1[i]);
            partner2 = hn::Set(d, work.partner2[i]);
            outer1 = hn::Set(d, work.outer1[i]);
            outer2 = hn::Set(d, work.outer2[i]);
            AddPair(d, c, s, outerWeight, partner1, partner2, outer1, outer2, sum1, sum2,
                    sums + k * work.sumStride);
        }
        if constexpr (hasTwo) {
            Rotate(c, s, hn::Set(d, powers.stepCos[i]), hn::Set(d, powers.stepSin[i]));
            next0 = hn::MulAdd(weight, c, next0);
            if constexpr (withDiff) {
                AddPair(d, c, s, outerWeight, partner1, partner2, outer1, outer2, next1, next2,
                        sums + k * work.sumStride + 3 * numLanes);
            }
        }
    }
    float* HWY_RESTRICT values = work.values + chunk * work.chunkOrders;
    hn::Store(hn::MulAdd(outerWeight, sum0, hn::Load(d, values)), d, values);
    hn::Store(hn::MulAdd(outerWeight, next0, hn::Load(d, values + numLanes)), d, values + numLanes);
    if constexpr (withDiff) {
        float* HWY_RESTRICT row = sums + j * work.sumStride;
        hn::Store(sum0, d, row);
        hn::Store(sum1, d, row + numLanes);
        hn::Store(sum2, d, row + 2 * numLanes);
        hn::Store(next0, d, row + 3 * numLanes);
        hn::Store(next1, d, row + 4 * numLanes);
        hn::Store(next2, d, row + 5 * numLanes);
    }
}

template <bool withDiff, bool isRotated>
void AddChunk(const ChebyshevShell& shell, std::size_t j, ChebyshevRange partners, std::size_t chunk,
              bool hasTwo, const AngularWork& work) {
    if (hasTwo) {
        AddPairs<withDiff, isRotated, true>(shell, j, partners, chunk, work);
    } else {
        AddPairs<withDiff, isRotated, false>(shell, j, partners, chunk, work);
    }
}

// All pairs of outer neighbour j.
template <bool withDiff>
void AddOuter(const ChebyshevShell& shell, std::size_t j, ChebyshevRange partners, std::size_t numOrders,
              const AngularWork& work) {
    StagePairs<withDiff>(shell, j, partners, work);
    const std::size_t numLanes = work.chunkOrders / 2;
    for (std::size_t chunk = 0; chunk * work.chunkOrders < numOrders; ++chunk) {
        const bool hasTwo = numOrders - chunk * work.chunkOrders > numLanes;
        if (chunk == 0) {
            AddChunk<withDiff, false>(shell, j, partners, chunk, hasTwo, work);
        } else {
            AdvanceBase(partners.end - partners.begin, chunk == 1, work);
            AddChunk<withDiff, true>(shell, j, partners, chunk, hasTwo, work);
        }
    }
}

// Writes the rows of neighbour n from its sums, and adds them to those of the central atom.
void StoreRows(const ChebyshevShell& shell, std::size_t n, const ChebyshevBlock& block,
               const AngularWork& work) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const std::size_t numOrders = block.values.size();
    const auto along = hn::Set(d, shell.dfc[n]);
    const auto across = hn::Set(d, shell.fc[n] / shell.r[n]);
    const float* const u[3] = {work.u.x + n, work.u.y + n, work.u.z + n};
    const float* const e1[3] = {work.e1.x + n, work.e1.y + n, work.e1.z + n};
    const float* const e2[3] = {work.e2.x + n, work.e2.y + n, work.e2.z + n};
    float* const rows = block.diff + 3 * (static_cast<std::size_t>(shell.entry[n]) + 1) * block.rowStride;
    for (std::size_t k = 0; k < numOrders; k += numLanes) {
        const float* HWY_RESTRICT sums = work.sums + k / work.chunkOrders * work.chunkStride +
                                         n * work.sumStride + k % work.chunkOrders * 3;
        const auto slope = hn::Mul(hn::Iota(d, static_cast<float>(k)), across);
        const auto part0 = hn::Mul(along, hn::Load(d, sums));
        const auto part1 = hn::Mul(slope, hn::Load(d, sums + numLanes));
        const auto part2 = hn::Mul(slope, hn::Load(d, sums + 2 * numLanes));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto row =
                Dot(hn::Set(d, *u[axis]), hn::Set(d, *e1[axis]), hn::Set(d, *e2[axis]), part0, part1, part2);
            float* const central = work.central + axis * work.numOrders + k;
            hn::Store(hn::Add(hn::Load(d, central), row), d, central);
            StorePart(d, row, numOrders - k, rows + axis * block.rowStride + k);
        }
    }
}

template <bool withDiff>
void AddAllPairs(const ChebyshevShell& shell, ChebyshevRange first, ChebyshevRange second,
                 std::size_t numOrders, const AngularWork& work) {
    const bool isWithin = first == second;
    if (withDiff && !isWithin) {
        for (std::size_t start = 0; start < work.numOrders; start += work.chunkOrders) {
            float* const sums = work.sums + start / work.chunkOrders * work.chunkStride;
            std::fill(sums + second.begin * work.sumStride, sums + second.end * work.sumStride, 0.0f);
        }
    }
    for (std::size_t j = first.begin; j < first.end; ++j) {
        const ChebyshevRange partners{second.begin, isWithin ? j : second.end};
        AddOuter<withDiff>(shell, j, partners, numOrders, work);
    }
}

void Angular(const ChebyshevShell& shell, ChebyshevRange first, ChebyshevRange second,
             const ChebyshevBlock& block, std::span<float> scratch) {
    const Lanes d;
    const std::size_t padded = hwy::RoundUpTo(shell.size, chebyshevPadding) + chebyshevPadding;
    const AngularWork work(ScratchCarver(scratch), shell.size, padded, block.values.size(), hn::Lanes(d));
    std::fill_n(work.values, work.numOrders, 0.0f);
    std::fill_n(work.central, 3 * work.numOrders, 0.0f);
    PrepareNeighbors(shell, second, work);
    if (first != second) {
        PrepareNeighbors(shell, first, work);
    }
    if (block.diff == nullptr) {
        AddAllPairs<false>(shell, first, second, block.values.size(), work);
    } else {
        AddAllPairs<true>(shell, first, second, block.values.size(), work);
        for (std::size_t n = second.begin; n < second.end; ++n) {
            StoreRows(shell, n, block, work);
        }
        for (std::size_t n = first.begin; n < first.end && first != second; ++n) {
            StoreRows(shell, n, block, work);
        }
    }
    StoreBlock(d, block, work.values, work.central, work.numOrders);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(Angular);

std::size_t obtainChebyshevScratchSize(std::size_t numNeighbors, std::size_t numOrders) {
    // Nine components, eighteen powers and six factors for each neighbour, three sums for each neighbour and
    // order.
    const std::size_t padded = hwy::RoundUpTo(numNeighbors, chebyshevPadding) + chebyshevPadding;
    const std::size_t paddedOrders = hwy::RoundUpTo(numOrders, 2 * chebyshevPadding);
    return 33 * padded + (4 + 3 * numNeighbors) * paddedOrders;
}

void computeChebyshevAngular(const ChebyshevShell& shell, ChebyshevRange first, ChebyshevRange second,
                             const ChebyshevBlock& block, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(Angular)(shell, first, second, block, scratch);
}

} // namespace melta
#endif
