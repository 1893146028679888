#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include "base/AlignedBuffer.hpp"
#include "base/Reporting.hpp"
#include "structure/NeighborArrays.hpp"
#include "symmfunc/NeighborCutoffs.hpp"
#include "symmfunc/NeighborShellBuilder.hpp"
#include "symmfunc/ShellGradientBuffer.hpp"
#include "symmfunc/cluster/ClusterBundle.hpp"
#include "symmfunc/cluster/ClusterKernels.hpp"
#include "symmfunc/cluster/ClusterWeightGradient.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

namespace melta {

namespace {

void requireFit(bool isFitting) {
    if (!isFitting) {
        stopWithMessage("weights of channels do not fit the elements.");
    }
}

void requireFinite(std::span<const float> weights) {
    if (!std::ranges::all_of(weights, [](float weight) { return std::isfinite(weight); })) {
        stopWithMessage("weights of channels are not finite.");
    }
}

} // namespace

// What one thread keeps from call to call, so that only larger neighbourhoods than before allocate.
struct SymmFuncCluster::Workspace {
    NeighborCutoffs cutoffs;
    NeighborShellBuilder builder;
    AlignedBuffer<float> density;   // [numHarmonics][stride]
    AlignedBuffer<float> byDensity; // the same
    AlignedBuffer<float> tangent;   // the same
    ShellGradientBuffer vectors;    // gradient or directions
    AlignedBuffer<float> scratch;
    std::vector<float> byValues; // [numBasis]
    ClusterWeightGradient byWeights;
    ClusterBundle bundle;

    [[nodiscard]] const NeighborShell& shell() const { return builder.shell(); }

    void reserve(const ClusterPlan& plan) {
        const std::size_t length = plan.numHarmonics() * plan.stride();
        density.reserve(length);
        byDensity.reserve(length);
        tangent.reserve(length);
        scratch.reserve(countClusterScratch(plan, shell().size));
    }

    ShellGradient clearVectors() { return vectors.clear(shell().size + shellPadding); }

    // From the order of the neighbour list.
    NeighborDirections gatherDirections(std::span<const float> directions) {
        const ShellGradient to = clearVectors();
        const std::size_t length = directions.size() / 3;
        for (std::size_t n = 0; n < shell().size; ++n) {
            const auto entry = static_cast<std::size_t>(shell().entry[n]);
            to.x[n] = directions[entry];
            to.y[n] = directions[length + entry];
            to.z[n] = directions[2 * length + entry];
        }
        return {to.x, to.y, to.z};
    }

    std::span<float> clearTangent() {
        tangent.setZero();
        return tangent.span();
    }
};

SymmFuncCluster::Workspace& SymmFuncCluster::workspace() {
    thread_local Workspace work;
    return work;
}

SymmFuncCluster::SymmFuncCluster(int elems, bool withTanh, const ClusterSettings& settings,
                                 std::span<const float> channelWeights)
    : SymmFunc(elems, withTanh, false) {
    checkSettings(settings);
    requireFit(!channelWeights.empty() && channelWeights.size() % static_cast<std::size_t>(numElems) == 0);
    for (int central = 0; central < numElems; ++central) {
        weights.insert(weights.end(), channelWeights.begin(), channelWeights.end());
    }
    requireFinite(weights);
    setPlan(settings, channelWeights.size() / static_cast<std::size_t>(numElems));
}

void SymmFuncCluster::setElementWeights(std::span<const float> elementWeights) {
    requireFit(elementWeights.size() == weights.size());
    requireFinite(elementWeights);
    std::ranges::copy(elementWeights, weights.begin());
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

void SymmFuncCluster::setPlan(const ClusterSettings& settings, std::size_t numChannels) {
    const int maxAngular = settings.bodyOrder >= 3 ? settings.maxAngular : 0;
    plan.numRadius = static_cast<std::size_t>(settings.numRadius);
    plan.numChannels = numChannels;
    plan.maxAngular = static_cast<std::size_t>(maxAngular);
    plan.rcut = settings.rcutRadius;
    plan.harmonics = makeHarmonicTables(maxAngular);
    if (settings.bodyOrder == 4) {
        plan.numRadius4 = static_cast<std::size_t>(settings.numRadius4);
        plan.triples = makeClusterTriples(maxAngular);
    }
    if (countFunctions(settings, static_cast<int>(numChannels)) > std::numeric_limits<int>::max() / 16.0) {
        stopWithMessage("too many symmetry functions.");
    }
    numBasis = static_cast<int>(plan.numValues());
    planOfOne = plan;
    planOfOne.numChannels = 1;
}

double SymmFuncCluster::countFunctions(const ClusterSettings& settings, int numChannels) {
    const double radius = settings.numRadius;
    const double pairs = 0.5 * numChannels * (numChannels - 1.0);
    double count = numChannels * radius;
    if (settings.bodyOrder >= 3) {
        count += settings.maxAngular * (numChannels * (2.0 * radius - 1.0) + pairs * radius);
    }
    if (settings.bodyOrder == 4) {
        count +=
            numChannels * static_cast<double>(countClusterTriples(settings.maxAngular)) * settings.numRadius4;
    }
    return count;
}

// The cosines of a discrete transform, each channel divided by its largest.
std::vector<float> SymmFuncCluster::makeChannelWeights(int elems, int channels) {
    const auto stride = static_cast<std::size_t>(channels);
    std::vector<float> result(static_cast<std::size_t>(elems) * stride);
    for (int k = 0; k < channels; ++k) {
        std::vector<double> cosines;
        double largest = 0.0;
        for (int element = 0; element < elems; ++element) {
            cosines.push_back(std::cos(std::numbers::pi * k * (element + 0.5) / elems));
            largest = std::max(largest, std::fabs(cosines.back()));
        }
        for (std::size_t element = 0; element < cosines.size(); ++element) {
            result[element * stride + static_cast<std::size_t>(k)] =
                static_cast<float>(cosines[element] / largest);
        }
    }
    return result;
}

std::span<const float> SymmFuncCluster::weightsOf(int central) const {
    const std::size_t length = weights.size() / static_cast<std::size_t>(numElems);
    return std::span(weights).subspan(static_cast<std::size_t>(central) * length, length);
}

std::span<const float> SymmFuncCluster::weightsOf(int central, int element) const {
    return weightsOf(central).subspan(static_cast<std::size_t>(element) * plan.numChannels, plan.numChannels);
}

void SymmFuncCluster::takeNeighbors(const NeighborArrays& neighbors, Workspace& work) const {
    work.cutoffs.update(neighbors, tanhCutoff, plan.rcut, -1.0f);
    work.builder.pickByElement(neighbors, work.cutoffs.fcRadius(), work.cutoffs.dfcRadius(), plan.rcut,
                               numElems);
    work.reserve(plan);
}

void SymmFuncCluster::computeDensity(const NeighborArrays& neighbors, Workspace& work) const {
    takeNeighbors(neighbors, work);
    const std::span<float> density = work.density.span();
    std::ranges::fill(density, 0.0f);
    for (int element = 0; element < numElems; ++element) {
        const NeighborRange range = work.builder.getRange(static_cast<std::size_t>(element));
        addClusterDensity(work.shell(), range, plan, weightsOf(neighbors.getCentralElement(), element),
                          density, work.scratch.span());
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
        computeDerivatives(neighbors.getCentralElement(), work, symmDiff);
    }
}

// Each neighbour moves along each axis, which fills a row.
void SymmFuncCluster::computeDerivatives(int central, Workspace& work, std::span<float> symmDiff) const {
    const auto length = static_cast<std::size_t>(numBasis);
    const ShellGradient steps = work.clearVectors();
    const std::array components{steps.x, steps.y, steps.z};
    for (int element = 0; element < numElems; ++element) {
        const NeighborRange range = work.builder.getRange(static_cast<std::size_t>(element));
        for (std::size_t n = range.begin; n < range.end; ++n) {
            const auto entry = static_cast<std::size_t>(work.shell().entry[n]);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const std::span<float> tangent = work.clearTangent();
                components[axis][n] = 1.0f;
                addClusterTangent(work.shell(), {n, n + 1}, plan, weightsOf(central, element),
                                  {steps.x, steps.y, steps.z}, tangent, work.scratch.span());
                components[axis][n] = 0.0f;
                const std::span<float> row = symmDiff.subspan((3 * entry + 3 + axis) * length, length);
                computeClusterValueTangent(plan, work.density.span(), tangent, row);
                const std::span<float> own = symmDiff.subspan(axis * length, length);
                std::ranges::transform(own, row, own.begin(), std::minus<>());
            }
        }
    }
}

void SymmFuncCluster::calculateTangent(const NeighborArrays& neighbors, std::span<const float> directions,
                                       std::span<float> changes) const {
    calculateTangents(neighbors, directions, changes);
}

void SymmFuncCluster::calculateTangents(const NeighborArrays& neighbors, std::span<const float> directions,
                                        std::span<float> changes) const {
    if (neighbors.size() == 0) {
        std::ranges::fill(changes, 0.0f);
        return;
    }
    Workspace& work = workspace();
    computeDensity(neighbors, work);
    const auto length = static_cast<std::size_t>(numBasis);
    const std::size_t numPositions = 3 * neighbors.size();
    const ClusterNeighborhood hood{plan, work.builder, weightsOf(neighbors.getCentralElement()),
                                   work.density.span()};
    for (std::size_t column = work.bundle.calculateTangents(hood, directions, changes);
         column < changes.size() / length; ++column) {
        addColumnTangent(neighbors.getCentralElement(),
                         directions.subspan(column * numPositions, numPositions), work,
                         changes.subspan(column * length, length));
    }
}

void SymmFuncCluster::addColumnTangent(int central, std::span<const float> directions, Workspace& work,
                                       std::span<float> changes) const {
    const NeighborDirections moves = work.gatherDirections(directions);
    const std::span<float> tangent = work.clearTangent();
    for (int element = 0; element < numElems; ++element) {
        const NeighborRange range = work.builder.getRange(static_cast<std::size_t>(element));
        addClusterTangent(work.shell(), range, plan, weightsOf(central, element), moves, tangent,
                          work.scratch.span());
    }
    computeClusterValueTangent(plan, work.density.span(), tangent, changes);
}

void SymmFuncCluster::calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                                        std::span<float> byPositions) const {
    calculateGradients(neighbors, byValues, byPositions);
}

void SymmFuncCluster::calculateGradients(const NeighborArrays& neighbors, std::span<const float> byValues,
                                         std::span<float> byPositions) const {
    std::ranges::fill(byPositions, 0.0f);
    if (neighbors.size() == 0) {
        return;
    }
    Workspace& work = workspace();
    computeDensity(neighbors, work);
    const auto length = static_cast<std::size_t>(numBasis);
    const std::size_t numPositions = 3 * neighbors.size();
    const ClusterNeighborhood hood{plan, work.builder, weightsOf(neighbors.getCentralElement()),
                                   work.density.span()};
    for (std::size_t column = work.bundle.calculateGradients(hood, byValues, byPositions);
         column < byValues.size() / length; ++column) {
        addColumnGradient(neighbors.getCentralElement(), byValues.subspan(column * length, length), work,
                          byPositions.subspan(column * numPositions, numPositions));
    }
}

void SymmFuncCluster::addColumnGradient(int central, std::span<const float> byValues, Workspace& work,
                                        std::span<float> byPositions) const {
    computeClusterAdjoint(plan, work.density.span(), byValues, work.byDensity.span(), work.scratch.span());
    const ShellGradient gradient = work.clearVectors();
    for (int element = 0; element < numElems; ++element) {
        const NeighborRange range = work.builder.getRange(static_cast<std::size_t>(element));
        if (range.begin < range.end) {
            addClusterGradient(work.shell(), range, plan, weightsOf(central, element), work.byDensity.span(),
                               gradient, work.scratch.span());
        }
    }
    work.vectors.addTo(work.shell().entry, byPositions);
}

// What is to be multiplied with the values is the same for all columns, which are added up first.
void SymmFuncCluster::addElementWeightGradients(const NeighborArrays& neighbors,
                                                std::span<const float> byValues,
                                                std::span<const float> bySlopes,
                                                std::span<const float> directions,
                                                std::span<float> gradients) const {
    if (neighbors.size() == 0) {
        return;
    }
    Workspace& work = workspace();
    takeNeighbors(neighbors, work);
    const auto length = static_cast<std::size_t>(numBasis);
    work.byValues.assign(length, 0.0f);
    for (std::size_t first = 0; first < byValues.size(); first += length) {
        std::ranges::transform(work.byValues, byValues.subspan(first, length), work.byValues.begin(),
                               std::plus<>());
    }
    const std::span<const float> ofCentral = weightsOf(neighbors.getCentralElement());
    work.byWeights.start(planOfOne, plan, work.builder, ofCentral, work.scratch.span());
    work.byWeights.addValues(work.byValues);
    const std::size_t numPositions = 3 * neighbors.size();
    for (std::size_t column = 0; column < bySlopes.size() / length; ++column) {
        const auto moves = work.gatherDirections(directions.subspan(column * numPositions, numPositions));
        work.byWeights.addSlopes(bySlopes.subspan(column * length, length), moves);
    }
    work.byWeights.addTo(gradients);
}

} // namespace melta
