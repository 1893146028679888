#pragma once

#include <cstdint>

namespace melta {

// One entry of a neighbour list: an atom of the cell and the numbers of cell vectors by which its image is
// shifted. Integers only, so that a list stays valid when merely the data of the atoms change.
struct Neighbor {
    std::int32_t atom; // index of the atom in the cell, 0-based
    std::int32_t ia;   // shift along cell vector 0
    std::int32_t ib;   // shift along cell vector 1
    std::int32_t ic;   // shift along cell vector 2

    bool operator==(const Neighbor&) const = default;
};
static_assert(sizeof(Neighbor) == 16);

} // namespace melta
