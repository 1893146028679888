#pragma once

#include "base/AlignedBuffer.hpp"
#include "structure/NeighborArrays.hpp"
#include "symmfunc/manybody/ManyBodyKernels.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melta {

// Picks the neighbours inside the outer radius, sorts them by element and finds their grid points. Neighbours
// of one element keep the order of the list, which the three-body functions depend on: of each pair, the
// later one in this order lends the row and the earlier one the column of the packed triangle. Keeps its
// memory from atom to atom; belongs to one thread.
class ManyBodyShell {
public:
    // Takes the neighbours with r below `router` (Angstrom).
    void update(const NeighborArrays& neighbors, float router, int numElems);

    // Finds the grid points of all neighbours for the two-body functions.
    void locateRadius(const ManyBodyAxis& axis);

    // Finds their grid points and combined indices for the three-body functions.
    void locateAngle(const ManyBodyAxis& axis);

    // Place in the shell of an entry of the neighbour list; -1 outside the radius.
    [[nodiscard]] std::int32_t getPlace(std::size_t entry) const { return places[entry]; }

    // Valid after locateRadius.
    [[nodiscard]] const ManyBodyPoints& radiusPoints() const { return pointsRadius; }

    // Valid after locateAngle.
    [[nodiscard]] ManyBodyNeighbors getNeighbors() const;

private:
    static constexpr std::size_t numArrays = 4;
    static constexpr std::size_t numIntArrays = 5;

    void countElements(const NeighborArrays& neighbors, float router, int numElems);
    void reserve(std::size_t count);
    void placeColumns(std::size_t place, std::int32_t lowest, std::int32_t count);
    [[nodiscard]] std::span<float> array(std::size_t which) {
        return {values.data() + which * stride, stride};
    }
    [[nodiscard]] std::span<std::int32_t> intArray(std::size_t which) {
        return {integers.data() + which * stride, stride};
    }

    std::size_t numInside = 0;
    std::size_t stride = 0;           // distance between two arrays, padding included
    std::vector<std::size_t> starts;  // [numElems + 1], next free place of each element
    std::vector<std::int32_t> places; // [numNeighbors]
    AlignedBuffer<float> values;      // [numArrays][stride]: r, x, y, z
    // [numIntArrays][stride]: entry, element, column, endColumn, pairColumn
    AlignedBuffer<std::int32_t> integers;
    ManyBodyPoints pointsRadius;
    ManyBodyPoints pointsAngle;
    AlignedBuffer<std::int32_t> rows; // [stride][2]
    AlignedBuffer<float> pairWeights; // [stride][4]
};

} // namespace melta
