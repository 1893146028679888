// The way forth from neighbours to densities, and the change of the densities when the neighbours move.
//
// A vector of neighbours at a time, one to a lane, gives the radial functions and the harmonics. The sums of
// their products then run over the neighbours with the radial functions in the lanes, so that nothing is to
// be added up across lanes: the radial functions of a neighbour are one or two vectors, and each harmonic is
// spread over all lanes.

#include "symmfunc/cluster/ClusterKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterDensityKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBasis-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// A radial and an angular function of each neighbour, whose products are summed up.
struct Factors {
    std::size_t rowLength;         // length of a row of neighbours
    float* HWY_RESTRICT radius;    // [radiusStride / 4][rowLength][4], four radial functions side by side
    float* HWY_RESTRICT harmonics; // [numHarmonics][rowLength]

    Factors(ScratchCarver& carver, const ClusterPlan& plan, std::size_t numNeighbors)
        : rowLength(hwy::RoundUpTo(numNeighbors, laneRow)),
          radius(carver.take(rowLength * plan.radiusStride())),
          harmonics(carver.take(plan.numHarmonics() * rowLength)) {}
};

float* TakePolynomials(ScratchCarver& carver, const ClusterPlan& plan) {
    return carver.take((plan.maxAngular + 1) * (plan.maxAngular + 2) / 2 * laneRow);
}

// Writes the radial functions value(k) of a vector of neighbours, with zeros behind the last one.
template <class Value>
HWY_INLINE void StoreRadius(const ClusterPlan& plan, std::size_t offset, const Factors& to, Value&& value) {
    const Lanes d;
    const auto valueOrZero = [&](std::size_t k) { return k < plan.numRadius ? value(k) : hn::Zero(d); };
    for (std::size_t k = 0; k < plan.radiusStride(); k += 4) {
        hn::StoreInterleaved4(valueOrZero(k), valueOrZero(k + 1), valueOrZero(k + 2), valueOrZero(k + 3), d,
                              to.radius + k * to.rowLength + 4 * offset);
    }
}

// Radial functions `column` and following of neighbour n.
HWY_INLINE hn::Vec<Columns> LoadRadius(Columns d, const Factors& from, std::size_t column, std::size_t n) {
    const float* const quad = from.radius + column / 4 * 4 * from.rowLength + 4 * n;
#if HWY_TARGET == HWY_SCALAR
    return hn::LoadU(d, quad + column % 4);
#else
    if constexpr (hn::MaxLanes(Columns()) == 8) {
        const hn::Half<Columns> half;
        return hn::Combine(d, hn::LoadU(half, quad + 4 * from.rowLength), hn::LoadU(half, quad));
    } else {
        return hn::LoadU(d, quad);
    }
#endif
}

void FillFactors(const NeighborShell& shell, const ClusterPlan& plan, std::size_t n, std::size_t offset,
                 float* HWY_RESTRICT polynomials, float* HWY_RESTRICT rows, const Factors& to) {
    const Lanes d;
    const NeighborLanes<hn::Vec<Lanes>> lanes(d, shell, n, plan.rcut);
    const auto fc = hn::LoadU(d, shell.fc.data() + n);
    ForEachChebyshev(lanes.x, fc, hn::Mul(fc, lanes.x), plan.numRadius,
                     [&](std::size_t k, auto value) { hn::Store(value, d, rows + k * laneRow); });
    StoreRadius(plan, offset, to, [&](std::size_t k) { return hn::Load(d, rows + k * laneRow); });
    FillPolynomials(d, plan.harmonics, lanes.u.z, polynomials);
    ForEachOrder(d, plan.maxAngular, lanes.u.x, lanes.u.y, [&](std::size_t m, auto c, auto s, auto, auto) {
        for (std::size_t l = m; l <= plan.maxAngular; ++l) {
            const auto p = hn::Load(d, polynomials + (l * (l + 1) / 2 + m) * laneRow);
            float* const middle = to.harmonics + l * (l + 1) * to.rowLength + offset;
            hn::Store(hn::Mul(p, s), d, middle - m * to.rowLength);
            hn::Store(hn::Mul(p, c), d, middle + m * to.rowLength);
        }
    });
}

// The factors of the derivatives along the directions v: g and the derivative of Y go to `turned`, g' and Y
// to `moved`.
struct TangentFactors {
    Factors turned;
    Factors moved;
    float* HWY_RESTRICT polynomials; // [(L + 1) (L + 2) / 2][laneRow]
    float* HWY_RESTRICT radius;      // [numRadius][2][laneRow]

    TangentFactors(ScratchCarver& carver, const ClusterPlan& plan, std::size_t numNeighbors)
        : turned(carver, plan, numNeighbors), moved(carver, plan, numNeighbors),
          polynomials(TakePolynomials(carver, plan)), radius(carver.take(2 * plan.numRadius * laneRow)) {}
};

// u . v, and the change of u.
template <class V>
HWY_INLINE VectorLanes<V> SplitDirection(Lanes d, const NeighborLanes<V>& lanes,
                                         const NeighborDirections& directions, std::size_t n, V& along) {
    const VectorLanes<V> v{hn::LoadU(d, directions.x.data() + n), hn::LoadU(d, directions.y.data() + n),
                           hn::LoadU(d, directions.z.data() + n)};
    along = Dot(lanes.u, v);
    return {hn::Mul(hn::NegMulAdd(along, lanes.u.x, v.x), lanes.inverse),
            hn::Mul(hn::NegMulAdd(along, lanes.u.y, v.y), lanes.inverse),
            hn::Mul(hn::NegMulAdd(along, lanes.u.z, v.z), lanes.inverse)};
}

// Y and its derivative when u changes by `turn`.
void FillTurnedHarmonics(const ClusterPlan& plan, std::size_t offset, const VectorLanes<hn::Vec<Lanes>>& u,
                         const VectorLanes<hn::Vec<Lanes>>& turn, const TangentFactors& to) {
    const Lanes d;
    const std::size_t rowLength = to.moved.rowLength;
    FillPolynomials(d, plan.harmonics, u.z, to.polynomials);
    ForEachOrder(d, plan.maxAngular, u.x, u.y, [&](std::size_t m, auto c, auto s, auto lastC, auto lastS) {
        const auto times = hn::Set(d, static_cast<float>(m));
        const auto turnC = hn::Mul(times, hn::MulSub(turn.x, lastC, hn::Mul(turn.y, lastS)));
        const auto turnS = hn::Mul(times, hn::MulAdd(turn.x, lastS, hn::Mul(turn.y, lastC)));
        for (std::size_t l = m; l <= plan.maxAngular; ++l) {
            const std::size_t place = l * (l + 1) / 2 + m;
            const auto p = hn::Load(d, to.polynomials + place * laneRow);
            // Its factor is zero where there is no next one.
            const auto next = hn::Load(d, to.polynomials + (m < l ? place + 1 : place) * laneRow);
            const auto dp = hn::Mul(hn::Mul(hn::Set(d, plan.harmonics.ofSlope[place]), next), turn.z);
            const std::size_t below = (l * (l + 1) - m) * rowLength + offset;
            const std::size_t above = (l * (l + 1) + m) * rowLength + offset;
            hn::Store(hn::Mul(p, s), d, to.moved.harmonics + below);
            hn::Store(hn::Mul(p, c), d, to.moved.harmonics + above);
            hn::Store(hn::MulAdd(dp, s, hn::Mul(p, turnS)), d, to.turned.harmonics + below);
            hn::Store(hn::MulAdd(dp, c, hn::Mul(p, turnC)), d, to.turned.harmonics + above);
        }
    });
}

void FillTangentFactors(const NeighborShell& shell, const ClusterPlan& plan, std::size_t n,
                        std::size_t offset, const NeighborDirections& directions, const TangentFactors& to) {
    const Lanes d;
    const NeighborLanes<hn::Vec<Lanes>> lanes(d, shell, n, plan.rcut);
    hn::Vec<Lanes> along;
    const auto turn = SplitDirection(d, lanes, directions, n, along);
    FillRadius(d, shell, plan, n, lanes.x, to.radius);
    StoreRadius(plan, offset, to.turned,
                [&](std::size_t k) { return hn::Load(d, to.radius + 2 * k * laneRow); });
    StoreRadius(plan, offset, to.moved, [&](std::size_t k) {
        return hn::Mul(along, hn::Load(d, to.radius + (2 * k + 1) * laneRow));
    });
    FillTurnedHarmonics(plan, offset, lanes.u, turn, to);
}

// Adds harmonics h to h + count - 1.
template <std::size_t count>
void AddHarmonics(const ClusterPlan& plan, const Factors& factors, std::size_t numNeighbors, std::size_t h,
                  std::span<const float> weights, float* HWY_RESTRICT density) {
    const Columns d;
    for (std::size_t column = 0; column < plan.numRadius; column += hn::Lanes(d)) {
        hn::Vec<Columns> sums[count];
        for (std::size_t i = 0; i < count; ++i) {
            sums[i] = hn::Zero(d);
        }
        for (std::size_t n = 0; n < numNeighbors; ++n) {
            const auto radius = LoadRadius(d, factors, column, n);
            for (std::size_t i = 0; i < count; ++i) {
                sums[i] = hn::MulAdd(hn::Set(d, factors.harmonics[(h + i) * factors.rowLength + n]), radius,
                                     sums[i]);
            }
        }
        // Behind the last radial function the sums are zero, so that writing into the next channel does no
        // harm.
        for (std::size_t i = 0; i < count; ++i) {
            float* to = density + (h + i) * plan.stride() + column;
            for (const float weight : weights) {
                hn::StoreU(hn::MulAdd(hn::Set(d, weight), sums[i], hn::LoadU(d, to)), d, to);
                to += plan.numRadius;
            }
        }
    }
}

// Eight sums at once hide the time of an addition. There are squares of numbers, which leave one or four.
void AddAllHarmonics(const ClusterPlan& plan, const Factors& factors, std::size_t numNeighbors,
                     std::span<const float> weights, float* HWY_RESTRICT density) {
    const std::size_t numHarmonics = plan.numHarmonics();
    std::size_t h = 0;
    for (; h + 8 <= numHarmonics && h + 9 != numHarmonics; h += 8) {
        AddHarmonics<8>(plan, factors, numNeighbors, h, weights, density);
    }
    if (h + 9 == numHarmonics) {
        AddHarmonics<9>(plan, factors, numNeighbors, h, weights, density);
    } else if (h + 4 == numHarmonics) {
        AddHarmonics<4>(plan, factors, numNeighbors, h, weights, density);
    } else if (h + 1 == numHarmonics) {
        AddHarmonics<1>(plan, factors, numNeighbors, h, weights, density);
    }
}

void AddDensity(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                std::span<const float> weights, std::span<float> density, std::span<float> scratch) {
    ScratchCarver carver(scratch);
    float* const polynomials = TakePolynomials(carver, plan);
    float* const rows = carver.take(plan.numRadius * laneRow);
    const std::size_t numNeighbors = range.end - range.begin;
    const Factors factors(carver, plan, numNeighbors);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(Lanes())) {
        FillFactors(shell, plan, n, n - range.begin, polynomials, rows, factors);
    }
    AddAllHarmonics(plan, factors, numNeighbors, weights, density.data());
}

void AddTangent(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                std::span<const float> weights, const NeighborDirections& directions,
                std::span<float> tangent, std::span<float> scratch) {
    ScratchCarver carver(scratch);
    const std::size_t numNeighbors = range.end - range.begin;
    const TangentFactors factors(carver, plan, numNeighbors);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(Lanes())) {
        FillTangentFactors(shell, plan, n, n - range.begin, directions, factors);
    }
    AddAllHarmonics(plan, factors.turned, numNeighbors, weights, tangent.data());
    AddAllHarmonics(plan, factors.moved, numNeighbors, weights, tangent.data());
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(AddDensity);
HWY_EXPORT(AddTangent);

void addClusterDensity(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                       std::span<const float> weights, std::span<float> density, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AddDensity)(shell, range, plan, weights, density, scratch);
}

void addClusterTangent(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                       std::span<const float> weights, const NeighborDirections& directions,
                       std::span<float> tangent, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AddTangent)(shell, range, plan, weights, directions, tangent, scratch);
}

} // namespace melta
#endif
