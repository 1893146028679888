// What a Monte Carlo walk says on the console.
#pragma once

#include "sampling/MetropolisInput.hpp"

#include <cstdint>
#include <span>
#include <string>

namespace melta {

struct WalkStep;

// An energy in seven columns, with fewer decimals the larger it is.
std::string formatEnergy(float value);

// Prints the head of the walk, with the number of chains if there are several.
void printWalkTitle(int replicas);

// Prints one step, with how many of the wanted geometries there are.
void printWalkStep(const WalkStep& step, std::int32_t numOutput, std::int32_t numGeoms);

// Prints how many moves of each kind were accepted; counts [numSwaps + 1] as in MonteCarloWalk.
void printWalkCounts(const MetropolisInput& input, std::span<const std::int32_t> acceptedCounts,
                     std::span<const std::int32_t> totalCounts);

} // namespace melta
