#include "structure/NeighborSearch.hpp"

#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "structure/BinGrid.hpp"
#include "structure/NeighborCollector.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <omp.h>

namespace melta {
namespace {

// The images in the box, bin by bin.
struct BinTable {
    std::vector<Image> images;
    std::vector<std::uint32_t> offsets; // [totalBins + 1], first image of each bin

    [[nodiscard]] std::span<const Image> bin(std::size_t index) const {
        return std::span<const Image>(images).subspan(offsets[index], offsets[index + 1] - offsets[index]);
    }
};

std::array<float, 3> positionOf(std::span<const float> positions, std::size_t atom) {
    return {positions[3 * atom], positions[3 * atom + 1], positions[3 * atom + 2]};
}

// Calls visit(bin, image) for all images of all atoms in the box.
template <class Visit>
void forEachImage(const BinGrid& grid, std::span<const float> positions, const Visit& visit) {
    for (std::size_t i = 0; 3 * i < positions.size(); ++i) {
        grid.forEachImage(static_cast<std::int32_t>(i), positionOf(positions, i), visit);
    }
}

// Counts first and places then, so that the table is one array and each bin keeps the order of the visits.
BinTable fillTable(const BinGrid& grid, std::span<const float> positions) {
    static_assert(maxSearchImages <= UINT32_MAX);
    BinTable table;
    // While images are counted and placed, entry b + 1 holds the next free place of bin b; at the end, its
    // end.
    table.offsets.assign(grid.totalBins() + 2, 0);
    forEachImage(grid, positions, [&](std::size_t bin, const Image& /*image*/) { ++table.offsets[bin + 2]; });
    for (std::size_t b = 2; b < table.offsets.size(); ++b) {
        table.offsets[b] += table.offsets[b - 1];
    }
    table.images.resize(table.offsets.back());
    forEachImage(grid, positions, [&](std::size_t bin, const Image& image) {
        table.images[table.offsets[bin + 1]++] = image;
    });
    table.offsets.pop_back();
    return table;
}

// Each thread takes one run of consecutive atoms, so that its lists lie behind each other already.
NeighborLists findNeighbors(const BinGrid& grid, const BinTable& table, std::span<const float> positions,
                            float rcut) {
    const std::size_t numAtoms = positions.size() / 3;
    NeighborLists lists;
    lists.offsets.assign(numAtoms + 1, 0);
    std::vector<std::vector<Neighbor>> runs(static_cast<std::size_t>(omp_get_max_threads()));
    std::atomic<std::size_t> total = 0;
    ParallelGuard guard;
#pragma omp parallel
    guard.run([&] {
        NeighborCollector collector(grid, table, rcut);
        const auto thread = static_cast<std::size_t>(omp_get_thread_num());
        const auto numThreads = static_cast<std::size_t>(omp_get_num_threads());
        const std::size_t end = numAtoms * (thread + 1) / numThreads;
        for (std::size_t i = numAtoms * thread / numThreads; i < end; ++i) {
            const std::size_t length = collector.append(positionOf(positions, i), runs[thread]);
            lists.offsets[i + 1] = length;
            if (total.fetch_add(length, std::memory_order_relaxed) + length > maxSearchNeighbors) {
                stopWithMessage("too many neighbors.");
            }
        }
    });
    guard.rethrow();
    for (std::size_t i = 0; i < numAtoms; ++i) {
        lists.offsets[i + 1] += lists.offsets[i];
    }
    lists.records.reserve(lists.offsets.back());
    for (const std::vector<Neighbor>& run : runs) {
        lists.records.insert(lists.records.end(), run.begin(), run.end());
    }
    return lists;
}

// A width of bins that leaves about one atom in each.
float widthForOneAtom(std::span<const float, 9> lattice, std::size_t numAtoms) {
    double volume = 1.0;
    for (std::size_t c = 0; c < 3; ++c) {
        volume *=
            static_cast<double>(std::abs(lattice[c]) + std::abs(lattice[3 + c]) + std::abs(lattice[6 + c]));
    }
    return static_cast<float>(std::cbrt(volume / static_cast<double>(numAtoms)));
}

bool isClose(const std::array<float, 3>& p, const Image& image) {
    const float dx = image.x - p[0];
    const float dy = image.y - p[1];
    const float dz = image.z - p[2];
    return dx * dx + dy * dy + dz * dz < smallestSquare;
}

} // namespace

bool haveCloseAtoms(std::span<const float, 9> lattice, std::span<const float, 9> invLattice,
                    std::span<const float> positions, float rcut) {
    const float distance = std::sqrt(smallestSquare);
    if (!(rcut > distance)) {
        return false;
    }
    const std::size_t numAtoms = positions.size() / 3;
    const float width = std::clamp(widthForOneAtom(lattice, numAtoms), distance, rcut);
    const BinGrid grid(lattice, invLattice, numAtoms, width);
    const BinTable table = fillTable(grid, positions);
    bool areClose = false;
    for (std::size_t i = 0; i < numAtoms && !areClose; ++i) {
        const std::array<float, 3> p = positionOf(positions, i);
        const Neighbor self{static_cast<std::int32_t>(i), 0, 0, 0};
        grid.forEachBinAround(p, [&](std::size_t bin) {
            areClose = areClose || std::ranges::any_of(table.bin(bin), [&](const Image& image) {
                           return isClose(p, image) && image.record != self;
                       });
        });
    }
    return areClose;
}

NeighborLists searchNeighbors(std::span<const float, 9> lattice, std::span<const float, 9> invLattice,
                              std::span<const float> positions, float rcut) {
    const BinGrid grid(lattice, invLattice, positions.size() / 3, rcut);
    return findNeighbors(grid, fillTable(grid, positions), positions, rcut);
}

} // namespace melta
