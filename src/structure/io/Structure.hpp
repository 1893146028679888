#pragma once

#include <array>
#include <optional>
#include <vector>

namespace melta {

// An atom as a file gives it.
struct StructureAtom {
    int kind = 0;                     // number of its element
    std::array<double, 3> position{}; // Cartesian, Angstrom
    std::array<double, 3> force{};    // eV/Angstrom
    double energy = 0.0;              // eV
    double charge = 0.0;              // e
};

// One periodic configuration with its reference data, as a file gives it and in the units of the system:
// nothing is left out, averaged or shifted. Numbers that leave their range in these units are infinite. They
// are in double precision, so that what goes from file to file loses no digits; a source may compute them in
// single precision.
struct Structure {
    std::array<double, 9> lattice{}; // [3][3], one cell vector in each row, Angstrom
    bool hasAtomEnergy = false;      // the atomic energies mean something
    double energyTotal = 0.0;        // eV
    // xx, yy, zz, yz, xz, xy, eV/Angstrom^3, positive under tension; null where the file has none.
    std::optional<std::array<double, 6>> stress;
    float largestForce = 0.0f; // longest of the full forces, eV/Angstrom; also when a share is taken out
    std::vector<StructureAtom> atoms;
};

} // namespace melta
