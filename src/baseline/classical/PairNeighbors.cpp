#include "baseline/classical/PairNeighbors.hpp"

#include "structure/Geometry.hpp"

#include <algorithm>
#include <numeric>

namespace melta {

void PairNeighbors::update(const Geometry& geometry, int iatom, std::size_t numElems) {
    const auto neighbors = geometry.getNeighbors(iatom);
    const auto elementOf = [&](const Neighbor& neighbor) {
        return static_cast<std::size_t>(geometry.elements[static_cast<std::size_t>(neighbor.atom)]);
    };
    reserve(neighbors.size());
    starts.assign(numElems + 1, 0);
    for (const Neighbor& neighbor : neighbors) {
        ++starts[elementOf(neighbor) + 1];
    }
    std::partial_sum(starts.begin(), starts.end(), starts.begin());
    nexts.assign(starts.begin(), starts.end() - 1);
    const float* const center = geometry.positions.data() + 3 * static_cast<std::size_t>(iatom);
    for (const Neighbor& neighbor : neighbors) {
        const auto position = geometry.computeNeighborPosition(neighbor);
        float* const place = values.data() + nexts[elementOf(neighbor)]++;
        place[0] = center[0] - position[0];
        place[stride] = center[1] - position[1];
        place[2 * stride] = center[2] - position[2];
    }
    for (std::size_t c = 0; c < 3; ++c) {
        std::fill_n(values.data() + c * stride + neighbors.size(), pairPadding, 1.0f);
    }
}

void PairNeighbors::reserve(std::size_t count) {
    if (count + pairPadding > stride) {
        // Room to spare, since the next atom may have a few neighbours more.
        stride = (count + count / 4 + 2 * pairPadding) / pairPadding * pairPadding;
        values.resize(3 * stride);
    }
}

} // namespace melta
