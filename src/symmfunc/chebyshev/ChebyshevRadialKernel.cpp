#include "symmfunc/chebyshev/ChebyshevKernels.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/chebyshev/ChebyshevRadialKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/chebyshev/ChebyshevRadius-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

// Per-neighbour numbers of a radial block, [numNeighbors] each, and its sums.
struct RadialWork {
    StagedPowers powers;
    Components u;              // unit vector towards the neighbour
    float* HWY_RESTRICT slope; // factor of k sin(k theta) in the derivative by r
    BlockSums sums;

    RadialWork(ScratchCarver carver, std::size_t numNeighbors, std::size_t paddedOrders)
        : powers(carver, numNeighbors), u(carver, numNeighbors), slope(carver.take(numNeighbors)),
          sums(carver, paddedOrders) {}
};

void StageRadial(const NeighborShell& shell, NeighborRange range, float rcut, const RadialWork& work) {
    const Lanes d;
    PrepareDirections(shell, range, work.u, range.begin);
    for (std::size_t n = range.begin; n < range.end; n += hn::Lanes(d)) {
        const std::size_t i = n - range.begin;
        const MappedRadius mapped(d, hn::LoadU(d, shell.r.data() + n), rcut);
        StagePowers(d, mapped.cosine, mapped.sine, i, work.powers);
        hn::StoreU(hn::Mul(hn::LoadU(d, shell.fc.data() + n), mapped.scale), d, work.slope + i);
    }
}

// Adds one neighbour to the values and sums, and writes its rows.
template <bool withDiff>
void AddRadial(const NeighborShell& shell, std::size_t n, std::size_t i, const BasisBlock& block,
               const RadialWork& work) {
    const Lanes d;
    const std::size_t numLanes = hn::Lanes(d);
    const std::size_t numOrders = block.values.size();
    const auto fc = hn::Set(d, shell.fc[n]);
    const auto dfc = hn::Set(d, shell.dfc[n]);
    const auto slope = hn::Set(d, work.slope[i]);
    const auto stepCos = hn::Set(d, work.powers.stepCos[i]);
    const auto stepSin = hn::Set(d, work.powers.stepSin[i]);
    float* const rows = withDiff ? FindRows(shell, n, block) : nullptr;

    auto c = hn::Zero(d);
    auto s = hn::Zero(d);
    FirstOrders(d, work.powers, i, BlockIndices(d), c, s);
    for (std::size_t k = 0; k < numOrders; k += numLanes) {
        const auto order = hn::Iota(d, static_cast<float>(k));
        const auto byR = hn::MulAdd(dfc, c, hn::Mul(slope, hn::Mul(order, s)));
        AddRadialTerm<withDiff>(d, hn::Mul(fc, c), byR, work.u, i, k, block, work.sums, rows);
        Rotate(c, s, stepCos, stepSin);
    }
}

void Radial(const NeighborShell& shell, NeighborRange range, float rcut, const BasisBlock& block,
            std::span<float> scratch) {
    const Lanes d;
    const std::size_t padded = hwy::RoundUpTo(block.values.size(), shellPadding);
    const std::size_t numNeighbors = hwy::RoundUpTo(range.end - range.begin, shellPadding);
    const RadialWork work(ScratchCarver(scratch), numNeighbors, padded);
    work.sums.clear();
    StageRadial(shell, range, rcut, work);
    for (std::size_t n = range.begin; n < range.end; ++n) {
        if (block.diff != nullptr) {
            AddRadial<true>(shell, n, n - range.begin, block, work);
        } else {
            AddRadial<false>(shell, n, n - range.begin, block, work);
        }
    }
    StoreBlock(d, block, work.sums);
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

void computeChebyshevRadial(const NeighborShell& shell, NeighborRange range, float rcut,
                            const BasisBlock& block, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(Radial)(shell, range, rcut, block, scratch);
}

const char* findChebyshevTarget() {
    return HWY_DYNAMIC_DISPATCH(TargetName)();
}

} // namespace melta
#endif
