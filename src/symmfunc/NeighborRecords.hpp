#pragma once

#include "base/AlignedBuffer.hpp"

#include <cstddef>
#include <cstdint>
#include <span>

namespace melta {

class Geometry;

// What the symmetry functions need of the neighbours of one atom, as one array for each quantity, in the
// order of the atom's neighbour list. Made afresh for each atom; the memory is kept for the next one and
// belongs to one thread.
//
// Every array has `padding` further readable entries behind the last neighbour, so that vector code needs no
// remainder.
class NeighborRecords {
public:
    static constexpr std::size_t padding = 16;

    // Fills the arrays for atom `iatom`. A cutoff radius (Angstrom) that is not positive switches its pair of
    // cutoff arrays off; without a radial one there is no angular one either. Radii that differ by at most
    // 0.0001 count as one: the angular values are then copies of the radial ones.
    void update(const Geometry& geometry, int iatom, bool tanhCutoff, float rcutRadius, float rcutAngle);

    [[nodiscard]] std::size_t size() const { return numNeighbors; }

    // Distance from the central atom, and neighbour minus central position, Angstrom.
    [[nodiscard]] std::span<const float> r() const { return array(0); }
    [[nodiscard]] std::span<const float> dx() const { return array(1); }
    [[nodiscard]] std::span<const float> dy() const { return array(2); }
    [[nodiscard]] std::span<const float> dz() const { return array(3); }

    // Cutoff function and its derivative by r (1/Angstrom), at the radial and at the angular cutoff.
    [[nodiscard]] std::span<const float> fcRadius() const { return array(4); }
    [[nodiscard]] std::span<const float> dfcRadius() const { return array(5); }
    [[nodiscard]] std::span<const float> fcAngle() const { return array(6); }
    [[nodiscard]] std::span<const float> dfcAngle() const { return array(7); }

    // Element index and atomic number of each neighbour.
    [[nodiscard]] std::span<const std::int32_t> elements() const { return {elementOf.data(), numNeighbors}; }
    [[nodiscard]] std::span<const std::int32_t> atomNumbers() const {
        return {numberOf.data(), numNeighbors};
    }

private:
    static constexpr std::size_t numArrays = 8;

    void reserve(std::size_t count);
    void fillPlaces(const Geometry& geometry, int iatom);
    void fillCutoffs(bool tanhCutoff, float rcut, std::size_t first);
    [[nodiscard]] std::span<float> writable(std::size_t which) {
        return {values.data() + which * stride, numNeighbors + padding};
    }
    [[nodiscard]] std::span<const float> array(std::size_t which) const {
        return {values.data() + which * stride, numNeighbors + padding};
    }

    std::size_t numNeighbors = 0;
    std::size_t stride = 0;                // distance between two arrays
    AlignedBuffer<float> values;           // [numArrays][stride]
    AlignedBuffer<std::int32_t> elementOf; // [stride]
    AlignedBuffer<std::int32_t> numberOf;  // [stride]
};

} // namespace melta
