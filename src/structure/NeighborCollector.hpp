#pragma once

#include "structure/BinGrid.hpp"
#include "structure/Neighbor.hpp"

#include <array>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace melta {

// The single-precision number just above 0.01, square of the distance (Angstrom) below which two atoms are
// one.
inline constexpr float smallestSquare = 0.010000001f;

// Makes neighbour lists out of images that have been sorted into the bins of a grid; the one place that
// decides who is a neighbour and in which order. `Table` has bin(index), the images of a bin. For one thread.
template <class Table>
class NeighborCollector {
public:
    // Both are borrowed. `rcut` in Angstrom. `scratch`: memory of an earlier collector.
    NeighborCollector(const BinGrid& searchGrid, const Table& searchTable, float rcut,
                      std::vector<Neighbor> scratch = {})
        : grid(&searchGrid), table(&searchTable), squareOfCutoff(rcut * rcut), chosen(std::move(scratch)) {}

    // Gives the scratch away; the last call.
    [[nodiscard]] std::vector<Neighbor> takeScratch() { return std::move(chosen); }

    // Appends the list of an atom at `p`, Angstrom, to `records` and returns its length.
    std::size_t append(const std::array<float, 3>& p, std::vector<Neighbor>& records) {
        const std::size_t numBefore = records.size();
        grid->forEachBinAround(p, [&](std::size_t bin) { appendBin(p, table->bin(bin), records); });
        return records.size() - numBefore;
    }

private:
    void appendBin(const std::array<float, 3>& p, std::span<const Image> images,
                   std::vector<Neighbor>& records) {
        if (chosen.size() < images.size()) {
            chosen.resize(images.size());
        }
        // Every image is written and only a neighbour is kept: about one in six is, which no branch predicts.
        std::size_t numChosen = 0;
        for (const Image& image : images) {
            const float dx = image.x - p[0];
            const float dy = image.y - p[1];
            const float dz = image.z - p[2];
            const float square = dx * dx + dy * dy + dz * dz;
            chosen[numChosen] = image.record;
            numChosen += static_cast<std::size_t>(static_cast<int>(square < squareOfCutoff) &
                                                  static_cast<int>(square >= smallestSquare));
        }
        records.insert(records.end(), chosen.begin(),
                       chosen.begin() + static_cast<std::ptrdiff_t>(numChosen));
    }

    const BinGrid* grid;
    const Table* table;
    float squareOfCutoff;         // Angstrom^2
    std::vector<Neighbor> chosen; // scratch
};

} // namespace melta
