// Products of an atom's descriptor derivatives with one column for each model, the inner loops of force
// training.
//
// symmDiff [numRows][numBasis] holds the derivatives of one atom's descriptors, a row for each coordinate of
// the atom and its neighbours. It is the largest object of a run, and each product reads it once for all
// models. Per-model columns stand side by side in `lanes` floats, the number of models rounded up to a
// multiple of four; what pads them is arithmetic on zeros. No kernel allocates or stops; arrays need no
// alignment.
#pragma once

#include <cstddef>
#include <cstdint>

namespace melta::kernels {

// Models rounded up to whole groups of lanes.
constexpr std::size_t roundUpToLanes(std::size_t numModels) {
    return (numModels + 3) / 4 * 4;
}

// rows [numRows][lanes] = symmDiff * grads^T, with grads [numModels][numBasis] the gradients dE/dG of the
// models. `work` [numBasis][lanes] is scratch.
void multiplyByGrads(std::size_t numRows, std::size_t numBasis, std::size_t numModels, const float* symmDiff,
                     const float* grads, float* work, float* rows);

// The way back: grads [numModels][numBasis] = rows^T * symmDiff, with rows [numRows][lanes].
void multiplyByRows(std::size_t numRows, std::size_t numBasis, std::size_t numModels, const float* symmDiff,
                    const float* rows, float* work, float* grads);

// forces [atom][3][lanes] -= rows: the first three rows belong to atom `center`, the three of neighbour i to
// atom atoms[i * atomStride].
void scatterForces(std::size_t center, std::size_t numNeighbors, const std::int32_t* atoms,
                   std::size_t atomStride, std::size_t lanes, const float* rows, float* forces);

// The way back: rows = -grads of the same atoms.
void gatherForces(std::size_t center, std::size_t numNeighbors, const std::int32_t* atoms,
                  std::size_t atomStride, std::size_t lanes, const float* grads, float* rows);

// stress [6][lanes] (xx, yy, zz, yz, xz, xy) += the symmetric part of ways^T * rows, with ways
// [numNeighbors][3] from the atom to its neighbours and rows [numNeighbors][3][lanes] of these alone.
void addStress(std::size_t numNeighbors, const float* ways, std::size_t lanes, const float* rows,
               float* stress);

// The way back: rows from the gradient with respect to the stress, `grads` [6][lanes].
void spreadStress(std::size_t numNeighbors, const float* ways, std::size_t lanes, const float* grads,
                  float* rows);

} // namespace melta::kernels
