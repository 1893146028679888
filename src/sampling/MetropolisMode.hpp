#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--metro-temp": writes the input file "melta.metro" of a Metropolis walk, with the defaults and
// the first geometry of "melta.train". Stops as NNMetropolis::writeTemplate.
void runMetropolisTemplate(std::span<const std::string> words);

} // namespace melta
