#pragma once

#include "sampling/MetropolisInput.hpp"

#include <array>
#include <cstddef>
#include <vector>

namespace melta {

// Which places the swapping pairs of a walk can exchange: for each element its mobile atoms, and the pairs
// with numbers for names.
class SwapTable {
public:
    // Stands for the vacancies where otherwise the number of an element stands.
    static constexpr int vacancy = -1;

    // Empty without pairs. Stops, pair by pair and name by name, with "a swapping element is not contained in
    // the geometry: %s" for an element without atoms and for vacancies where there are none, and with "all
    // swapping atoms are fixed: %s". "%s" is the name.
    explicit SwapTable(const MetropolisInput& input);

    // What a pair exchanges: elements (MetropolisInput::elemNames) or `vacancy`.
    [[nodiscard]] const std::array<int, 2>& indicesOf(std::size_t pair) const { return swapIndices[pair]; }

    // Number of places of an element or of `vacancy`.
    [[nodiscard]] int countOf(int index) const;

    // Mobile atom of an element; 0 to countOf(element) - 1, ascending.
    [[nodiscard]] int atomOf(int element, int place) const;

private:
    [[nodiscard]] int findIndex(const MetropolisInput& input, const std::string& name) const;

    int numVacancies;
    std::vector<std::vector<int>> swapLists;     // [elements], the mobile atoms of each
    std::vector<std::array<int, 2>> swapIndices; // [pairs]
};

} // namespace melta
