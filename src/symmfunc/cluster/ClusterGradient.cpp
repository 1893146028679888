// The way back from densities to neighbours. The lanes hold different neighbours.
//
// With b the derivatives by the densities, those of the channels added up with the weights of the element, a
// neighbour has for each harmonic the sums
//
//     A_lm = sum over n of b_nlm g_n,   B_lm = sum over n of b_nlm g_n'
//
// and the gradient by its position is u (sum B_lm Y_lm) + (1 - u u) (sum A_lm dY_lm/du) / r, where Y_lm is
// the polynomial in the components of u of RealHarmonics.hpp. So nothing is kept for each neighbour and
// function.

#include "symmfunc/cluster/ClusterKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/cluster/ClusterGradient.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/cluster/ClusterBasis-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

using Vector = hn::Vec<Lanes>;

struct GradientWork {
    float* HWY_RESTRICT polynomials; // [(L + 1) (L + 2) / 2][laneRow]
    float* HWY_RESTRICT radius;      // [numRadius][2][laneRow], g and its derivative by the distance
    float* HWY_RESTRICT sums;        // [numHarmonics][2][laneRow], A and B
    float* HWY_RESTRICT mixed;       // [numHarmonics][radiusStride], b

    GradientWork(ScratchCarver carver, const ClusterPlan& plan)
        : polynomials(carver.take((plan.maxAngular + 1) * (plan.maxAngular + 2) / 2 * laneRow)),
          radius(carver.take(2 * plan.numRadius * laneRow)),
          sums(carver.take(2 * plan.numHarmonics() * laneRow)),
          mixed(carver.take(plan.numHarmonics() * plan.radiusStride())) {}
};

void MixChannels(const ClusterPlan& plan, std::span<const float> weights, const float* HWY_RESTRICT byDensity,
                 float* HWY_RESTRICT mixed) {
    const Columns d;
    for (std::size_t h = 0; h < plan.numHarmonics(); ++h) {
        for (std::size_t n = 0; n < plan.numRadius; n += hn::Lanes(d)) {
            const float* from = byDensity + h * plan.stride() + n;
            auto sum = hn::Zero(d);
            for (const float weight : weights) {
                sum = hn::MulAdd(hn::Set(d, weight), hn::LoadU(d, from), sum);
                from += plan.numRadius;
            }
            hn::Store(sum, d, mixed + h * plan.radiusStride() + n);
        }
    }
}

// A and B of harmonics h to h + count - 1.
template <std::size_t count>
HWY_INLINE void SumRadius(const ClusterPlan& plan, const GradientWork& work, std::size_t h) {
    const Lanes d;
    const std::size_t stride = plan.radiusStride();
    Vector a[count], b[count];
    for (std::size_t i = 0; i < count; ++i) {
        a[i] = b[i] = hn::Zero(d);
    }
    for (std::size_t n = 0; n < plan.numRadius; ++n) {
        const auto value = hn::Load(d, work.radius + 2 * n * laneRow);
        const auto slope = hn::Load(d, work.radius + (2 * n + 1) * laneRow);
        for (std::size_t i = 0; i < count; ++i) {
            const auto factor = hn::Set(d, work.mixed[(h + i) * stride + n]);
            a[i] = hn::MulAdd(factor, value, a[i]);
            b[i] = hn::MulAdd(factor, slope, b[i]);
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        hn::Store(a[i], d, work.sums + 2 * (h + i) * laneRow);
        hn::Store(b[i], d, work.sums + (2 * (h + i) + 1) * laneRow);
    }
}

void SumAllRadii(const ClusterPlan& plan, const GradientWork& work) {
    constexpr std::size_t atOnce = 4;
    const std::size_t numHarmonics = plan.numHarmonics();
    std::size_t h = 0;
    for (; h + atOnce <= numHarmonics; h += atOnce) {
        SumRadius<atOnce>(plan, work, h);
    }
    for (; h < numHarmonics; ++h) {
        SumRadius<1>(plan, work, h);
    }
}

// The sums over the harmonics: of B Y, and of A times the derivatives of Y by the components of u.
struct HarmonicSums {
    Vector along;
    VectorLanes<Vector> across;
};

// The harmonics of one order, both signs: B p, A p and A dp/dz, added up over the degrees.
struct OrderSums {
    Vector along[2], value[2], slope[2];

    HWY_INLINE OrderSums(const ClusterPlan& plan, const GradientWork& work, std::size_t m) {
        const Lanes d;
        for (std::size_t side = 0; side < 2; ++side) {
            along[side] = value[side] = slope[side] = hn::Zero(d);
        }
        for (std::size_t l = m; l <= plan.maxAngular; ++l) {
            const std::size_t place = l * (l + 1) / 2 + m;
            const float* const polynomial = work.polynomials + place * laneRow;
            const auto p = hn::Load(d, polynomial);
            // Its factor is zero where there is no next one.
            const auto next = hn::Load(d, m < l ? polynomial + laneRow : polynomial);
            const auto dp = hn::Mul(hn::Set(d, plan.harmonics.ofSlope[place]), next);
            for (std::size_t side = 0; side < 2; ++side) {
                const std::size_t h = l * (l + 1) + (side == 0 ? m : -m);
                const auto a = hn::Load(d, work.sums + 2 * h * laneRow);
                const auto b = hn::Load(d, work.sums + (2 * h + 1) * laneRow);
                along[side] = hn::MulAdd(b, p, along[side]);
                value[side] = hn::MulAdd(a, p, value[side]);
                slope[side] = hn::MulAdd(a, dp, slope[side]);
            }
        }
    }
};

HWY_INLINE HarmonicSums SumHarmonics(const ClusterPlan& plan, const VectorLanes<Vector>& u,
                                     const GradientWork& work) {
    const Lanes d;
    FillPolynomials(d, plan.harmonics, u.z, work.polynomials);
    HarmonicSums sums{hn::Zero(d), {hn::Zero(d), hn::Zero(d), hn::Zero(d)}};
    ForEachOrder(d, plan.maxAngular, u.x, u.y, [&](std::size_t m, auto c, auto s, auto lastC, auto lastS) {
        const OrderSums order(plan, work, m);
        const auto times = hn::Set(d, static_cast<float>(m));
        sums.along = hn::MulAdd(order.along[0], c, hn::MulAdd(order.along[1], s, sums.along));
        sums.across.z = hn::MulAdd(order.slope[0], c, hn::MulAdd(order.slope[1], s, sums.across.z));
        const auto byX = hn::MulAdd(order.value[0], lastC, hn::Mul(order.value[1], lastS));
        const auto byY = hn::MulSub(order.value[1], lastC, hn::Mul(order.value[0], lastS));
        sums.across.x = hn::MulAdd(times, byX, sums.across.x);
        sums.across.y = hn::MulAdd(times, byY, sums.across.y);
    });
    return sums;
}

void AddGradient(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                 std::span<const float> weights, std::span<const float> byDensity,
                 const ShellGradient& result, std::span<float> scratch) {
    const Lanes d;
    const GradientWork work(ScratchCarver(scratch), plan);
    MixChannels(plan, weights, byDensity.data(), work.mixed);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const NeighborLanes<Vector> lanes(d, shell, n, plan.rcut);
        FillRadius(d, shell, plan, n, lanes.x, work.radius);
        SumAllRadii(plan, work);
        const HarmonicSums sums = SumHarmonics(plan, lanes.u, work);
        // The part of `across` along u is taken away.
        const auto along = hn::NegMulAdd(Dot(lanes.u, sums.across), lanes.inverse, sums.along);
        const auto isInside = hn::FirstN(d, range.end - n);
        const auto add = [&](Vector u, Vector across, std::span<float> to) {
            const auto gradient = hn::MulAdd(along, u, hn::Mul(lanes.inverse, across));
            float* const place = to.data() + n;
            hn::StoreU(hn::Add(hn::LoadU(d, place), hn::IfThenElseZero(isInside, gradient)), d, place);
        };
        add(lanes.u.x, sums.across.x, result.x);
        add(lanes.u.y, sums.across.y, result.y);
        add(lanes.u.z, sums.across.z, result.z);
    }
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(AddGradient);

std::size_t countClusterScratch(const ClusterPlan& plan, std::size_t numNeighbors) {
    const std::size_t rowLength = hwy::RoundUpTo(numNeighbors, shellPadding);
    const std::size_t polynomials = (plan.maxAngular + 1) * (plan.maxAngular + 2) / 2 * shellPadding;
    const std::size_t tangent =
        2 * rowLength * (plan.radiusStride() + plan.numHarmonics()) + 2 * plan.numRadius * shellPadding;
    const std::size_t gradient =
        plan.numHarmonics() * (plan.radiusStride() + 2 * shellPadding) + 2 * plan.numRadius * shellPadding;
    return polynomials + std::max({tangent, gradient, 2 * plan.stride()});
}

void addClusterGradient(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                        std::span<const float> weights, std::span<const float> byDensity,
                        const ShellGradient& result, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(AddGradient)(shell, range, plan, weights, byDensity, result, scratch);
}

} // namespace melta
#endif
