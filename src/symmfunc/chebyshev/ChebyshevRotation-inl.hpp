// Sines and cosines of all multiples of an angle, for the kernels of the Chebyshev symmetry functions.
// Included once for each instruction set.
//
// T_k(x) = cos(k theta), and its derivative needs sin(k theta), with cos(theta) = x. Both are parts of the
// power z^k of z = (x, sin theta), a rotation; no sine or cosine is ever called. The powers of many angles
// are staged first, one angle to a lane. Then, angle by angle and one order to a lane, a vector of
// consecutive orders is the product of four low powers, repeated in each block of four lanes, and high powers
// 0, 4, 8, 12, one to a block; each next vector is the one before times z^N, with N the number of lanes. Each
// product adds a rounding error of about one unit in the last place, and a relative error e of z itself grows
// to k e, as it does with a call of cos(k theta).

#if defined(MELTA_CHEBYSHEV_ROTATION_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_CHEBYSHEV_ROTATION_INL
#undef MELTA_CHEBYSHEV_ROTATION_INL
#else
#define MELTA_CHEBYSHEV_ROTATION_INL
#endif

#include <cstddef>

#include <hwy/highway.h>

#include "symmfunc/ShellKernels-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// Staged powers of a batch of angles. Four powers of one angle make a quad; the quads lie in the order that
// QuadOffset tells.
struct StagedPowers {
    float* HWY_RESTRICT lowCos;  // [numAngles][4], cos(k theta), k = 0 to 3
    float* HWY_RESTRICT lowSin;  // the same with the sine
    float* HWY_RESTRICT highCos; // [numAngles][4], cos(4 k theta), k = 0 to 3
    float* HWY_RESTRICT highSin; // the same with the sine
    float* HWY_RESTRICT stepCos; // [numAngles], cos(N theta)
    float* HWY_RESTRICT stepSin; // the same with the sine

    static constexpr std::size_t numFloats = 18; // for each angle
    StagedPowers(ScratchCarver& carver, std::size_t numAngles)
        : lowCos(carver.take(4 * numAngles)), lowSin(carver.take(4 * numAngles)),
          highCos(carver.take(4 * numAngles)), highSin(carver.take(4 * numAngles)),
          stepCos(carver.take(numAngles)), stepSin(carver.take(numAngles)) {}
};

// (c, s) becomes (c, s) times (c2, s2).
template <class V>
HWY_INLINE void Rotate(V& c, V& s, V c2, V s2) {
    const V product = hn::Mul(s, s2);
    s = hn::MulAdd(s, c2, hn::Mul(c, s2));
    c = hn::MulSub(c, c2, product);
}

// Stores four powers of N angles as quads. Only lanes of one block change places, which takes half the
// shuffles of a full transposition: the quads of angles 0, 4, 8, 12 come first, then those of 1, 5, 9, 13,
// and so on.
template <class V>
HWY_INLINE void StoreQuads(Lanes d, V v0, V v1, V v2, V v3, float* HWY_RESTRICT to) {
    const std::size_t numLanes = hn::Lanes(d);
#if HWY_TARGET == HWY_SCALAR
    hn::StoreU(v0, d, to);
    hn::StoreU(v1, d, to + numLanes);
    hn::StoreU(v2, d, to + 2 * numLanes);
    hn::StoreU(v3, d, to + 3 * numLanes);
#else
    const hn::Repartition<double, Lanes> pairs;
    const auto lower01 = hn::BitCast(pairs, hn::InterleaveLower(d, v0, v1));
    const auto lower23 = hn::BitCast(pairs, hn::InterleaveLower(d, v2, v3));
    const auto upper01 = hn::BitCast(pairs, hn::InterleaveUpper(d, v0, v1));
    const auto upper23 = hn::BitCast(pairs, hn::InterleaveUpper(d, v2, v3));
    hn::StoreU(hn::BitCast(d, hn::InterleaveLower(pairs, lower01, lower23)), d, to);
    hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(pairs, lower01, lower23)), d, to + numLanes);
    hn::StoreU(hn::BitCast(d, hn::InterleaveLower(pairs, upper01, upper23)), d, to + 2 * numLanes);
    hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(pairs, upper01, upper23)), d, to + 3 * numLanes);
#endif
}

// Place of the quad of angle `index` in the arrays of StagedPowers.
HWY_INLINE std::size_t QuadOffset(std::size_t index) {
    const std::size_t numLanes = hn::Lanes(Lanes());
    const std::size_t lane = index % numLanes;
    return 4 * (index - lane) + lane % 4 * numLanes + lane / 4 * 4;
}

// Stages angles `index` (a multiple of N) to index + N - 1, given by cosine and sine, one to a lane.
template <class V>
HWY_INLINE void StagePowers(Lanes d, V c, V s, std::size_t index, const StagedPowers& powers) {
    const V one = hn::Set(d, 1.0f);
    const V zero = hn::Zero(d);
    V c2 = c, s2 = s, c3 = c, s3 = s;
    Rotate(c2, s2, c, s);
    Rotate(c3, s3, c2, s2);
    StoreQuads(d, one, c, c2, c3, powers.lowCos + 4 * index);
    StoreQuads(d, zero, s, s2, s3, powers.lowSin + 4 * index);
    V c4 = c2, s4 = s2;
    Rotate(c4, s4, c2, s2);
    V c8 = c4, s8 = s4;
    Rotate(c8, s8, c4, s4);
    V c12 = c8, s12 = s8;
    Rotate(c12, s12, c4, s4);
    StoreQuads(d, one, c4, c8, c12, powers.highCos + 4 * index);
    StoreQuads(d, zero, s4, s8, s12, powers.highSin + 4 * index);
    V c16 = c8, s16 = s8;
    Rotate(c16, s16, c8, s8);
    const std::size_t numLanes = hn::Lanes(d);
    hn::StoreU(numLanes == 16 ? c16 : numLanes == 8 ? c8 : numLanes == 4 ? c4 : c, d, powers.stepCos + index);
    hn::StoreU(numLanes == 16 ? s16 : numLanes == 8 ? s8 : numLanes == 4 ? s4 : s, d, powers.stepSin + index);
}

// Table that spreads the four high powers over the blocks of four lanes.
HWY_INLINE auto BlockIndices(Lanes d) {
    const hn::RebindToSigned<Lanes> di;
    return hn::IndicesFromVec(d, hn::ShiftRight<2>(hn::Iota(di, 0)));
}

// Orders 0 to N - 1 of one staged angle, one to a lane.
template <class V, class Indices>
HWY_INLINE void FirstOrders(Lanes d, const StagedPowers& powers, std::size_t index, Indices blocks, V& c,
                            V& s) {
    const std::size_t offset = QuadOffset(index);
    c = hn::LoadDup128(d, powers.lowCos + offset);
    s = hn::LoadDup128(d, powers.lowSin + offset);
    const V highCos = hn::TableLookupLanes(hn::LoadDup128(d, powers.highCos + offset), blocks);
    const V highSin = hn::TableLookupLanes(hn::LoadDup128(d, powers.highSin + offset), blocks);
    Rotate(c, s, highCos, highSin);
}

// 1 / sqrt(v) for positive v, to two units in the last place.
template <class V>
HWY_INLINE V ReciprocalRoot(Lanes d, V v) {
#if HWY_TARGET <= HWY_AVX3
    // The estimate has 14 bits there, so that one Newton step is enough; root and division would take twice
    // the time.
    const V estimate = hn::ApproximateReciprocalSqrt(v);
    const V error = hn::NegMulAdd(hn::Mul(v, estimate), estimate, hn::Set(d, 1.0f));
    return hn::MulAdd(hn::Mul(estimate, hn::Set(d, 0.5f)), error, estimate);
#else
    return hn::Div(hn::Set(d, 1.0f), hn::Sqrt(v));
#endif
}

// Where the polynomials' angle is so small that its sine would vanish, this takes its place: k sin(k theta) /
// sin(theta) is k^2 to rounding there, the limit, and cos(k theta) is 1.
constexpr float smallestSquaredSine = 1.0e-12f;

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_CHEBYSHEV_ROTATION_INL
