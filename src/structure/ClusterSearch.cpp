#include "structure/ClusterSearch.hpp"

#include "base/Reporting.hpp"
#include "structure/NeighborCollector.hpp"
#include "structure/NeighborSearch.hpp"
#include "structure/NeighborStore.hpp"

#include <algorithm>
#include <utility>

namespace melta {

void ClusterSearch::find(std::span<const double> positions, double rcut, NeighborStore& lists) {
    lists.startOver();
    if (positions.empty()) {
        return;
    }
    const auto cutoff = static_cast<float>(rcut);
    const BinGrid grid = placeAtoms(positions, cutoff);
    table.fill(grid, places);
    NeighborCollector collector(grid, table, cutoff, std::move(chosen));
    std::size_t total = 0;
    for (std::size_t i = 0; 3 * i < places.size(); ++i) {
        list.clear();
        total += collector.append(positionOf(places, i), list);
        if (total > maxSearchNeighbors) {
            stopWithMessage("too many neighbors.");
        }
        lists.append(list);
    }
    chosen = collector.takeScratch();
}

// Measured from the corner, places are as exact as single precision allows, wherever the cluster lies.
BinGrid ClusterSearch::placeAtoms(std::span<const double> positions, float rcut) {
    std::array<double, 3> low{positions[0], positions[1], positions[2]};
    for (std::size_t i = 0; i < positions.size(); ++i) {
        low[i % 3] = std::min(low[i % 3], positions[i]);
    }
    std::array<float, 3> extent{};
    places.resize(positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i) {
        places[i] = static_cast<float>(positions[i] - low[i % 3]);
        extent[i % 3] = std::max(extent[i % 3], places[i]);
    }
    return BinGrid({0.0f, 0.0f, 0.0f}, extent, rcut);
}

} // namespace melta
