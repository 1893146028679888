#pragma once

#include "structure/BinTable.hpp"

#include <array>
#include <span>
#include <vector>

namespace melta {

class NeighborStore;

// Finds the neighbours in a cluster of atoms without periodic boundaries, search after search in the same
// memory and by one thread, for hosts that have one of their own at work.
class ClusterSearch {
public:
    // Fills `lists` with the atoms nearer than `rcut` and not nearer than 0.1 Angstrom to each of the atoms
    // at `positions` [numAtoms][3], Angstrom. Distances are judged in single precision. Stops with "too many
    // bins for detecting neighbors." and "too many neighbors." as Geometry::createNeighbors.
    void find(std::span<const double> positions, double rcut, NeighborStore& lists);

private:
    // Makes the places of the atoms in their box, and gives the box.
    BinGrid placeAtoms(std::span<const double> positions, float rcut);

    std::vector<float> places; // [numAtoms][3], from the lowest corner of the box, Angstrom
    BinTable table;
    std::vector<Neighbor> list;   // of one atom
    std::vector<Neighbor> chosen; // scratch of the collector
};

} // namespace melta
