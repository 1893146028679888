#pragma once

#include "sampling/MetropolisInput.hpp"

namespace melta {

// Prints what a Metropolis walk is going to do; nothing for one that has no kind of moves.
void printMetropolisSummary(const MetropolisInput& input);

} // namespace melta
