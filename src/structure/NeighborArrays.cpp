#include "structure/NeighborArrays.hpp"

#include "structure/Geometry.hpp"

#include <algorithm>
#include <cmath>

namespace melta {

void NeighborArrays::update(const Geometry& geometry, int iatom) {
    const auto neighbors = geometry.getNeighbors(iatom);
    const float* const center = geometry.positions.data() + 3 * static_cast<std::size_t>(iatom);
    centralElement = geometry.elements[static_cast<std::size_t>(iatom)];
    reserve(neighbors.size());
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        const auto position = geometry.computeNeighborPosition(neighbors[n]);
        const auto atom = static_cast<std::size_t>(neighbors[n].atom);
        store(n, {position[0] - center[0], position[1] - center[1], position[2] - center[2]},
              {geometry.elements[atom], geometry.atomNumbers[atom], neighbors[n].atom,
               static_cast<std::int32_t>(n)});
    }
    finish(neighbors.size());
}

void NeighborArrays::update(const HostAtoms& host, int iatom, std::span<const std::int32_t> list,
                            float rcut) {
    const double* const center = host.positions.data() + 3 * static_cast<std::size_t>(iatom);
    const double limit = static_cast<double>(rcut) * static_cast<double>(rcut);
    centralElement = host.elements[static_cast<std::size_t>(iatom)];
    reserve(list.size());
    std::size_t count = 0;
    for (std::size_t n = 0; n < list.size(); ++n) {
        const std::int32_t atom = list[n] & host.indexMask;
        const std::int32_t element = host.elements[static_cast<std::size_t>(atom)];
        const double* const position = host.positions.data() + 3 * static_cast<std::size_t>(atom);
        const double x = position[0] - center[0];
        const double y = position[1] - center[1];
        const double z = position[2] - center[2];
        if (element >= 0 && x * x + y * y + z * z < limit) {
            store(count++, {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)},
                  {element, host.atomNumbers[static_cast<std::size_t>(element)], atom,
                   static_cast<std::int32_t>(n)});
        }
    }
    finish(count);
}

void NeighborArrays::reserve(std::size_t count) {
    if (count + padding > stride) {
        // Room to spare, since the next atom may have a few neighbours more.
        stride = (count + count / 4 + 2 * padding) / padding * padding;
        values.resize(numArrays * stride);
        integers.resize(numIntArrays * stride);
    }
}

void NeighborArrays::store(std::size_t place, const std::array<float, 3>& d,
                           const std::array<std::int32_t, 4>& numbers) {
    for (std::size_t c = 0; c < 3; ++c) {
        values[(1 + c) * stride + place] = d[c];
    }
    for (std::size_t which = 0; which < numIntArrays; ++which) {
        integers[which * stride + place] = numbers[which];
    }
}

void NeighborArrays::finish(std::size_t count) {
    numNeighbors = count;
    float* const distance = values.data();
    float* const x = distance + stride;
    float* const y = x + stride;
    float* const z = y + stride;
    for (float* const coordinate : {x, y, z}) {
        std::fill_n(coordinate + count, padding, 1.0f);
    }
    for (std::size_t n = 0; n < count + padding; ++n) {
        distance[n] = std::sqrt(x[n] * x[n] + y[n] * y[n] + z[n] * z[n]);
    }
}

} // namespace melta
