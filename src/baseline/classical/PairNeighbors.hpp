#pragma once

#include "base/AlignedBuffer.hpp"
#include "baseline/classical/PairKernels.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace melta {

class Geometry;

// The neighbours of one atom sorted by element, as the pair kernels want them. Made afresh for each atom; the
// memory is kept for the next one and belongs to one thread.
class PairNeighbors {
public:
    // The neighbours of atom `iatom`. Every element index of the geometry is below `numElems`.
    void update(const Geometry& geometry, int iatom, std::size_t numElems);

    // Those of one element, in the order of the neighbour list.
    [[nodiscard]] PairGroup groupOf(std::size_t element) const {
        const std::size_t first = starts[element];
        return {values.data() + first, values.data() + stride + first, values.data() + 2 * stride + first,
                starts[element + 1] - first};
    }

private:
    void reserve(std::size_t count);

    std::size_t stride = 0;          // distance between two arrays
    AlignedBuffer<float> values;     // dx, dy, dz, [3][stride]
    std::vector<std::size_t> starts; // [numElems + 1], first neighbour of each element
    std::vector<std::size_t> nexts;  // [numElems], where the next neighbour of an element goes
};

} // namespace melta
