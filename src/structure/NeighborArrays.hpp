#pragma once

#include "base/AlignedBuffer.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace melta {

class Geometry;

// Atoms as a host keeps them: periodic images are atoms of their own, and the list of an atom may hold more
// than its neighbours. Borrowed.
struct HostAtoms {
    std::span<const double> positions;         // [numAtoms][3], Angstrom
    std::span<const std::int32_t> elements;    // [numAtoms], index into the element table; negative: not ours
    std::span<const std::int32_t> atomNumbers; // [numElems], atomic number of each element
    std::int32_t indexMask = -1;               // bits of a list entry that make the index of an atom
};

// The neighbours of one atom as one array for each quantity, in the order of the list. Made afresh for each
// atom; the memory is kept for the next one and belongs to one thread.
//
// The arrays of lengths have `padding` further entries behind the last neighbour, harmless in any arithmetic,
// so that vector code needs no remainder.
class NeighborArrays {
public:
    static constexpr std::size_t padding = 16;

    // All neighbours in the list of atom `iatom`.
    void update(const Geometry& geometry, int iatom);

    // Those in `list` that are ours and nearer to atom `iatom` than `rcut` (Angstrom).
    void update(const HostAtoms& host, int iatom, std::span<const std::int32_t> list, float rcut);

    [[nodiscard]] std::size_t size() const { return numNeighbors; }

    // Element index of the atom in the middle.
    [[nodiscard]] std::int32_t getCentralElement() const { return centralElement; }

    // Distance from the central atom, and neighbour minus central position, Angstrom.
    [[nodiscard]] std::span<const float> r() const { return array(0); }
    [[nodiscard]] std::span<const float> dx() const { return array(1); }
    [[nodiscard]] std::span<const float> dy() const { return array(2); }
    [[nodiscard]] std::span<const float> dz() const { return array(3); }

    // Element index, atomic number, index of the atom, and place in the list.
    [[nodiscard]] std::span<const std::int32_t> elements() const { return intArray(0); }
    [[nodiscard]] std::span<const std::int32_t> atomNumbers() const { return intArray(1); }
    [[nodiscard]] std::span<const std::int32_t> atoms() const { return intArray(2); }
    [[nodiscard]] std::span<const std::int32_t> entries() const { return intArray(3); }

private:
    static constexpr std::size_t numArrays = 4;
    static constexpr std::size_t numIntArrays = 4;

    void reserve(std::size_t count);
    void store(std::size_t place, const std::array<float, 3>& d, const std::array<std::int32_t, 4>& numbers);
    void finish(std::size_t count);
    [[nodiscard]] std::span<const float> array(std::size_t which) const {
        return {values.data() + which * stride, numNeighbors + padding};
    }
    [[nodiscard]] std::span<const std::int32_t> intArray(std::size_t which) const {
        return {integers.data() + which * stride, numNeighbors};
    }

    std::int32_t centralElement = 0;
    std::size_t numNeighbors = 0;
    std::size_t stride = 0;               // distance between two arrays
    AlignedBuffer<float> values;          // [numArrays][stride]
    AlignedBuffer<std::int32_t> integers; // [numIntArrays][stride]
};

} // namespace melta
