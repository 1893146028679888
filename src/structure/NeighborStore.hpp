#pragma once

#include "structure/Neighbor.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melta {

struct NeighborLists;

// Keeps the neighbour lists of all atoms of a cell in one array. Lists can be replaced one by one: each has a
// stretch of the array, which moves to the end with room to spare when it gets too short. So memory is
// bounded by the longest list that each atom ever has, however often lists are replaced.
class NeighborStore {
public:
    // Takes lists that lie behind each other.
    void assign(NeighborLists lists);

    // Forgets all lists but keeps the memory, for lists that are then appended atom by atom. `list` must not
    // lie in the store.
    void startOver();
    void append(std::span<const Neighbor> list);

    // Gives the memory back.
    void clear();

    [[nodiscard]] bool empty() const { return stretches.empty(); }

    // The list of an atom; valid until the next change.
    [[nodiscard]] std::span<const Neighbor> operator[](std::size_t atom) const {
        return {records.data() + stretches[atom].first, stretches[atom].size};
    }

    // Takes another list for an atom. `list` must not lie in the store.
    void replace(std::size_t atom, std::span<const Neighbor> list);

    // Entries that the array has room for.
    [[nodiscard]] std::size_t capacity() const { return records.capacity(); }

private:
    struct Stretch {
        std::size_t first;
        std::uint32_t size;
        std::uint32_t room;
    };

    std::vector<Neighbor> records;
    std::vector<Stretch> stretches; // [numAtoms]
};

} // namespace melta
