// What a structure is and what is found for it, as arrays of the cell's atoms.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace melta::python {

// A periodic cell with its atoms. The arrays belong to somebody else.
struct Structure {
    std::span<const double> cell;      // [3][3], row k is cell vector k, Angstrom
    std::span<const double> positions; // [n][3], Angstrom, inside the cell or not
    std::span<const int> elements;     // [n], as NeighborView::elements has them
};

// An Evaluation folded onto the n atoms of the cell. Arrays that were not asked for are empty.
struct Results {
    double energy = 0.0;               // eV
    std::vector<double> energies;      // [n], eV
    std::vector<double> forces;        // [n][3], eV/Angstrom
    std::array<double, 6> virial{};    // xx, yy, zz, yz, xz, xy, eV; minus the stress times the volume
    std::vector<double> virials;       // [n][6], eV, in the same order
    std::vector<double> charges;       // [n], e
    std::vector<double> modelEnergies; // [models], eV
    double energyDeviation = 0.0;      // standard deviation of modelEnergies, eV
    std::vector<double> modelForces;   // [models][n][3], eV/Angstrom

    // [n], eV/Angstrom: root of the mean square distance of the models' force vectors from their mean.
    std::vector<double> forceDeviations;

    std::vector<std::uint8_t> novelty; // [n], 1 where the training data do not cover the atom
    double excess = 0.0;               // as Evaluation::excess

    std::vector<float> descriptors; // [n][numDescriptors], as Evaluation::descriptors
};

} // namespace melta::python
