#include "symmfunc/cluster/ClusterBundle.hpp"

#include "symmfunc/cluster/ClusterBundleKernels.hpp"

#include <algorithm>

namespace melta {

namespace {

// As many columns as cost less in a bundle than one after the other, which take vectors of neighbours.
constexpr std::size_t fewestColumns = 4;

// Calls visit(element's neighbours, weights) for the elements that have neighbours.
template <class Visit>
void forEachElement(const ClusterNeighborhood& hood, Visit&& visit) {
    const std::size_t numChannels = hood.plan.numChannels;
    for (std::size_t element = 0; element < hood.weights.size() / numChannels; ++element) {
        const NeighborRange range = hood.builder.getRange(element);
        if (range.begin < range.end) {
            visit(range, hood.weights.subspan(element * numChannels, numChannels));
        }
    }
}

} // namespace

ClusterBundle::Cut ClusterBundle::findCut(std::size_t numLeft) {
    const std::size_t lanes = findClusterLanes(numLeft);
    const std::size_t take = std::min(numLeft, lanes);
    return {take < fewestColumns ? 0 : take, lanes};
}

void ClusterBundle::prepare(const ClusterNeighborhood& hood, std::size_t numNeighbors, std::size_t numLanes) {
    const ClusterPlan& plan = hood.plan;
    lanes = numLanes;
    numPositions = 3 * numNeighbors * lanes;
    values.reserve(plan.numValues() * lanes);
    densities.reserve(plan.numHarmonics() * plan.startOfSquares() * lanes);
    positions.reserve(numPositions);
    scratch.reserve(countClusterBundleScratch(plan));
}

void ClusterBundle::prepareJacobian(const ClusterNeighborhood& hood) {
    const std::size_t length = countClusterJacobian(hood.plan);
    jacobian.reserve(length);
    computeClusterJacobian(hood.plan, hood.density, jacobian.span().first(length));
}

// `numComponents`: those of the neighbours of all columns.
template <class Visit>
std::size_t ClusterBundle::visitCuts(const ClusterNeighborhood& hood, std::size_t numColumns,
                                     std::size_t numComponents, Visit&& visit) {
    std::size_t column = 0;
    for (Cut cut = findCut(numColumns); cut.take > 0; cut = findCut(numColumns - column)) {
        prepare(hood, numComponents / numColumns / 3, cut.lanes);
        if (column == 0) {
            prepareJacobian(hood);
        }
        visit(column, cut.take);
        column += cut.take;
    }
    return column;
}

std::size_t ClusterBundle::calculateGradients(const ClusterNeighborhood& hood,
                                              std::span<const float> byValues, std::span<float> byPositions) {
    const std::size_t numValues = hood.plan.numValues();
    const std::size_t numColumns = byValues.size() / numValues;
    return visitCuts(hood, numColumns, byPositions.size(), [&](std::size_t column, std::size_t count) {
        const std::size_t length = byPositions.size() / numColumns;
        gatherClusterColumns(byValues.subspan(column * numValues, count * numValues), count, lanes,
                             values.span());
        sendBack(hood);
        scatterClusterRows(positions.span(), lanes, count,
                           byPositions.subspan(column * length, count * length));
    });
}

std::size_t ClusterBundle::calculateTangents(const ClusterNeighborhood& hood,
                                             std::span<const float> directions, std::span<float> changes) {
    const std::size_t numValues = hood.plan.numValues();
    const std::size_t numColumns = changes.size() / numValues;
    return visitCuts(hood, numColumns, directions.size(), [&](std::size_t column, std::size_t count) {
        const std::size_t length = directions.size() / numColumns;
        gatherClusterColumns(directions.subspan(column * length, count * length), count, lanes,
                             positions.span());
        sendForth(hood);
        scatterClusterRows(values.span(), lanes, count,
                           changes.subspan(column * numValues, count * numValues));
    });
}

void ClusterBundle::sendBack(const ClusterNeighborhood& hood) {
    computeClusterBundleAdjoint(hood.plan, hood.density, jacobian.span(), values.span(), lanes,
                                densities.span());
    const std::span<float> byPositions = positions.span().first(numPositions);
    // The neighbours outside the cutoff.
    if (3 * hood.builder.shell().size * lanes < numPositions) {
        std::ranges::fill(byPositions, 0.0f);
    }
    forEachElement(hood, [&](NeighborRange range, std::span<const float> weights) {
        computeClusterBundleGradient(hood.builder.shell(), range, hood.plan, weights, densities.span(), lanes,
                                     byPositions, scratch.span());
    });
}

void ClusterBundle::sendForth(const ClusterNeighborhood& hood) {
    densities.setZero();
    forEachElement(hood, [&](NeighborRange range, std::span<const float> weights) {
        addClusterBundleTangent(hood.builder.shell(), range, hood.plan, weights,
                                positions.span().first(numPositions), lanes, densities.span(),
                                scratch.span());
    });
    computeClusterBundleChanges(hood.plan, hood.density, jacobian.span(), densities.span(), lanes,
                                values.span());
}

} // namespace melta
