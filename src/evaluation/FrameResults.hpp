#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace melta {

// What a model says about a frame of n atoms. Arrays that the model has nothing for are empty.
struct FrameResults {
    double energy = 0.0;          // eV
    std::vector<double> energies; // [n], eV
    std::vector<double> forces;   // [n][3], eV/Angstrom
    std::vector<double> charges;  // [n], e; of models with charges

    // [3][3], eV/Angstrom^3, positive under tension; null where a direction is not periodic.
    std::optional<std::array<double, 9>> stress;

    // Spread of a committee: standard deviations, eV, of the energy and of the atoms' energies [n];
    // eV/Angstrom, root of the mean square distance of the force vectors from their mean [n].
    std::optional<double> energyDeviation;
    std::vector<double> energyDeviations;
    std::vector<double> forceDeviations;

    std::vector<std::uint8_t> novelty; // [n], as Evaluation::novelty
    double excess = 0.0;               // as Evaluation::excess
};

} // namespace melta
