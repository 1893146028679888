#pragma once

#include <array>
#include <string>
#include <vector>

namespace melta {

// An atom of the card ATOMIC_POSITIONS.
struct DFTAtom {
    std::string name;               // of its element
    std::array<double, 3> position; // Angstrom
};

// Reads an atom from each line of the card, and prints how many atoms there are, in all and of each element.
// False if a line is not a name and three finite numbers; this is printed, with the line.
[[nodiscard]] bool parseDFTAtoms(const std::vector<std::string>& atomLines, std::vector<DFTAtom>& atoms);

} // namespace melta
