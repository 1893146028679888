#pragma once

#include <optional>
#include <string>
#include <vector>

namespace melta {

// What is strange about the data of a file and yet no failure. Geometries count from 0, as in all messages.
struct DataWarnings {
    std::vector<int> closeGeoms;   // with two atoms, images included, nearer to each other than 0.1 Angstrom
    std::vector<int> farGeoms;     // with an energy that cannot belong with the others (FarEnergies.hpp)
    std::optional<int> restBehind; // the last geometry, if more than blank lines follow that are not read

    // One line for each.
    void print(const std::string& fileName) const;
};

} // namespace melta
