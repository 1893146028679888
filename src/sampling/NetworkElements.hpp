#pragma once

#include <span>
#include <string>
#include <vector>

namespace melta {

// For each of `names` the network's name: the same one or, if there is none, the one that is left after
// regularizeElement. Stops with "the neural network does not have the element: %s" (the name).
std::vector<std::string> findNetworkElements(std::span<const std::string> names,
                                             std::span<const std::string> networkNames);

} // namespace melta
