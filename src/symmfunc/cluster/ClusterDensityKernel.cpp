// The way forth from neighbours to densities.
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

struct DensityWork {
    std::size_t rowLength;           // length of a row of neighbours
    float* HWY_RESTRICT polynomials; // [(L + 1) (L + 2) / 2][laneRow]
    float* HWY_RESTRICT radius;      // [numNeighbors][radiusStride]
    float* HWY_RESTRICT harmonics;   // [numHarmonics][rowLength]

    DensityWork(ScratchCarver carver, const ClusterPlan& plan, std::size_t numNeighbors)
        : rowLength(hwy::RoundUpTo(numNeighbors, laneRow)),
          polynomials(carver.take((plan.maxAngular + 1) * (plan.maxAngular + 2) / 2 * laneRow)),
          radius(carver.take(rowLength * plan.radiusStride())),
          harmonics(carver.take(plan.numHarmonics() * rowLength)) {}
};

// Writes a lane to each row.
template <class V>
HWY_INLINE void StoreDown(Lanes d, V v, std::size_t stride, float* HWY_RESTRICT to) {
    HWY_ALIGN float lanes[laneRow];
    hn::Store(v, d, lanes);
    for (std::size_t i = 0; i < hn::Lanes(d); ++i) {
        to[i * stride] = lanes[i];
    }
}

void FillRadius(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan, std::size_t n,
                hn::Vec<Lanes> x, const DensityWork& work) {
    const Lanes d;
    const std::size_t stride = plan.radiusStride();
    float* const rows = work.radius + (n - range.begin) * stride;
    const auto fc = hn::IfThenElseZero(hn::FirstN(d, range.end - n), hn::LoadU(d, shell.fc.data() + n));
    ForEachChebyshev(x, fc, hn::Mul(fc, x), plan.numRadius,
                     [&](std::size_t k, auto value) { StoreDown(d, value, stride, rows + k); });
    for (std::size_t k = plan.numRadius; k < stride; ++k) {
        StoreDown(d, hn::Zero(d), stride, rows + k);
    }
}

void FillHarmonics(const ClusterPlan& plan, std::size_t offset, const VectorLanes<hn::Vec<Lanes>>& u,
                   const DensityWork& work) {
    const Lanes d;
    FillPolynomials(d, plan.harmonics, u.z, work.polynomials);
    ForEachOrder(d, plan.maxAngular, u.x, u.y, [&](std::size_t m, auto c, auto s, auto, auto) {
        for (std::size_t l = m; l <= plan.maxAngular; ++l) {
            const auto p = hn::Load(d, work.polynomials + (l * (l + 1) / 2 + m) * laneRow);
            float* const middle = work.harmonics + l * (l + 1) * work.rowLength + offset;
            hn::Store(hn::Mul(p, s), d, middle - m * work.rowLength);
            hn::Store(hn::Mul(p, c), d, middle + m * work.rowLength);
        }
    });
}

// Adds harmonics h to h + count - 1.
template <std::size_t count>
void AddHarmonics(const ClusterPlan& plan, const DensityWork& work, std::size_t numNeighbors, std::size_t h,
                  std::span<const float> weights, float* HWY_RESTRICT density) {
    const Columns d;
    const std::size_t radiusStride = plan.radiusStride();
    for (std::size_t column = 0; column < plan.numRadius; column += hn::Lanes(d)) {
        hn::Vec<Columns> sums[count];
        for (std::size_t i = 0; i < count; ++i) {
            sums[i] = hn::Zero(d);
        }
        for (std::size_t n = 0; n < numNeighbors; ++n) {
            const auto radius = hn::Load(d, work.radius + n * radiusStride + column);
            for (std::size_t i = 0; i < count; ++i) {
                sums[i] =
                    hn::MulAdd(hn::Set(d, work.harmonics[(h + i) * work.rowLength + n]), radius, sums[i]);
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
void AddAllHarmonics(const ClusterPlan& plan, const DensityWork& work, std::size_t numNeighbors,
                     std::span<const float> weights, float* HWY_RESTRICT density) {
    const std::size_t numHarmonics = plan.numHarmonics();
    std::size_t h = 0;
    for (; h + 8 <= numHarmonics && h + 9 != numHarmonics; h += 8) {
        AddHarmonics<8>(plan, work, numNeighbors, h, weights, density);
    }
    if (h + 9 == numHarmonics) {
        AddHarmonics<9>(plan, work, numNeighbors, h, weights, density);
    } else if (h + 4 == numHarmonics) {
        AddHarmonics<4>(plan, work, numNeighbors, h, weights, density);
    } else if (h + 1 == numHarmonics) {
        AddHarmonics<1>(plan, work, numNeighbors, h, weights, density);
    }
}

void AddDensity(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                std::span<const float> weights, std::span<float> density, std::span<float> scratch) {
    const Lanes d;
    const std::size_t numNeighbors = range.end - range.begin;
    const DensityWork work(ScratchCarver(scratch), plan, numNeighbors);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const NeighborLanes<hn::Vec<Lanes>> lanes(d, shell, n, plan.rcut);
        FillRadius(shell, range, plan, n, lanes.x, work);
        FillHarmonics(plan, n - range.begin, lanes.u, work);
    }
    AddAllHarmonics(plan, work, numNeighbors, weights, density.data());
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(AddDensity);

void addClusterDensity(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                       std::span<const float> weights, std::span<float> density, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AddDensity)(shell, range, plan, weights, density, scratch);
}

} // namespace melta
#endif
