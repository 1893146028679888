// Where the inputs of a first layer go when the elements change. A layer has inputs of its own for each
// element and each pair of elements, or for many-body functions each pair of grid points of two elements, in
// the layouts of the symmetry functions.
#pragma once

#include <span>
#include <vector>

namespace melta {

// Inputs of a layer of one set of elements, as they appear in the layer of another set.
struct InputMap {
    std::vector<int> targets; // [inputs of the source], input of the target with the same meaning, or -1
    std::vector<int> dropped; // inputs of the source that the target lacks
    std::vector<int> added;   // inputs of the target that the source lacks
};

// The form of all layouts. The radial block has `numRadial` inputs for each element. The angular block is
// made of packed triangular matrices over combined indices (element, point), with `numPoints` points for each
// element. An entry (u, v), v <= u, of the triangle has `numPerEntry` inputs side by side, and there are
// `numTriangles` triangles behind each other.
struct InputBlocks {
    long long numRadial;
    long long numPoints;
    long long numPerEntry;
    long long numTriangles;

    // Inputs for that many elements.
    [[nodiscard]] double countInputs(int numElems) const;

    // `mapOfElems`: for each element of the source its index among the `numElems` elements of the target, or
    // -1; no index twice. Both layouts have to fit into int.
    [[nodiscard]] InputMap map(std::span<const int> mapOfElems, int numElems) const;

    // Inputs of one triangle over that many elements.
    [[nodiscard]] long long sizeOfTriangle(long long numElems) const {
        return numPoints * numElems * (numPoints * numElems + 1) / 2 * numPerEntry;
    }
};

} // namespace melta
