#include "network/BatchLayout.hpp"

#include <algorithm>

namespace melta {
namespace {

// Enough samples for efficient matrix products, few enough for the arrays of a tile to stay in a core's own
// cache.
constexpr std::size_t atomsOfTile = 96;

// Work of an atom in units of neighbours; the networks' share counts like some more.
std::size_t workOf(const Geometry& geometry, std::size_t atom) {
    constexpr std::size_t networkShare = 32;
    return static_cast<std::size_t>(geometry.numNeighbors(static_cast<int>(atom))) + networkShare;
}

} // namespace

BatchLayout::BatchLayout(int numElems, std::span<Geometry* const> geometries, int numThreads, Cut cut) {
    for (const Geometry* const geometry : geometries) {
        numAtoms += static_cast<std::size_t>(geometry->numAtoms);
        geometryStart.push_back(numAtoms);
    }
    const std::vector<Range> ranges = makeRanges(geometries, numThreads, cut);
    std::size_t first = 0;
    for (const std::size_t last : endsOfShares(ranges, geometries, numThreads)) {
        addTiles(std::span(ranges).subspan(first, last - first), geometries, numElems);
        threadStart.push_back(tiles.size());
        first = last;
    }
}

// Where the share of each thread ends: a range belongs to the thread in whose part of the work its middle
// lies.
std::vector<std::size_t> BatchLayout::endsOfShares(std::span<const Range> ranges,
                                                   std::span<Geometry* const> geometries,
                                                   int numThreads) const {
    std::vector<std::size_t> workBefore{0};
    for (const Range& range : ranges) {
        std::size_t work = 0;
        for (std::size_t a = range.firstAtom; a < range.firstAtom + range.numAtoms; ++a) {
            work += workOf(*geometries[range.geometry], a);
        }
        workBefore.push_back(workBefore.back() + work);
    }
    std::vector<std::size_t> ends;
    std::size_t next = 0;
    for (int thread = 1; thread < numThreads; ++thread) {
        const std::size_t target =
            workBefore.back() * static_cast<std::size_t>(thread) / static_cast<std::size_t>(numThreads);
        while (next < ranges.size() && (workBefore[next] + workBefore[next + 1]) / 2 < target) {
            ++next;
        }
        ends.push_back(next);
    }
    ends.push_back(ranges.size());
    return ends;
}

// Cuts one share into tiles of at most atomsOfTile atoms, or of a single larger range.
void BatchLayout::addTiles(std::span<const Range> ranges, std::span<Geometry* const> geometries,
                           int numElems) {
    std::size_t next = 0;
    while (next < ranges.size()) {
        const std::size_t first = next;
        std::size_t atoms = ranges[next++].numAtoms;
        while (next < ranges.size() && atoms + ranges[next].numAtoms <= atomsOfTile) {
            atoms += ranges[next++].numAtoms;
        }
        addTile(ranges.subspan(first, next - first), geometries, numElems);
    }
}

std::span<const BatchTile> BatchLayout::tilesOfThread(int thread) const {
    const auto index = static_cast<std::size_t>(thread);
    return std::span(tiles).subspan(threadStart[index], threadStart[index + 1] - threadStart[index]);
}

std::vector<BatchLayout::Range> BatchLayout::makeRanges(std::span<Geometry* const> geometries, int numThreads,
                                                        Cut cut) const {
    const auto threads = static_cast<std::size_t>(numThreads);
    const std::size_t largest =
        cut == Cut::atoms ? std::clamp<std::size_t>((numAtoms + threads - 1) / threads, 1, atomsOfTile)
                          : numAtoms;
    std::vector<Range> ranges;
    for (std::size_t g = 0; g < geometries.size(); ++g) {
        const auto atoms = static_cast<std::size_t>(geometries[g]->numAtoms);
        for (std::size_t first = 0; first < atoms; first += largest) {
            ranges.push_back({g, first, std::min(largest, atoms - first)});
        }
    }
    return ranges;
}

void BatchLayout::addTile(std::span<const Range> ranges, std::span<Geometry* const> geometries,
                          int numElems) {
    BatchTile tile;
    std::vector<std::size_t> elements;
    for (const Range& range : ranges) {
        const Geometry& geometry = *geometries[range.geometry];
        tile.pieces.push_back({range.geometry, range.firstAtom, range.numAtoms, tile.numAtoms});
        tile.numAtoms += range.numAtoms;
        for (std::size_t a = range.firstAtom; a < range.firstAtom + range.numAtoms; ++a) {
            elements.push_back(static_cast<std::size_t>(geometry.elements[a]));
        }
    }
    tile.elementStart.assign(static_cast<std::size_t>(numElems) + 1, 0);
    for (const std::size_t e : elements) {
        ++tile.elementStart[e + 1];
    }
    for (std::size_t e = 1; e < tile.elementStart.size(); ++e) {
        tile.elementStart[e] += tile.elementStart[e - 1];
    }
    std::vector<std::size_t> next(tile.elementStart.begin(), tile.elementStart.end() - 1);
    for (const std::size_t e : elements) {
        tile.columnOfAtom.push_back(next[e]++);
    }
    tiles.push_back(std::move(tile));
}

} // namespace melta
