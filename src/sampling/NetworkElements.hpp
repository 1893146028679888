#pragma once

#include <span>
#include <string>
#include <vector>

namespace melta {

// The names of the elements that a network was trained on, from the file of its symmetry-function
// distributions: the number of elements begins the first line, and each of the next lines begins with a name.
//
// "%s" is the file. Stops with "cannot open file: %s", "cannot read #elements: %s", "incorrect #elements:
// %s", "cannot read name of element: %s", "incorrect name of element: %s" for a blank line and for a name of
// more than 8 characters.
std::vector<std::string> readNetworkElements(const std::string& gdistFile);

// For each of `names` the network's name: the same one or, if there is none, the one that is left after
// regularizeElement. Stops with "the neural network does not have the element: %s" (the name).
std::vector<std::string> findNetworkElements(std::span<const std::string> names,
                                             std::span<const std::string> networkNames);

} // namespace melta
