#pragma once

#include "base/AlignedBuffer.hpp"
#include "symmfunc/ShellGradient.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace melta {

// Memory of a gradient in the order of a shell, kept from atom to atom; belongs to one thread.
class ShellGradientBuffer {
public:
    // Zeros for `size` neighbours, padding included.
    ShellGradient clear(std::size_t size) {
        length = size;
        values.reserve(3 * length);
        std::ranges::fill(values.span().first(3 * length), 0.0f);
        return get();
    }

    // As it is since the last clear.
    [[nodiscard]] ShellGradient get() {
        const std::span<float> all = values.span().first(3 * length);
        return {all.first(length), all.subspan(length, length), all.last(length)};
    }

    // Adds the neighbours of a shell, whose places in the neighbour list are `entries`, to byPositions
    // [3][neighbours], which is in the order of the list.
    void addTo(std::span<const std::int32_t> entries, std::span<float> byPositions) {
        const ShellGradient gradient = get();
        const std::size_t numNeighbors = byPositions.size() / 3;
        for (std::size_t n = 0; n < entries.size(); ++n) {
            const auto entry = static_cast<std::size_t>(entries[n]);
            byPositions[entry] += gradient.x[n];
            byPositions[numNeighbors + entry] += gradient.y[n];
            byPositions[2 * numNeighbors + entry] += gradient.z[n];
        }
    }

private:
    std::size_t length = 0;
    AlignedBuffer<float> values; // [3][length]
};

} // namespace melta
