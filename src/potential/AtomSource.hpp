#pragma once

#include "melta/NeighborView.hpp"
#include "structure/NeighborArrays.hpp"

#include <span>
#include <vector>

namespace melta {

// The atoms of a host, checked. Several threads may ask at once.
class AtomSource {
public:
    // Borrows both. `cutoff`: beyond it nobody is a neighbour, Angstrom. Stops with "incorrect view: %s" if
    // any index in the view, of an element, an atom or a neighbour, is out of range or a list is missing.
    AtomSource(const NeighborView& source, std::span<const std::int32_t> atomNumbers, float cutoff);

    // Index of the element of a known atom.
    [[nodiscard]] std::size_t elementOf(int atom) const;

    // The neighbours of a known atom; their indices say where forces go.
    void gather(int atom, NeighborArrays& neighbors) const;

    // The local atoms whose element is known.
    [[nodiscard]] std::span<const int> atoms() const { return known; }

private:
    const NeighborView& view;
    std::span<const std::int32_t> atomNumbers;
    float cutoff;
    std::vector<int> listOf; // [numLocal]
    std::vector<int> known;
};

} // namespace melta
