#pragma once

#include <string>

namespace melta {

// Writes a file of Behler functions on a regular grid: `numRadius` functions G2, Gaussians of one width whose
// centres lie one width apart from 0.5 Angstrom to 0.5 Angstrom below `rcutRadius`, and `numG3` functions G3
// (each stands for both signs of lambda), centred at the atom, with widths from 1 Angstrom to 0.5 Angstrom
// below `rcutAngle`. A width w means eta = 1 / (2 w^2). Cutoffs in Angstrom. A grid needs two points: a kind
// with less than two functions gets no section. Without `overwrite` an existing file stays as it is.
// Stops with "too many symmetry functions: %s" beyond 100,000 of a kind, "cannot open file: %s" or "cannot
// write file: %s", and with "too small Rcut for G2." or "too small Rcut for G3." if the grid would have no
// extent; the file then ends in front of that section.
void writeBehlerTemplate(const std::string& fileName, int numRadius, int numG3, float rcutRadius,
                         float rcutAngle, bool overwrite);

} // namespace melta
