// The cutoff functions of the symmetry functions, over arrays of distances. Both fall from 1 to 0 at the
// cutoff radius `rcut` (Angstrom); at and beyond it value and derivative are exactly 0. All arrays have the
// same length, any length.
#pragma once

#include <span>

namespace melta {

// Value 0.5 (cos(pi r / rcut) + 1) and its derivative by r, 1/Angstrom.
void computeCosineCutoff(std::span<const float> r, float rcut, std::span<float> value,
                         std::span<float> derivative);

// Value t^3 with t = tanh(1 - r / rcut) and its derivative by r, -3 t^2 (1 - t^2) / rcut, 1/Angstrom.
void computeTanhCutoff(std::span<const float> r, float rcut, std::span<float> value,
                       std::span<float> derivative);

} // namespace melta
