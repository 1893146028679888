#pragma once

#include "structure/Geometry.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace melta {

// A part of a batch that one thread takes through the networks at once: some whole geometries or, where a
// batch of few geometries is evaluated, a range of the atoms of one. Its atoms are sorted by element into
// columns, so that the samples of each element's networks are contiguous.
struct BatchTile {
    struct Piece {
        std::size_t geometry;   // index in the batch
        std::size_t firstAtom;  // first atom of the range
        std::size_t numAtoms;   // atoms of the range
        std::size_t firstLocal; // number of the range's first atom among the atoms of the tile
    };

    std::vector<Piece> pieces;
    std::size_t numAtoms = 0;
    std::vector<std::size_t> columnOfAtom; // [numAtoms], by number of the atom among the atoms of the tile
    std::vector<std::size_t> elementStart; // [numElems + 1], first column of each element
};

// How a batch is cut into tiles and the tiles are shared among threads. The shares are contiguous and of
// about equal work, counted in neighbours, and depend on nothing but the batch and the number of threads, so
// that sums come out the same from run to run.
class BatchLayout {
public:
    enum class Cut { geometries, atoms };

    // With Cut::atoms tiles may hold parts of geometries.
    BatchLayout(int numElems, std::span<Geometry* const> geometries, int numThreads, Cut cut);
    BatchLayout() = default;

    const std::vector<BatchTile>& getTiles() const { return tiles; }

    // Tiles of one thread.
    std::span<const BatchTile> tilesOfThread(int thread) const;

    int getNumThreads() const { return static_cast<int>(threadStart.size()) - 1; }
    std::size_t getNumAtoms() const { return numAtoms; }

    // Number of the first atom of each geometry, [numGeoms + 1].
    const std::vector<std::size_t>& getGeometryStart() const { return geometryStart; }

private:
    struct Range {
        std::size_t geometry;
        std::size_t firstAtom;
        std::size_t numAtoms;
    };

    std::vector<Range> makeRanges(std::span<Geometry* const> geometries, int numThreads, Cut cut) const;
    std::vector<std::size_t> endsOfShares(std::span<const Range> ranges,
                                          std::span<Geometry* const> geometries, int numThreads) const;
    void addTiles(std::span<const Range> ranges, std::span<Geometry* const> geometries, int numElems);
    void addTile(std::span<const Range> ranges, std::span<Geometry* const> geometries, int numElems);

    std::vector<BatchTile> tiles;
    std::vector<std::size_t> threadStart{0}; // [numThreads + 1], first tile of each thread
    std::vector<std::size_t> geometryStart{0};
    std::size_t numAtoms = 0;
};

} // namespace melta
