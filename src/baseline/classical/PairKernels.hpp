#pragma once

#include "baseline/classical/PairCutoff.hpp"

#include <array>
#include <cstddef>

namespace melta {

// Kernels over neighbours of one element around one atom. `dx`, `dy`, `dz` [count]: position of the atom
// minus that of the neighbour, Angstrom; up to `pairPadding` entries behind the last one are read, but never
// count. A neighbour at or beyond the cutoff counts nothing. Serial; no allocation.
inline constexpr std::size_t pairPadding = 16;

// Where the neighbours of a group lie.
struct PairGroup {
    const float* dx;
    const float* dy;
    const float* dz;
    std::size_t count;
};

// Half of the pair energies, eV, with the coefficients A, B, C, D of the pair of elements.
float sumPairEnergies(const PairCutoff& cutoff, const std::array<float, numPowers>& coefs,
                      const PairGroup& group);

// The same in entry 0, and the force on the atom in entries 1 to 3, eV/Angstrom.
std::array<float, 4> sumPairForces(const PairCutoff& cutoff, const std::array<float, numPowers>& coefs,
                                   const PairGroup& group);

// The derivatives of these four by A, B, C, D: [numPowers][4].
using PairDerivativeSums = std::array<std::array<float, 4>, numPowers>;
PairDerivativeSums sumPairDerivatives(const PairCutoff& cutoff, const PairGroup& group);

} // namespace melta
