// The arithmetic of the Behler symmetry functions. One call of the compute functions serves one block: the
// radial functions of one element or the angular functions of one pair of elements. It writes everything that
// belongs to the block's columns: the values, the rows of the neighbours that take part, and the rows of the
// central atom. The gradient calls take `gradient` [numColumns], the derivatives of a function by the block's
// values, and add its derivatives by the neighbours' positions.
#pragma once

#include "symmfunc/BasisBlock.hpp"
#include "symmfunc/NeighborShell.hpp"
#include "symmfunc/ShellGradient.hpp"

#include <cstddef>
#include <span>

namespace melta {

// Parameters of the radial functions, one entry for each.
struct BehlerRadialSet {
    std::span<const float> eta;   // 1/Angstrom^2
    std::span<const float> shift; // Angstrom
};

// Parameters of the angular functions, one entry for each pair of functions that differ by lambda alone.
struct BehlerAngularSet {
    std::span<const float> eta;   // 1/Angstrom^2
    std::span<const float> zeta;  // exponent
    std::span<const float> shift; // Angstrom
    bool isG4;                    // false: the third side takes part
    bool tanhCutoff;              // cutoff function of the third side
    float rcut;                   // cutoff of the third side, Angstrom
};

// Length of the scratch array of the radial call.
std::size_t countBehlerRadialScratch(std::size_t numNeighbors, std::size_t numFunctions);

// Values: sum over the range of fc exp(-eta (r - shift)^2).
void computeBehlerRadial(const NeighborShell& shell, NeighborRange range, const BehlerRadialSet& set,
                         const BasisBlock& block, std::span<float> scratch);

void addBehlerRadialGradient(const NeighborShell& shell, NeighborRange range, const BehlerRadialSet& set,
                             std::span<const float> gradient, const ShellGradient& result);

// Length of the scratch array of the angular calls, for that many pairs of functions.
std::size_t countBehlerAngularScratch(std::size_t numNeighbors, std::size_t numPairs);

// Stores what all blocks of a shell share in the scratch array, which the compute calls then need.
void prepareBehlerAngular(const NeighborShell& shell, const BehlerAngularSet& set, std::span<float> scratch);

// Values: sum over pairs of fc1 fc2 2 (c / 2)^zeta exp(-eta ((r1 - shift)^2 + (r2 - shift)^2)), with c = 1 +
// lambda cos(t), t the angle between the two neighbours, first all functions with lambda = 1, then all with
// lambda = -1. Terms with c below 1e-6 are left out. Unless `isG4`, the terms contain the third side, fc3
// exp(-eta (r3 - shift)^2), too, and pairs whose third side reaches `rcut` are left out. The pairs are all of
// `first` with all of `second`, or, if the two ranges are the same, each pair within it once.
void computeBehlerAngular(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                          const BehlerAngularSet& set, const BasisBlock& block, std::span<float> scratch);

// The same three for the gradient; numSets is half the number of functions.
std::size_t countBehlerGradientScratch(std::size_t numNeighbors, std::size_t numSets);
void prepareBehlerAngularGradient(const NeighborShell& shell, const BehlerAngularSet& set,
                                  std::span<float> scratch);
void addBehlerAngularGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                              const BehlerAngularSet& set, std::span<const float> gradient,
                              const ShellGradient& result, std::span<float> scratch);

// Name of the instruction set that the calls above use on this processor.
const char* findBehlerTarget();

} // namespace melta
