#pragma once

#include "structure/io/ExtxyzComment.hpp"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace melta {

// One frame of an extended XYZ file. Lengths in Angstrom, energies in eV, forces in eV/Angstrom, charges in
// e, as users of the format have them.
struct ExtxyzFrame {
    long long line = 0;               // of the number of atoms, counted from 1
    std::vector<std::string> labels;  // [n], of the elements
    std::vector<double> positions;    // [n][3]
    std::array<bool, 3> isPeriodic{}; // by direction
    ExtxyzComment comment;

    // [3][3], a cell vector in each row; null where there is none, and then no direction is periodic.
    std::optional<std::array<double, 9>> lattice;

    // Reference data, for readers that ask for them: empty where the frame has none.
    std::vector<double> forces;   // [n][3]
    std::vector<double> energies; // [n]
    std::vector<double> charges;  // [n]

    [[nodiscard]] std::size_t numAtoms() const { return labels.size(); }
    [[nodiscard]] bool isCrystal() const { return isPeriodic[0] && isPeriodic[1] && isPeriodic[2]; }
};

} // namespace melta
