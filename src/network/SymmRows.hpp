#pragma once

#include "base/AlignedBuffer.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace melta {

// Symmetry functions of all atoms of one geometry, with one allocation for the values and one for the
// derivatives.
//
//     values      [numAtoms][numBasis]
//     derivatives atom by atom [3 (numNeighbors + 1)][numBasis], 1/Angstrom; rows 0 to 2 belong to the atom
//     itself,
//                 rows 3 (n + 1) + c to coordinate c of the n-th entry of its neighbour list
class SymmRows {
public:
    // Makes room; the contents are undefined. `numNeighbors` [numAtoms].
    void resize(std::size_t numBasis, std::span<const std::size_t> numNeighbors, bool withDerivs);

    std::size_t getNumAtoms() const { return derivStart.empty() ? 0 : derivStart.size() - 1; }
    bool hasDerivs() const { return !derivs.empty(); }

    std::span<float> valuesOf(std::size_t atom) { return values.span().subspan(atom * numBasis, numBasis); }
    std::span<const float> valuesOf(std::size_t atom) const {
        return values.span().subspan(atom * numBasis, numBasis);
    }
    std::span<const float> allValues() const { return values.span(); }

    // Empty without derivatives.
    std::span<float> derivsOf(std::size_t atom);
    std::span<const float> derivsOf(std::size_t atom) const;

private:
    std::size_t numBasis = 0;
    AlignedBuffer<float> values;
    AlignedBuffer<float> derivs;
    std::vector<std::size_t> derivStart; // [numAtoms + 1], in floats
};

} // namespace melta
