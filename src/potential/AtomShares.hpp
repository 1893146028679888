#pragma once

#include <cstddef>
#include <span>

namespace melta {

// Share `share` of `numShares` contiguous shares of as many atoms each as can be.
inline std::span<const int> partOf(std::span<const int> atoms, std::size_t share, std::size_t numShares) {
    const std::size_t first = atoms.size() * share / numShares;
    return atoms.subspan(first, atoms.size() * (share + 1) / numShares - first);
}

} // namespace melta
