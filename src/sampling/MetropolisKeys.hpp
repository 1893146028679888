#pragma once

#include "sampling/MetropolisInput.hpp"

#include <string>

namespace melta {

// Stores what a line "key value" of the head of a Metropolis input file says. `line` begins with a word.
//
// Stops with "unknown key word: %s" (the word); "incorrect '%s'" (the key) without a number behind it or with
// one that is not finite; "%s is not positive: %s" (the key, the file) for what has to be.
void readMetropolisKey(MetropolisInput& input, const std::string& line, const std::string& fileName);

} // namespace melta
