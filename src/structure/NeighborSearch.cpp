#include "structure/NeighborSearch.hpp"

#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "structure/BinTable.hpp"
#include "structure/NeighborCollector.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <omp.h>

namespace melta {
namespace {

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
    BinTable table;
    table.fill(grid, positions);
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
    BinTable table;
    table.fill(grid, positions);
    return findNeighbors(grid, table, positions, rcut);
}

} // namespace melta
