#pragma once

#include "base/AlignedBuffer.hpp"
#include "structure/NeighborArrays.hpp"
#include "symmfunc/SymmFunc.hpp"

#include <cstddef>
#include <span>

namespace melta {

// The products of an atom's descriptor derivatives that ForceKernels.hpp takes from stored derivatives, from
// the neighbours themselves: both directions go through the symmetry functions, and nothing is kept but
// scratch memory. Belongs to one thread.
class DerivativeProducts {
public:
    // rows [3 (neighbours + 1)][lanes] = symmDiff * grads^T, with grads [numColumns][numBasis] by the raw
    // values; lanes behind the columns are zero.
    void multiplyByGrads(const SymmFunc& symmFunc, const NeighborArrays& neighbors,
                         std::span<const float> grads, float* rows);

    // The way back: grads [numColumns][numBasis] = rows^T * symmDiff.
    void multiplyByRows(const SymmFunc& symmFunc, const NeighborArrays& neighbors, const float* rows,
                        std::span<float> grads);

    // Adds to gradients [element][channel] the derivatives by the element weights of the central element:
    // as SymmFunc::addElementWeightGradients, with byValues, bySlopes [numColumns][numBasis] by the raw
    // values, and the directions that `rows` mean to multiplyByRows; without bySlopes `rows` is not read.
    void addElementWeightGrads(const SymmFunc& symmFunc, const NeighborArrays& neighbors, const float* rows,
                               std::span<const float> byValues, std::span<const float> bySlopes,
                               std::span<float> gradients);

private:
    std::span<const float> gatherDirections(const float* rows, std::size_t numColumns,
                                            std::size_t numNeighbors);

    AlignedBuffer<float> vectors; // [numColumns][3][neighbours]
};

} // namespace melta
