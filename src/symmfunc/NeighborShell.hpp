#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace melta {

// Neighbours inside a cutoff, those of one element side by side. Arrays have `size` entries and at least
// shellPadding more that are readable and finite. Lengths in Angstrom.
struct NeighborShell {
    std::size_t size = 0;
    std::span<const float> dx, dy, dz;   // neighbour minus central position
    std::span<const float> r;            // its length
    std::span<const float> fc;           // cutoff function times the neighbour's share of the weight
    std::span<const float> dfc;          // derivative of fc by r
    std::span<const std::int32_t> entry; // position in the atom's neighbour list
};
constexpr std::size_t shellPadding = 16;

// A run of neighbours of a shell.
struct NeighborRange {
    std::size_t begin;
    std::size_t end;
    bool operator==(const NeighborRange&) const = default;
};

} // namespace melta
