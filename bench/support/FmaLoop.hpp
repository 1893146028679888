#pragma once

#include <cstddef>

namespace melta::bench {

// Runs so many rounds of multiply-adds that wait for nothing but the processor's units, and gives a sum of
// the results.
float runMultiplyAdds(std::size_t numRounds);

// Multiply-adds of one round: of single-precision numbers, not of vectors.
std::size_t countMultiplyAdds();

} // namespace melta::bench
