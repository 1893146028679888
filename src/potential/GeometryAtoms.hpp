#pragma once

#include "potential/AtomSource.hpp"

#include <span>
#include <vector>

namespace melta {

class Geometry;

// The atoms of a geometry, by its neighbour lists as they are when somebody asks. Images are the atoms
// themselves, so that forces on images come to the atoms.
class GeometryAtoms final : public AtomSource {
public:
    // Borrows the geometry. Stops with "index of element is out of range." if an atom has none of `numElems`
    // elements.
    GeometryAtoms(const Geometry& geometry, int numElems);

    [[nodiscard]] std::size_t getNumAtoms() const override { return all.size(); }
    [[nodiscard]] std::size_t elementOf(int atom) const override;
    void gather(int atom, NeighborArrays& neighbors) const override;

    // With "NaN at symmetry functions of the 0 -th geometry.": who evaluates geometries one by one has no
    // other number for it.
    [[noreturn]] void stopAtDescriptors(int atom) const override;

    // All of them.
    [[nodiscard]] std::span<const int> atoms() const { return all; }

private:
    const Geometry& geometry;
    std::vector<int> all;
};

} // namespace melta
