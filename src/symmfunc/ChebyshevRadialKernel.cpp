#include "symmfunc/ChebyshevKernels.hpp"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/ChebyshevRadialKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/ChebyshevRotation-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Per-neighbour numbers of a radial block, [numNeighbors] each, and its sums.
struct RadialWork {
    std::size_t stride; // length of a padded row of orders
    StagedPowers powers;
    float* HWY_RESTRICT ux; // unit vector towards the neighbour
    float* HWY_RESTRICT uy;
    float* HWY_RESTRICT uz;
    float* HWY_RESTRICT slope;  // factor of k sin(k theta) in the derivative by r
    float* HWY_RESTRICT values; // [stride]
    float* HWY_RESTRICT sums;   // [3][stride], of the neighbours' rows

    RadialWork(ScratchCarver carver, std::size_t numNeighbors, std::size_t paddedOrders)
        : stride(paddedOrders), powers(carver, numNeighbors), ux(carver.take(numNeighbors)),
          uy(carver.take(numNeighbors)), uz(carver.take(numNeighbors)), slope(carver.take(numNeighbors)),
          values(carver.take(stride)), sums(carver.take(3 * stride)) {}
};

void StageRadial(const ChebyshevShell& shell, ChebyshevRange range, float rcut, const RadialWork& work) {
    const Lanes d;
    const auto one = hn::Set(d, 1.0f);
    const auto two = hn::Set(d, 2.0f);
    const auto radius = hn::Set(d, rcut);
    const auto inverseRadius = hn::Set(d, 1.0f / rcut);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const std::size_t i = n - range.begin;
        const auto r = hn::LoadU(d, shell.r.data() + n);
        const auto inverse = hn::Div(one, r);
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.dx.data() + n), inverse), d, work.ux + i);
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.dy.data() + n), inverse), d, work.uy + i);
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.dz.data() + n), inverse), d, work.uz + i);
        // x = 2 r / rcut - 1 and 1 - x^2 = 4 (r / rcut) (rcut - r) / rcut, which is exact at the cutoff.
        const auto ratio = hn::Mul(r, inverseRadius);
        const auto gap = hn::Mul(hn::Sub(radius, r), inverseRadius);
        const auto x = hn::Min(hn::MulSub(two, ratio, one), one);
        const auto squaredSine =
            hn::Max(hn::Mul(hn::Set(d, 4.0f), hn::Mul(ratio, gap)), hn::Set(d, smallestSquaredSine));
        const auto inverseSine = ReciprocalRoot(d, squaredSine);
        StagePowers(d, x, hn::Mul(squaredSine, inverseSine), i, work.powers);
        const auto scale = hn::Mul(hn::Mul(two, inverseRadius), inverseSine);
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.fc.data() + n), scale), d, work.slope + i);
    }
}

// Adds one neighbour to the values and sums, and writes its rows.
template <bool withDiff>
void AddRadial(const ChebyshevShell& shell, std::size_t n, std::size_t i, const ChebyshevBlock& block,
               const RadialWork& work) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const std::size_t numOrders = block.values.size();
    const auto fc = hn::Set(d, shell.fc[n]);
    const auto dfc = hn::Set(d, shell.dfc[n]);
    const auto slope = hn::Set(d, work.slope[i]);
    const auto stepCos = hn::Set(d, work.powers.stepCos[i]);
    const auto stepSin = hn::Set(d, work.powers.stepSin[i]);
    const float* const directions[3] = {work.ux + i, work.uy + i, work.uz + i};
    float* const rows =
        withDiff ? block.diff + 3 * (static_cast<std::size_t>(shell.entry[n]) + 1) * block.rowStride
                 : nullptr;

    auto c = hn::Zero(d);
    auto s = hn::Zero(d);
    FirstOrders(d, work.powers, i, BlockIndices(d), c, s);
    for (std::size_t k = 0; k < numOrders; k += numLanes) {
        hn::Store(hn::MulAdd(fc, c, hn::Load(d, work.values + k)), d, work.values + k);
        if constexpr (withDiff) {
            const auto order = hn::Iota(d, static_cast<float>(k));
            const auto byR = hn::MulAdd(dfc, c, hn::Mul(slope, hn::Mul(order, s)));
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const auto row = hn::Mul(hn::Set(d, *directions[axis]), byR);
                float* const sum = work.sums + axis * work.stride + k;
                hn::Store(hn::Add(hn::Load(d, sum), row), d, sum);
                StorePart(d, row, numOrders - k, rows + axis * block.rowStride + k);
            }
        }
        Rotate(c, s, stepCos, stepSin);
    }
}

void Radial(const ChebyshevShell& shell, ChebyshevRange range, float rcut, const ChebyshevBlock& block,
            std::span<float> scratch) {
    const Lanes d;
    const std::size_t padded = hwy::RoundUpTo(block.values.size(), chebyshevPadding);
    const std::size_t numNeighbors = hwy::RoundUpTo(range.end - range.begin, chebyshevPadding);
    const RadialWork work(ScratchCarver(scratch), numNeighbors, padded);
    std::fill_n(work.values, padded, 0.0f);
    std::fill_n(work.sums, 3 * padded, 0.0f);
    StageRadial(shell, range, rcut, work);
    for (std::size_t n = range.begin; n < range.end; ++n) {
        if (block.diff != nullptr) {
            AddRadial<true>(shell, n, n - range.begin, block, work);
        } else {
            AddRadial<false>(shell, n, n - range.begin, block, work);
        }
    }
    StoreBlock(d, block, work.values, work.sums, padded);
}

const char* TargetName() {
    return hwy::TargetName(HWY_TARGET);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace melta
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta {

HWY_EXPORT(Radial);
HWY_EXPORT(TargetName);

void computeChebyshevRadial(const ChebyshevShell& shell, ChebyshevRange range, float rcut,
                            const ChebyshevBlock& block, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(Radial)(shell, range, rcut, block, scratch);
}

const char* obtainChebyshevTarget() {
    return HWY_DYNAMIC_DISPATCH(TargetName)();
}

} // namespace melta
#endif
