#pragma once

#include "base/LineReader.hpp"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace melta {

// The card GEOMETRY of a Metropolis input file: the cell, the atoms and the places of the vacancies. Elements
// are numbered from 0 in the order of their first appearance.
struct GeometryCard {
    std::array<float, 9> lattice{};      // [3][3], one cell vector in each row, Angstrom
    std::vector<float> positions;        // [atoms][3], Cartesian, Angstrom
    std::vector<std::int32_t> elemAtoms; // [atoms], index into elemNames
    std::vector<std::int32_t> fixAtoms;  // [atoms], 1 for an atom that must not move, else 0
    std::vector<std::string> elemNames;  // of the atoms
    std::vector<float> vacancyCoords;    // [vacancies][3], Cartesian, Angstrom
};

// Reads the lines behind the word GEOMETRY: the number of atom lines; three lines of cell vectors; the atom
// lines "element x y z [word]", where the word "fix" holds an atom and any other one means nothing. The
// element vacancyName marks a place without an atom. Memory grows with the lines that are really there.
//
// "%s" is the file. Stops with "cannot read #atom: %s", "incorrect #atom: %s", "cannot read lattice: %s",
// "incorrect lattice: %s", "cannot read atoms: %s", "incorrect atoms@ %d: %s" (the line, counted from 0) also
// for an element of more than 8 characters, "cannot fix vacancy atom: %s", "there are no real atoms: %s". A
// length counts as unreadable if it is not finite, in Angstrom and in Bohr.
GeometryCard readGeometryCard(LineReader& reader, const std::string& fileName);

} // namespace melta
