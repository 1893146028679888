#include "structure/BinTable.hpp"

#include "structure/NeighborSearch.hpp"

namespace melta {
namespace {

// Calls visit(bin, image) for all images of all atoms in the box.
template <class Visit>
void forEachImage(const BinGrid& grid, std::span<const float> positions, const Visit& visit) {
    for (std::size_t i = 0; 3 * i < positions.size(); ++i) {
        grid.forEachImage(static_cast<std::int32_t>(i), positionOf(positions, i), visit);
    }
}

} // namespace

// Counts first and places then, so that the table is one array and each bin keeps the order of the visits.
void BinTable::fill(const BinGrid& grid, std::span<const float> positions) {
    static_assert(maxSearchImages <= UINT32_MAX);
    // While images are counted and placed, entry b + 1 holds the next free place of bin b; at the end, its
    // end.
    offsets.assign(grid.totalBins() + 2, 0);
    forEachImage(grid, positions, [&](std::size_t bin, const Image& /*image*/) { ++offsets[bin + 2]; });
    for (std::size_t b = 2; b < offsets.size(); ++b) {
        offsets[b] += offsets[b - 1];
    }
    images.resize(offsets.back());
    forEachImage(grid, positions,
                 [&](std::size_t bin, const Image& image) { images[offsets[bin + 1]++] = image; });
    offsets.pop_back();
}

} // namespace melta
