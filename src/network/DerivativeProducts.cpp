#include "network/DerivativeProducts.hpp"

#include "network/ForceKernels.hpp"

#include <algorithm>

namespace melta {
namespace {

std::size_t countColumns(const SymmFunc& symmFunc, std::span<const float> grads) {
    return grads.size() / static_cast<std::size_t>(symmFunc.getNumBasis());
}

} // namespace

// An energy does not change when the atom and its neighbours move together, so that the rows of the atom
// itself are minus the sums of the others.
void DerivativeProducts::multiplyByGrads(const SymmFunc& symmFunc, const NeighborArrays& neighbors,
                                         std::span<const float> grads, float* rows) {
    const std::size_t numColumns = countColumns(symmFunc, grads);
    const std::size_t lanes = kernels::roundUpToLanes(numColumns);
    const std::size_t numNeighbors = neighbors.size();
    vectors.reserve(3 * numNeighbors * numColumns);
    symmFunc.calculateGradients(neighbors, grads, vectors.span().first(3 * numNeighbors * numColumns));
    std::fill_n(rows, 3 * (numNeighbors + 1) * lanes, 0.0f);
    for (std::size_t m = 0; m < numColumns; ++m) {
        for (std::size_t c = 0; c < 3; ++c) {
            const float* const slopes = vectors.data() + (3 * m + c) * numNeighbors;
            float sum = 0.0f;
            for (std::size_t n = 0; n < numNeighbors; ++n) {
                rows[(3 * (n + 1) + c) * lanes + m] = slopes[n];
                sum += slopes[n];
            }
            rows[c * lanes + m] = -sum;
        }
    }
}

// How the neighbours move against the atom.
std::span<const float> DerivativeProducts::gatherDirections(const float* rows, std::size_t numColumns,
                                                            std::size_t numNeighbors) {
    const std::size_t lanes = kernels::roundUpToLanes(numColumns);
    vectors.reserve(3 * numNeighbors * numColumns);
    for (std::size_t m = 0; m < numColumns; ++m) {
        for (std::size_t c = 0; c < 3; ++c) {
            float* const moves = vectors.data() + (3 * m + c) * numNeighbors;
            const float own = rows[c * lanes + m];
            for (std::size_t n = 0; n < numNeighbors; ++n) {
                moves[n] = rows[(3 * (n + 1) + c) * lanes + m] - own;
            }
        }
    }
    return vectors.span().first(3 * numNeighbors * numColumns);
}

void DerivativeProducts::multiplyByRows(const SymmFunc& symmFunc, const NeighborArrays& neighbors,
                                        const float* rows, std::span<float> grads) {
    const std::size_t numColumns = countColumns(symmFunc, grads);
    symmFunc.calculateTangents(neighbors, gatherDirections(rows, numColumns, neighbors.size()), grads);
}

void DerivativeProducts::addElementWeightGrads(const SymmFunc& symmFunc, const NeighborArrays& neighbors,
                                               const float* rows, std::span<const float> byValues,
                                               std::span<const float> bySlopes, std::span<float> gradients) {
    const std::size_t numColumns = countColumns(symmFunc, bySlopes);
    symmFunc.addElementWeightGradients(neighbors, byValues, bySlopes,
                                       gatherDirections(rows, numColumns, neighbors.size()), gradients);
}

} // namespace melta
