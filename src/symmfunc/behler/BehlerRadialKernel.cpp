#include "symmfunc/behler/BehlerKernels.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "symmfunc/behler/BehlerRadialKernel.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

#include "symmfunc/behler/BehlerGaussian-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace melta {
namespace HWY_NAMESPACE {
namespace {

struct RadialWork {
    GaussianColumns gaussians;
    Components u; // [numNeighbors], unit vector towards the neighbour
    BlockSums sums;

    RadialWork(ScratchCarver carver, std::size_t numNeighbors, std::size_t paddedColumns)
        : gaussians(carver, paddedColumns), u(carver, numNeighbors), sums(carver, paddedColumns) {}
};

// Adds one neighbour to the values and sums, and writes its rows.
template <bool withDiff>
void AddRadial(const NeighborShell& shell, std::size_t n, std::size_t i, const BasisBlock& block,
               const RadialWork& work) {
    const Lanes d;
    const auto r = hn::Set(d, shell.r[n]);
    const auto fc = hn::Set(d, shell.fc[n]);
    const auto dfc = hn::Set(d, shell.dfc[n]);
    float* const rows = withDiff ? FindRows(shell, n, block) : nullptr;
    for (std::size_t k = 0; k < block.values.size(); k += hn::Lanes(d)) {
        auto value = hn::Zero(d);
        auto byR = hn::Zero(d);
        CutGaussian(d, hn::Load(d, work.gaussians.width + k), hn::Load(d, work.gaussians.shift + k), r, fc,
                    dfc, value, byR);
        AddRadialTerm<withDiff>(d, value, byR, work.u, i, k, block, work.sums, rows);
    }
}

void Radial(const NeighborShell& shell, NeighborRange range, const BehlerRadialSet& set,
            const BasisBlock& block, std::span<float> scratch) {
    const std::size_t numFunctions = block.values.size();
    const std::size_t padded = hwy::RoundUpTo(numFunctions, shellPadding);
    const std::size_t numNeighbors = hwy::RoundUpTo(range.end - range.begin, shellPadding);
    const RadialWork work(ScratchCarver(scratch), numNeighbors, padded);
    work.gaussians.set(set.eta, set.shift, 0);
    work.gaussians.pad(numFunctions, padded);
    work.sums.clear();
    PrepareDirections(shell, range, work.u, range.begin);
    for (std::size_t n = range.begin; n < range.end; ++n) {
        if (block.diff != nullptr) {
            AddRadial<true>(shell, n, n - range.begin, block, work);
        } else {
            AddRadial<false>(shell, n, n - range.begin, block, work);
        }
    }
    StoreBlock(Lanes(), block, work.sums);
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

std::size_t countBehlerRadialScratch(std::size_t numNeighbors, std::size_t numFunctions) {
    // Three components for each neighbour; two parameters, the value and three sums for each function.
    return 3 * hwy::RoundUpTo(numNeighbors, shellPadding) + 6 * hwy::RoundUpTo(numFunctions, shellPadding);
}

void computeBehlerRadial(const NeighborShell& shell, NeighborRange range, const BehlerRadialSet& set,
                         const BasisBlock& block, std::span<float> scratch) {
    HWY_DYNAMIC_DISPATCH(Radial)(shell, range, set, block, scratch);
}

const char* findBehlerTarget() {
    return HWY_DYNAMIC_DISPATCH(TargetName)();
}

} // namespace melta
#endif
