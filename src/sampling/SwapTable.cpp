#include "sampling/SwapTable.hpp"

#include "base/Reporting.hpp"

#include <algorithm>

namespace melta {

SwapTable::SwapTable(const MetropolisInput& input) : numVacancies(input.numVacancies) {
    if (input.numSwaps < 1) {
        return;
    }
    swapLists.resize(input.elemNames.size());
    for (std::size_t atom = 0; atom < input.elemAtoms.size(); ++atom) {
        if (input.fixAtoms[atom] == 0) {
            swapLists[static_cast<std::size_t>(input.elemAtoms[atom])].push_back(static_cast<int>(atom));
        }
    }
    for (const std::array<std::string, 2>& names : input.swapPairs) {
        // One after the other, for the sake of the messages.
        const int first = findIndex(input, names[0]);
        const int second = findIndex(input, names[1]);
        swapIndices.push_back({first, second});
    }
}

int SwapTable::findIndex(const MetropolisInput& input, const std::string& name) const {
    if (name == vacancyName && numVacancies > 0) {
        return vacancy;
    }
    const auto found = std::ranges::find(input.elemNames, name);
    if (found == input.elemNames.end()) {
        stopWithMessage("a swapping element is not contained in the geometry: %s", name.c_str());
    }
    const auto element = static_cast<int>(found - input.elemNames.begin());
    if (countOf(element) < 1) {
        stopWithMessage("all swapping atoms are fixed: %s", name.c_str());
    }
    return element;
}

int SwapTable::countOf(int index) const {
    return index == vacancy ? numVacancies
                            : static_cast<int>(swapLists[static_cast<std::size_t>(index)].size());
}

int SwapTable::atomOf(int element, int place) const {
    return swapLists[static_cast<std::size_t>(element)][static_cast<std::size_t>(place)];
}

} // namespace melta
