#pragma once

#include <span>
#include <vector>

namespace melta {

// Indices, in ascending order, of the geometries whose total energies cannot belong with those of the others:
// per atom they lie further from what the compositions make of the rest than bound atoms can, and 50 times
// further than the rest itself. More than 1e7 eV for an atom is always too far; apart from that it takes
// three geometries at least and a majority that agrees. Nothing is said of a composition that the others tell
// nothing about.
//
// `counts` [numGeoms][numElems]: atoms of each kind in each geometry; `totals` [numGeoms], eV; one that is
// not finite is far. Stops as fitCompositions.
[[nodiscard]] std::vector<int> findFarEnergies(std::span<const double> counts, std::span<const double> totals,
                                               int numElems);

} // namespace melta
