#pragma once

#include <span>
#include <vector>

namespace melta {

// The energies of single atoms that total energies imply.
struct AtomicEnergyFit {
    std::vector<double> energies;   // [numElems], eV
    std::vector<double> deviations; // [numElems], eV
};

// Fits one energy for each element kind to total energies by least squares over the compositions. Where
// compositions leave something open, as in a set of one composition only, it takes the shortest solution. The
// deviations spread the squares of the residuals over the kinds in the same way.
//
// `counts` [numGeoms][numElems]: atoms of each kind in each geometry; `totals` [numGeoms], eV. Without any
// geometry or kind the results are empty. Stops with "error in LAPACK(dsyev)." if the eigenvalues are not
// found.
[[nodiscard]] AtomicEnergyFit fitCompositions(std::span<const double> counts, std::span<const double> totals,
                                              int numElems);

} // namespace melta
