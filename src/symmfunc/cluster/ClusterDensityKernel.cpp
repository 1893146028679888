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
    float* HWY_RESTRICT radius;    // [numNeighbors][radiusStride]
    float* HWY_RESTRICT harmonics; // [numHarmonics][rowLength]

    Factors(ScratchCarver& carver, const ClusterPlan& plan, std::size_t numNeighbors)
        : rowLength(hwy::RoundUpTo(numNeighbors, laneRow)),
          radius(carver.take(rowLength * plan.radiusStride())),
          harmonics(carver.take(plan.numHarmonics() * rowLength)) {}
};

float* TakePolynomials(ScratchCarver& carver, const ClusterPlan& plan) {
    return carver.take((plan.maxAngular + 1) * (plan.maxAngular + 2) / 2 * laneRow);
}

// Writes a lane to each row.
template <class V>
HWY_INLINE void StoreDown(Lanes d, V v, std::size_t stride, float* HWY_RESTRICT to) {
    HWY_ALIGN float lanes[laneRow];
    hn::Store(v, d, lanes);
    for (std::size_t i = 0; i < hn::Lanes(d); ++i) {
        to[i * stride] = lanes[i];
    }
}

// Zeros behind the last radial function.
void ClearPadding(const ClusterPlan& plan, std::size_t offset, const Factors& to) {
    const std::size_t stride = plan.radiusStride();
    for (std::size_t k = plan.numRadius; k < stride; ++k) {
        StoreDown(Lanes(), hn::Zero(Lanes()), stride, to.radius + offset * stride + k);
    }
}

void FillFactors(const NeighborShell& shell, const ClusterPlan& plan, std::size_t n, std::size_t offset,
                 float* HWY_RESTRICT polynomials, const Factors& to) {
    const Lanes d;
    const NeighborLanes<hn::Vec<Lanes>> lanes(d, shell, n, plan.rcut);
    const std::size_t stride = plan.radiusStride();
    const auto fc = hn::LoadU(d, shell.fc.data() + n);
    ForEachChebyshev(lanes.x, fc, hn::Mul(fc, lanes.x), plan.numRadius, [&](std::size_t k, auto value) {
        StoreDown(d, value, stride, to.radius + offset * stride + k);
    });
    ClearPadding(plan, offset, to);
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
    const std::size_t stride = plan.radiusStride();
    FillRadius(d, shell, plan, n, lanes.x, to.radius);
    for (std::size_t k = 0; k < plan.numRadius; ++k) {
        const std::size_t place = offset * stride + k;
        StoreDown(d, hn::Load(d, to.radius + 2 * k * laneRow), stride, to.turned.radius + place);
        StoreDown(d, hn::Mul(along, hn::Load(d, to.radius + (2 * k + 1) * laneRow)), stride,
                  to.moved.radius + place);
    }
    ClearPadding(plan, offset, to.turned);
    ClearPadding(plan, offset, to.moved);
    FillTurnedHarmonics(plan, offset, lanes.u, turn, to);
}

// Adds harmonics h to h + count - 1.
template <std::size_t count>
void AddHarmonics(const ClusterPlan& plan, const Factors& factors, std::size_t numNeighbors, std::size_t h,
                  std::span<const float> weights, float* HWY_RESTRICT density) {
    const Columns d;
    const std::size_t radiusStride = plan.radiusStride();
    for (std::size_t column = 0; column < plan.numRadius; column += hn::Lanes(d)) {
        hn::Vec<Columns> sums[count];
        for (std::size_t i = 0; i < count; ++i) {
            sums[i] = hn::Zero(d);
        }
        for (std::size_t n = 0; n < numNeighbors; ++n) {
            const auto radius = hn::Load(d, factors.radius + n * radiusStride + column);
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
    const std::size_t numNeighbors = range.end - range.begin;
    const Factors factors(carver, plan, numNeighbors);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(Lanes())) {
        FillFactors(shell, plan, n, n - range.begin, polynomials, factors);
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
