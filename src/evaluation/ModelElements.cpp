#include "evaluation/ModelElements.hpp"

#include "structure/ElementSymbols.hpp"

#include <algorithm>

namespace melta {

int ModelElements::indexOf(const std::string& label) {
    const auto [found, isNew] = known.try_emplace(label, -1);
    if (isNew) {
        std::string symbol = label;
        regularizeElement(symbol);
        found->second = find(label);
        found->second = found->second < 0 ? find(symbol) : found->second;
        found->second = found->second < 0 ? findSame(label) : found->second;
    }
    return found->second;
}

int ModelElements::find(const std::string& label) const {
    const auto found = std::ranges::find(labels, label);
    return found == labels.end() ? -1 : static_cast<int>(found - labels.begin());
}

int ModelElements::findSame(const std::string& label) const {
    const int number = findAtomicNumber(label);
    const auto isSame = [number](const std::string& other) { return findAtomicNumber(other) == number; };
    if (number < 1 || std::ranges::count_if(labels, isSame) != 1) {
        return -1;
    }
    return static_cast<int>(std::ranges::find_if(labels, isSame) - labels.begin());
}

} // namespace melta
