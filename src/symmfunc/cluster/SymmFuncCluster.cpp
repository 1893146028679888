#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include "base/AlignedBuffer.hpp"
#include "base/Reporting.hpp"
#include "structure/NeighborArrays.hpp"
#include "symmfunc/NeighborCutoffs.hpp"
#include "symmfunc/NeighborShellBuilder.hpp"
#include "symmfunc/cluster/ClusterKernels.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace melta {

// What one thread keeps from call to call, so that only larger neighbourhoods than before allocate.
struct SymmFuncCluster::Workspace {
    NeighborCutoffs cutoffs;
    NeighborShellBuilder builder;
    AlignedBuffer<float> density;   // [numHarmonics][stride]
    AlignedBuffer<float> byDensity; // the same
    AlignedBuffer<float> byValues;  // [numBasis]
    AlignedBuffer<float> gradient;  // [3][neighbours of the shell, padded]
    AlignedBuffer<float> scratch;

    [[nodiscard]] const NeighborShell& shell() const { return builder.shell(); }

    void reserve(const ClusterPlan& plan) {
        const std::size_t length = plan.numHarmonics() * plan.stride();
        density.reserve(length);
        byDensity.reserve(length);
        scratch.reserve(countClusterScratch(plan, shell().size));
    }

    ShellGradient clearGradient() {
        const std::size_t length = shell().size + shellPadding;
        gradient.reserve(3 * length);
        const std::span<float> all = gradient.span().first(3 * length);
        std::ranges::fill(all, 0.0f);
        return currentGradient();
    }

    ShellGradient currentGradient() {
        const std::size_t length = shell().size + shellPadding;
        const std::span<float> all = gradient.span().first(3 * length);
        return {all.first(length), all.subspan(length, length), all.last(length)};
    }
};

SymmFuncCluster::Workspace& SymmFuncCluster::workspace() {
    thread_local Workspace work;
    return work;
}

SymmFuncCluster::SymmFuncCluster(int elems, bool withTanh, const ClusterSettings& settings,
                                 std::span<const float> channelWeights)
    : SymmFunc(elems, withTanh, false), weights(channelWeights.begin(), channelWeights.end()) {
    checkSettings(settings);
    checkWeights();
    setPlan(settings);
}

void SymmFuncCluster::checkSettings(const ClusterSettings& settings) const {
    if (settings.numRadius < 1) {
        stopWithMessage("size of radius basis is not positive.");
    }
    if (settings.bodyOrder < 2 || settings.bodyOrder > 4) {
        stopWithMessage("body order is none of 2, 3 and 4.");
    }
    if (settings.bodyOrder >= 3 && (settings.maxAngular < 1 || settings.maxAngular > largestAngular)) {
        stopWithMessage("angular degree is out of range.");
    }
    if (settings.bodyOrder == 4 && (settings.numRadius4 < 1 || settings.numRadius4 > settings.numRadius)) {
        stopWithMessage("size of four-body radius basis is out of range.");
    }
    if (!(settings.rcutRadius > 0.0f)) {
        stopWithMessage("cutoff for radius is not positive.");
    }
}

void SymmFuncCluster::checkWeights() const {
    if (weights.empty() || weights.size() % static_cast<std::size_t>(numElems) != 0) {
        stopWithMessage("weights of channels do not fit the elements.");
    }
    if (!std::ranges::all_of(weights, [](float weight) { return std::isfinite(weight); })) {
        stopWithMessage("weights of channels are not finite.");
    }
}

void SymmFuncCluster::setPlan(const ClusterSettings& settings) {
    const int maxAngular = settings.bodyOrder >= 3 ? settings.maxAngular : 0;
    plan.numRadius = static_cast<std::size_t>(settings.numRadius);
    plan.numChannels = weights.size() / static_cast<std::size_t>(numElems);
    plan.maxAngular = static_cast<std::size_t>(maxAngular);
    plan.rcut = settings.rcutRadius;
    plan.harmonics = makeHarmonicTables(maxAngular);
    if (settings.bodyOrder == 4) {
        plan.numRadius4 = static_cast<std::size_t>(settings.numRadius4);
        plan.triples = makeClusterTriples(maxAngular);
    }
    // In double precision, because even 64 bits are too few for the largest arguments.
    const auto channels = static_cast<double>(plan.numChannels);
    const double columns = channels * static_cast<double>(plan.numRadius + plan.numRadius4);
    if (columns * (channels + 2.0) * 50.0 > std::numeric_limits<int>::max()) {
        stopWithMessage("too many symmetry functions.");
    }
    numBasis = static_cast<int>(plan.numValues());
}

std::vector<float> SymmFuncCluster::makeChannelWeights(int elems, int channels) {
    std::vector<float> result;
    for (int element = 0; element < elems; ++element) {
        for (int k = 0; k < channels; ++k) {
            // The cosines of a discrete transform, the largest of which is that of the first element.
            const double step = std::numbers::pi * k / elems;
            result.push_back(static_cast<float>(std::cos(step * (element + 0.5)) / std::cos(0.5 * step)));
        }
    }
    return result;
}

std::span<const float> SymmFuncCluster::weightsOf(int element) const {
    return std::span(weights).subspan(static_cast<std::size_t>(element) * plan.numChannels, plan.numChannels);
}

void SymmFuncCluster::computeDensity(const NeighborArrays& neighbors, Workspace& work) const {
    work.cutoffs.update(neighbors, tanhCutoff, plan.rcut, -1.0f);
    work.builder.pickByElement(neighbors, work.cutoffs.fcRadius(), work.cutoffs.dfcRadius(), plan.rcut,
                               numElems);
    work.reserve(plan);
    const std::span<float> density = work.density.span();
    std::ranges::fill(density, 0.0f);
    for (int element = 0; element < numElems; ++element) {
        const NeighborRange range = work.builder.getRange(static_cast<std::size_t>(element));
        addClusterDensity(work.shell(), range, plan, weightsOf(element), density, work.scratch.span());
    }
}

void SymmFuncCluster::calculateAtom(const NeighborArrays& neighbors, std::span<float> symmData,
                                    std::span<float> symmDiff) const {
    std::ranges::fill(symmDiff, 0.0f);
    if (neighbors.size() == 0) {
        std::ranges::fill(symmData, 0.0f);
        return;
    }
    Workspace& work = workspace();
    computeDensity(neighbors, work);
    computeClusterValues(plan, work.density.span(), symmData);
    if (!symmDiff.empty()) {
        computeDerivatives(work, symmDiff);
    }
}

void SymmFuncCluster::computeDerivatives(Workspace& work, std::span<float> symmDiff) const {
    const auto length = static_cast<std::size_t>(numBasis);
    work.byValues.reserve(length);
    const std::span<float> byValues = work.byValues.span().first(length);
    std::ranges::fill(byValues, 0.0f);
    for (std::size_t column = 0; column < length; ++column) {
        byValues[column] = 1.0f;
        computeShellGradient(work, byValues);
        byValues[column] = 0.0f;
        const ShellGradient gradient = work.currentGradient();
        const std::array components{gradient.x, gradient.y, gradient.z};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double sum = 0.0;
            for (std::size_t n = 0; n < work.shell().size; ++n) {
                const auto entry = static_cast<std::size_t>(work.shell().entry[n]);
                symmDiff[(3 * entry + 3 + axis) * length + column] = components[axis][n];
                sum += static_cast<double>(components[axis][n]);
            }
            symmDiff[axis * length + column] = static_cast<float>(-sum);
        }
    }
}

void SymmFuncCluster::computeShellGradient(Workspace& work, std::span<const float> byValues) const {
    const std::span<float> scratch = work.scratch.span();
    const ShellGradient gradient = work.clearGradient();
    computeClusterAdjoint(plan, work.density.span(), byValues, work.byDensity.span(), scratch);
    for (int element = 0; element < numElems; ++element) {
        const NeighborRange range = work.builder.getRange(static_cast<std::size_t>(element));
        if (range.begin < range.end) {
            addClusterGradient(work.shell(), range, plan, weightsOf(element), work.byDensity.span(), gradient,
                               scratch);
        }
    }
}

void SymmFuncCluster::calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                                        std::span<float> byPositions) const {
    std::ranges::fill(byPositions, 0.0f);
    if (neighbors.size() == 0) {
        return;
    }
    Workspace& work = workspace();
    computeDensity(neighbors, work);
    computeShellGradient(work, byValues);
    const ShellGradient gradient = work.currentGradient();
    for (std::size_t n = 0; n < work.shell().size; ++n) {
        const auto entry = static_cast<std::size_t>(work.shell().entry[n]);
        byPositions[entry] = gradient.x[n];
        byPositions[neighbors.size() + entry] = gradient.y[n];
        byPositions[2 * neighbors.size() + entry] = gradient.z[n];
    }
}

} // namespace melta
