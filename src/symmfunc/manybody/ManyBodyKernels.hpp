// The arithmetic of the many-body symmetry functions: raised cosines on a uniform grid, and products of three
// of them for each triangle. Kernels only: no allocation, no checks.
#pragma once

#include "base/AlignedBuffer.hpp"
#include "symmfunc/ShellGradient.hpp"

#include <cstddef>
#include <cstdint>
#include <span>

namespace melta {

// Entries to read or write behind the last one of each array, so that vectors need no remainder.
inline constexpr std::size_t manyBodyPadding = 16;

// Grid point k lies at start + k step. Its function phi_k(r) = 0.5 cos(pi (r - start - k step) / step) + 0.5
// is used from the point before to the point behind it.
struct ManyBodyAxis {
    int numPoints;
    float start; // Angstrom
    float step;  // Angstrom
};

// The grid points that distances touch, at most two for each, side by side.
struct ManyBodyPoints {
    AlignedBuffer<std::int32_t> first; // the lower one; some point of the grid if there is none
    AlignedBuffer<std::int32_t> count; // 0, 1 or 2
    // [][4], one row for each distance r: phi of the lower and of the upper point, and (dphi/dr) / r of the
    // two, 1/Angstrom^2. Zero for points that are not there.
    AlignedBuffer<float> weights;

    void reserve(std::size_t numDistances) {
        first.reserve(numDistances + manyBodyPadding);
        count.reserve(numDistances + manyBodyPadding);
        weights.reserve(4 * (numDistances + manyBodyPadding));
    }
};

// Fills `points` for the first `numDistances` of the distances `r` (Angstrom), which are padded.
void locateManyBodyPoints(std::span<const float> r, std::size_t numDistances, const ManyBodyAxis& axis,
                          ManyBodyPoints& points);

// The neighbours that may form triangles, sorted by element. All arrays are padded.
//
// The three-body block is a packed lower triangle over the combined index (element, grid point) of two
// neighbours, once for each grid point of the third side. A neighbour's grid points are the columns
// `column` to `endColumn` - 1 of the combined index. One without any has the largest integer as `column` and
// 0 as `endColumn`.
//
// `pairColumn` and `pairWeights` say the same with two columns for every neighbour: a single one comes with
// the one before it, of weight zero. The column before the first is that of the element before or, in front
// of the block, the last element of the two-body block; adding zero does no harm there, while there may be
// nothing behind the last column.
struct ManyBodyNeighbors {
    std::size_t size;
    std::span<const float> x, y, z;           // place relative to the central atom, Angstrom
    std::span<const std::int32_t> entry;      // place in the neighbour list
    std::span<const std::int32_t> column;     // combined index of the lower grid point
    std::span<const std::int32_t> endColumn;  // one behind that of the upper one
    std::span<const std::int32_t> rows;       // [][2], begins of the rows of the two points
    std::span<const std::int32_t> pairColumn; // the lower of two columns
    std::span<const float> weights;           // [][4], as in ManyBodyPoints
    std::span<const float> pairWeights;       // [][4], of the two columns
};

// Where the three-body block goes; there is at least one element in front of it. `diff` is null if only
// values are wanted.
struct ManyBodyBlock {
    float* values;            // first element of the block
    float* diff;              // the same element of row 0 of the derivatives
    std::size_t rowStride;    // distance between two rows
    std::size_t triangleSize; // elements of the block for each grid point of the third side
};

// Third sides of one neighbour; memory of one thread.
struct ManyBodyScratch {
    AlignedBuffer<std::int32_t> partner; // the other neighbour of each triangle
    AlignedBuffer<float> side;           // length of the third side, Angstrom
    ManyBodyPoints points;

    void reserve(std::size_t numNeighbors) {
        partner.reserve(numNeighbors + manyBodyPadding);
        side.reserve(numNeighbors + manyBodyPadding);
        points.reserve(numNeighbors);
    }
};

// Goes through the triangles of neighbour `owner` with a third side below `router` (Angstrom). Those in which
// it is the later of the two are added to the values and to the rows of the central atom. With derivatives,
// all of them are added to the owner's rows, and to no other neighbour's: called for each neighbour in turn
// this costs each third side twice, but only one neighbour's rows have to be within reach at a time.
void addManyBodyTriangles(const ManyBodyNeighbors& neighbors, std::size_t owner, const ManyBodyAxis& axis,
                          float router, const ManyBodyBlock& block, ManyBodyScratch& scratch);

// For a function whose derivatives by the values are `gradient`, laid out like the values of a block, its
// derivatives by the neighbours' positions by way of all triangles; added to `result`, in the order of the
// neighbours.
void addManyBodyGradient(const ManyBodyNeighbors& neighbors, const ManyBodyAxis& axis, float router,
                         const float* gradient, std::size_t triangleSize, const ShellGradient& result,
                         ManyBodyScratch& scratch);

// Name of the instruction set that the kernels run.
const char* findManyBodyTarget();

} // namespace melta
