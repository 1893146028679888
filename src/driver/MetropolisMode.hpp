#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--metro": a Metropolis walk on the networks in "melta.data", steered by "melta.metro", in search
// of geometries that the training data do not cover. Stops as Property::peekData,
// NNMetropolis::readMetropolisFile and NNMetropolis::performMonteCarlo.
void runMetropolis(std::span<const std::string> words);

// The mode "--metro-temp": writes the input file "melta.metro" of a Metropolis walk, with the defaults and
// the first geometry of "melta.train". Stops as NNMetropolis::writeTemplate.
void runMetropolisTemplate(std::span<const std::string> words);

} // namespace melta
