#pragma once

#include "baseline/classical/ClassicalParameters.hpp"
#include "baseline/classical/PairNeighbors.hpp"

#include <cstddef>
#include <vector>

namespace melta {

class Geometry;

// What the energy and the forces of one geometry are made of. Both are linear in the parameters, so that
// these numbers never change during a fit:
//
//     energyRow . u = model energy - reference energy
//     forceRows u' = model forces - reference forces
//
// with u = (A of all pairs, B, C, D, elemEnergy, 1) and u' = (A, B, C, D, 1), over the pairs and elements
// that occur in the geometry. Made afresh for each geometry; the memory is kept for the next one.
class PairDerivatives {
public:
    void update(const Geometry& geometry, const PairCutoff& cutoff, std::size_t numElems);

    // The elements that occur, in ascending order.
    [[nodiscard]] const std::vector<std::size_t>& elements() const { return present; }

    [[nodiscard]] std::size_t energyLength() const { return energyRow.size(); }
    [[nodiscard]] std::size_t forceLength() const { return numPowers * numPairsOf(present.size()) + 1; }

    std::vector<double> energyRow; // [energyLength]
    std::vector<double> forceRows; // [3 numAtoms][forceLength]

private:
    void findElements(const Geometry& geometry, std::size_t numElems);
    void addAtom(const Geometry& geometry, std::size_t i, const PairCutoff& cutoff);

    PairNeighbors neighbors;
    std::vector<std::size_t> present;
    std::vector<std::size_t> placeOf; // [numElems], place in `present`
};

} // namespace melta
