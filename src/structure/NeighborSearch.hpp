#pragma once

#include "structure/Neighbor.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace melta {

// The neighbours of all atoms of a cell: the list of atom i is records[offsets[i]] to records[offsets[i + 1]
// - 1].
struct NeighborLists {
    std::vector<Neighbor> records;
    std::vector<std::size_t> offsets; // [numAtoms + 1]
};

// Limits that keep an absurd cell or cutoff from exhausting memory or time. Data of real use stay far below
// them: a million atoms with 27 images each, or a cell of 1000 Angstrom with a cutoff of 4.
inline constexpr std::size_t maxSearchBins = std::size_t{1} << 25U;
inline constexpr std::size_t maxSearchImages = std::size_t{1} << 25U;
inline constexpr std::size_t maxSearchNeighbors = std::size_t{1} << 25U;

// Finds, for each atom, all images nearer than `rcut` and not nearer than 0.1 Angstrom.
//
// The box around the cell, wider by `rcut` on all sides, is divided into bins that are at least `rcut` wide.
// The images that lie in the box are sorted into them in the order of atom, ia, ib, ic (the last the
// fastest). An atom's list runs over the bins around its own in the order of x, y, z (the last the fastest)
// and over each bin in that order.
//
// `lattice`, `invLattice` [3][3], Angstrom and 1/Angstrom; `positions` [numAtoms][3], Angstrom, atoms inside
// the cell (one outside it may miss neighbours); `rcut` in Angstrom. Stops as Geometry::createNeighbors says.
[[nodiscard]] NeighborLists searchNeighbors(std::span<const float, 9> lattice,
                                            std::span<const float, 9> invLattice,
                                            std::span<const float> positions, float rcut);

// Whether any two atoms, images included, are nearer to each other than 0.1 Angstrom, so that searchNeighbors
// leaves them out. Takes what that takes, which has to have worked; false for an `rcut` up to 0.1. Costs a
// fraction of a search; for one thread.
[[nodiscard]] bool haveCloseAtoms(std::span<const float, 9> lattice, std::span<const float, 9> invLattice,
                                  std::span<const float> positions, float rcut);

} // namespace melta
