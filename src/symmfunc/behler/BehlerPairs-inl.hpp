// What the angular Behler functions need of each pair of neighbours besides the parameters, computed for many
// partners of one neighbour at once. Included once for each instruction set.

#if defined(MELTA_BEHLER_PAIRS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef MELTA_BEHLER_PAIRS_INL
#undef MELTA_BEHLER_PAIRS_INL
#else
#define MELTA_BEHLER_PAIRS_INL
#endif

#include "symmfunc/CutoffKernels.hpp"
#include "symmfunc/behler/BehlerKernels.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

#include "symmfunc/ShellKernels-inl.hpp"
#include "symmfunc/behler/BehlerGaussian-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {

// Pairs of one outer neighbour with some of its partners. The arrays of the third side and those that only
// derivatives need are not filled without them.
struct PairBatch {
    static constexpr std::size_t capacity = 128;
    static constexpr std::size_t stride = capacity + shellPadding;

    std::size_t count = 0;
    HWY_ALIGN std::int32_t partner[stride]; // place in the shell
    HWY_ALIGN float logPlus[stride];        // log2(c / 2) for lambda = 1; NaN where the term is left out
    HWY_ALIGN float logMinus[stride];       // for lambda = -1
    HWY_ALIGN float slopePlus[stride];      // lambda / c
    HWY_ALIGN float slopeMinus[stride];
    HWY_ALIGN float partner1[stride]; // outer neighbour's u in the partner's frame, directions e1 and e2
    HWY_ALIGN float partner2[stride];
    HWY_ALIGN float outer1[stride]; // the same with the roles exchanged
    HWY_ALIGN float outer2[stride];
    HWY_ALIGN float distance[stride];     // third side
    HWY_ALIGN float fc[stride];           // cutoff function of the third side
    HWY_ALIGN float dfc[stride];          // its derivative
    HWY_ALIGN float fcSlope[stride];      // 2 ln(2) fc
    HWY_ALIGN float partnerAlong[stride]; // derivative of the third side by the partner's distance
    HWY_ALIGN float outerAlong[stride];   // by the outer neighbour's distance
    HWY_ALIGN float bend[stride];         // minus its derivative by cos(t)
};

constexpr float smallestHalf = 0.5f * 0.000001f; // of c / 2; terms below are left out

// c / 2 for both signs of lambda, squares of cosine and sine of half the angle, from sum and difference of
// the unit vectors. The smaller one is accurate even for nearly collinear neighbours, and so is the
// logarithm of the larger one, whose exponent may be high.
template <class V>
struct HalfAngle {
    V plus, minus, logPlus, logMinus;

    HWY_INLINE HalfAngle(Lanes d, const VectorLanes<V>& u, const VectorLanes<V>& v) {
        const VectorLanes<V> sum{hn::Add(u.x, v.x), hn::Add(u.y, v.y), hn::Add(u.z, v.z)};
        const VectorLanes<V> gap{hn::Sub(u.x, v.x), hn::Sub(u.y, v.y), hn::Sub(u.z, v.z)};
        const V sum2 = Dot(sum, sum);
        const V gap2 = Dot(gap, gap);
        const auto isBlunt = hn::Lt(sum2, gap2);
        const V small = hn::Mul(hn::Set(d, 0.25f), hn::Min(sum2, gap2));
        const V large = hn::Sub(hn::Set(d, 1.0f), small);
        const V nothing = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
        const V scale = hn::Set(d, log2OfE);
        const V limit = hn::Set(d, smallestHalf);
        const V logSmall =
            hn::IfThenElse(hn::Lt(small, limit), nothing, hn::Mul(scale, hn::Log(d, hn::Max(small, limit))));
        const V logLarge = hn::Mul(scale, hn::Log1p(d, hn::Neg(small)));
        plus = hn::IfThenElse(isBlunt, small, large);
        minus = hn::IfThenElse(isBlunt, large, small);
        logPlus = hn::IfThenElse(isBlunt, logSmall, logLarge);
        logMinus = hn::IfThenElse(isBlunt, logLarge, logSmall);
    }
};

// Fills a batch with the pairs of outer neighbour j and the partners, at most `capacity`. With the third
// side, only pairs inside its cutoff come in, side by side.
template <bool isG4, bool withDiff>
class PairStager {
public:
    PairStager(const NeighborShell& neighbors, const NeighborFrames& neighborFrames,
               const BehlerAngularSet& parameters)
        : shell(neighbors), frames(neighborFrames), set(parameters) {}

    void stage(std::size_t j, NeighborRange partners, PairBatch& batch) const {
        const Lanes d;
        batch.count = 0;
        for (std::size_t k = partners.begin; k < partners.end; k += hn::Lanes(d)) {
            stageVector(j, k, partners.end - k, batch);
        }
        if constexpr (!isG4) {
            cutThirdSides(batch);
        }
    }

private:
    using V = hn::Vec<Lanes>;
    using M = hn::Mask<Lanes>;

    // Puts the chosen lanes behind what an array of the batch holds already.
    HWY_INLINE void put(Lanes d, V v, M chosen, float* HWY_RESTRICT to) const {
        if constexpr (isG4) {
            hn::StoreU(v, d, to);
        } else {
            hn::CompressStore(v, chosen, d, to);
        }
    }

    HWY_INLINE void putPartners(std::size_t k, M chosen, std::int32_t* HWY_RESTRICT to) const {
        const hn::RebindToSigned<Lanes> di;
        const auto places = hn::Iota(di, static_cast<std::int32_t>(k));
        if constexpr (isG4) {
            hn::StoreU(places, di, to);
        } else {
            hn::CompressStore(places, hn::RebindMask(di, chosen), di, to);
        }
    }

    void stageVector(std::size_t j, std::size_t k, std::size_t count, PairBatch& batch) const {
        const Lanes d;
        const std::size_t at = batch.count;
        M chosen = hn::FirstN(d, count);
        if constexpr (isG4) {
            batch.count += HWY_MIN(count, hn::Lanes(d));
        } else {
            chosen = stageThirdSide(j, k, chosen, batch);
            batch.count += hn::CountTrue(d, chosen);
        }
        const auto u = SpreadVector(d, frames.u, j);
        const auto v = LoadVectors(d, frames.u, k);
        const HalfAngle<V> half(d, u, v);
        putPartners(k, chosen, batch.partner + at);
        put(d, half.logPlus, chosen, batch.logPlus + at);
        put(d, half.logMinus, chosen, batch.logMinus + at);
        if constexpr (withDiff) {
            const V limit = hn::Set(d, smallestHalf);
            const V scale = hn::Set(d, 0.5f);
            put(d, hn::Div(scale, hn::Max(half.plus, limit)), chosen, batch.slopePlus + at);
            put(d, hn::Neg(hn::Div(scale, hn::Max(half.minus, limit))), chosen, batch.slopeMinus + at);
            put(d, Dot(u, LoadVectors(d, frames.e1, k)), chosen, batch.partner1 + at);
            put(d, Dot(u, LoadVectors(d, frames.e2, k)), chosen, batch.partner2 + at);
            put(d, Dot(v, SpreadVector(d, frames.e1, j)), chosen, batch.outer1 + at);
            put(d, Dot(v, SpreadVector(d, frames.e2, j)), chosen, batch.outer2 + at);
        }
    }

    // Returns which of the lanes have a third side inside the cutoff.
    HWY_INLINE M stageThirdSide(std::size_t j, std::size_t k, M among, PairBatch& batch) const {
        const Lanes d;
        const VectorLanes<V> side{hn::Sub(hn::LoadU(d, shell.dx.data() + k), hn::Set(d, shell.dx[j])),
                                  hn::Sub(hn::LoadU(d, shell.dy.data() + k), hn::Set(d, shell.dy[j])),
                                  hn::Sub(hn::LoadU(d, shell.dz.data() + k), hn::Set(d, shell.dz[j]))};
        const V squared = Dot(side, side);
        const M chosen = hn::And(among, hn::Lt(squared, hn::Set(d, set.rcut * set.rcut)));
        // The tiny number keeps two neighbours at one place from making infinities.
        const V distance = hn::Sqrt(hn::Max(squared, hn::Set(d, 1.0e-30f)));
        put(d, distance, chosen, batch.distance + batch.count);
        if constexpr (withDiff) {
            const V inverse = hn::Div(hn::Set(d, 1.0f), distance);
            const V ofPartner = Dot(LoadVectors(d, frames.u, k), side);
            const V ofOuter = hn::Neg(Dot(SpreadVector(d, frames.u, j), side));
            const V product = hn::Mul(hn::Set(d, shell.r[j]), hn::LoadU(d, shell.r.data() + k));
            put(d, hn::Mul(ofPartner, inverse), chosen, batch.partnerAlong + batch.count);
            put(d, hn::Mul(ofOuter, inverse), chosen, batch.outerAlong + batch.count);
            put(d, hn::Mul(product, inverse), chosen, batch.bend + batch.count);
        }
        return chosen;
    }

    void cutThirdSides(PairBatch& batch) const {
        const std::span<const float> distance(batch.distance, batch.count);
        const std::span<float> fc(batch.fc, batch.count);
        const std::span<float> dfc(batch.dfc, batch.count);
        if (set.tanhCutoff) {
            computeTanhCutoff(distance, set.rcut, fc, dfc);
        } else {
            computeCosineCutoff(distance, set.rcut, fc, dfc);
        }
        for (std::size_t i = 0; i < batch.count; ++i) {
            batch.fcSlope[i] = twiceLogOf2 * fc[i];
        }
    }

    const NeighborShell& shell;
    const NeighborFrames& frames;
    const BehlerAngularSet& set;
};

} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#endif // MELTA_BEHLER_PAIRS_INL
