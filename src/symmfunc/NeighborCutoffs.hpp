#pragma once

#include "base/AlignedBuffer.hpp"
#include "structure/NeighborArrays.hpp"

#include <cstddef>
#include <span>

namespace melta {

// Cutoff functions of the neighbours of one atom, in the order of its NeighborArrays and padded like them.
// Made afresh for each atom; the memory is kept for the next one and belongs to one thread.
class NeighborCutoffs {
public:
    // Fills the arrays at two cutoff radii (Angstrom). An angular one that is not positive switches its
    // arrays off. Radii that differ by at most 0.0001 count as one: the angular values are then copies of the
    // radial ones.
    void update(const NeighborArrays& neighbors, bool tanhCutoff, float rcutRadius, float rcutAngle);

    // Cutoff function and its derivative by r (1/Angstrom), at the radial and at the angular cutoff.
    [[nodiscard]] std::span<const float> fcRadius() const { return array(0); }
    [[nodiscard]] std::span<const float> dfcRadius() const { return array(1); }
    [[nodiscard]] std::span<const float> fcAngle() const { return array(2); }
    [[nodiscard]] std::span<const float> dfcAngle() const { return array(3); }

private:
    static constexpr std::size_t numArrays = 4;

    void fill(std::span<const float> r, bool tanhCutoff, float rcut, std::size_t first);
    [[nodiscard]] std::span<float> writable(std::size_t which) {
        return {values.data() + which * stride, length};
    }
    [[nodiscard]] std::span<const float> array(std::size_t which) const {
        return {values.data() + which * stride, length};
    }

    std::size_t length = 0;      // of each array, padding included
    std::size_t stride = 0;      // distance between two arrays
    AlignedBuffer<float> values; // [numArrays][stride]
};

} // namespace melta
