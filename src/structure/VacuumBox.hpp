// Periodic cells for configurations that are not periodic in all directions.
#pragma once

#include <array>
#include <span>

namespace melta {

// Whether the cell vectors of the periodic directions span what they should: none vanishes, and none lies in
// the span of the others. `cell` [3][3], a vector in each row.
[[nodiscard]] bool spanPeriodic(const std::array<double, 9>& cell, const std::array<bool, 3>& isPeriodic);

// Volume of a cell, Angstrom^3.
[[nodiscard]] double volumeOf(const std::array<double, 9>& cell);

// The cell with other vectors in the directions that are not periodic: at right angles to all others, and
// long enough to leave more than `gap` between the atoms and their images. Without any periodic direction
// they are parallel to the axes. `positions` [n][3]; all in Angstrom. The periodic vectors have to span.
[[nodiscard]] std::array<double, 9> addVacuum(const std::array<double, 9>& cell,
                                              const std::array<bool, 3>& isPeriodic,
                                              std::span<const double> positions, double gap);

} // namespace melta
