#include "sampling/NetworkElements.hpp"

#include "base/Reporting.hpp"
#include "structure/ElementSymbols.hpp"

#include <algorithm>

namespace melta {

std::vector<std::string> findNetworkElements(std::span<const std::string> names,
                                             std::span<const std::string> networkNames) {
    std::vector<std::string> found;
    for (const std::string& name : names) {
        auto networkName = std::ranges::find(networkNames, name);
        if (networkName == networkNames.end()) {
            std::string symbol = name;
            regularizeElement(symbol);
            networkName = std::ranges::find(networkNames, symbol);
        }
        if (networkName == networkNames.end()) {
            stopWithMessage("the neural network does not have the element: %s", name.c_str());
        }
        found.push_back(*networkName);
    }
    return found;
}

} // namespace melta
