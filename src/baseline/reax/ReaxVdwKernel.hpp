// The arithmetic of the van der Waals term of ReaxFF, over the distances from one atom to neighbours of one
// type.
#pragma once

#include <array>
#include <cstddef>

namespace melta {

// What all pairs share.
struct ReaxVdwForm {
    std::array<double, 8> taper{}; // Tap(r) = taper[0] + taper[1] r + ... + taper[7] r^7
    double exponent = 0.0;         // p of the shielding
};

// What one pair of types adds. Energies in kcal/mol, lengths in Angstrom.
struct ReaxVdwPair {
    double depth = 0.0;
    double halfAlpha = 0.0;        // alpha / 2
    double halfAlphaPerRVdw = 0.0; // alpha / (2 rVdw), 1/Angstrom
    double shielding = 0.0;        // (1 / gammaW)^p
    double ecore = 0.0;            // height of the inner wall
    double acore = 0.0;
    double acorePerRcore = 0.0; // acore / rcore, 1/Angstrom
};

// The distances from an atom to neighbours of one type, and where the results go. They are computed in whole
// vectors: all arrays must be readable and writable up to the next multiple of reaxVdwPadding behind `size`,
// with positive distances there.
struct ReaxVdwRun {
    std::size_t size;
    const double* r;  // Angstrom
    double* energies; // Tap(r) V(r), kcal/mol
    double* factors;  // d(Tap V)/dr / r, kcal/mol/Angstrom^2
};
constexpr std::size_t reaxVdwPadding = 8;

// Computes a run with the Morse potential V = depth (e^2 - 2 e), e = exp(alpha (1 - f / rVdw) / 2), at f = r,
// or at f = (r^p + (1 / gammaW)^p)^(1/p) with shielding, plus ecore exp(acore (1 - r / rcore)) with the inner
// wall (Chenoweth, van Duin and Goddard, J. Phys. Chem. A 112, 1040 (2008)). Errors stay below 2e-13 times
// the greatest term of V, those of its derivative below alpha (in 1/Angstrom) times that.
using ReaxVdwKernel = void (*)(const ReaxVdwRun& run, const ReaxVdwForm& form, const ReaxVdwPair& pair);

// The kernel for the two switches.
ReaxVdwKernel selectReaxVdwKernel(bool withShielding, bool withInnerWall);

} // namespace melta
