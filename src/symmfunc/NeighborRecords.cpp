#include "symmfunc/NeighborRecords.hpp"

#include "structure/Geometry.hpp"
#include "symmfunc/CutoffKernels.hpp"

#include <algorithm>
#include <cmath>

namespace melta {

void NeighborRecords::update(const Geometry& geometry, int iatom, bool tanhCutoff, float rcutRadius,
                             float rcutAngle) {
    reserve(geometry.obtainNeighbors(iatom).size());
    fillPlaces(geometry, iatom);
    if (!(rcutRadius > 0.0f)) {
        return;
    }
    fillCutoffs(tanhCutoff, rcutRadius, 4);
    if (!(rcutAngle > 0.0f)) {
        return;
    }
    if (std::fabs(rcutRadius - rcutAngle) > 0.0001f) {
        fillCutoffs(tanhCutoff, rcutAngle, 6);
    } else {
        std::ranges::copy(fcRadius(), writable(6).begin());
        std::ranges::copy(dfcRadius(), writable(7).begin());
    }
}

void NeighborRecords::reserve(std::size_t count) {
    numNeighbors = count;
    if (count + padding > stride) {
        // Room to spare, since the next atom may have a few neighbours more.
        stride = (count + count / 4 + 2 * padding) / padding * padding;
        values.resize(numArrays * stride);
        elementOf.resize(stride);
        numberOf.resize(stride);
    }
}

void NeighborRecords::fillPlaces(const Geometry& geometry, int iatom) {
    const auto neighbors = geometry.obtainNeighbors(iatom);
    const float* center = geometry.positions.data() + 3 * static_cast<std::size_t>(iatom);
    const auto distance = writable(0);
    const auto x = writable(1);
    const auto y = writable(2);
    const auto z = writable(3);
    for (std::size_t n = 0; n < numNeighbors; ++n) {
        const auto position = geometry.obtainNeighborPosition(neighbors[n]);
        x[n] = position[0] - center[0];
        y[n] = position[1] - center[1];
        z[n] = position[2] - center[2];
        const auto atom = static_cast<std::size_t>(neighbors[n].atom);
        elementOf[n] = geometry.elements[atom];
        numberOf[n] = geometry.atomNumbers[atom];
    }
    // Neighbours that are harmless in any arithmetic, for the lanes behind the last one.
    for (const auto& coordinate : {x, y, z}) {
        std::ranges::fill(coordinate.subspan(numNeighbors), 1.0f);
    }
    for (std::size_t n = 0; n < distance.size(); ++n) {
        distance[n] = std::sqrt(x[n] * x[n] + y[n] * y[n] + z[n] * z[n]);
    }
}

void NeighborRecords::fillCutoffs(bool tanhCutoff, float rcut, std::size_t first) {
    const auto value = writable(first);
    const auto derivative = writable(first + 1);
    if (tanhCutoff) {
        computeTanhCutoff(r(), rcut, value, derivative);
    } else {
        computeCosineCutoff(r(), rcut, value, derivative);
    }
}

} // namespace melta
