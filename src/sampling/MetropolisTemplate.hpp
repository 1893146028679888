#pragma once

#include "sampling/MetropolisInput.hpp"

#include <string>

namespace melta {

class GeometrySet;

// Writes an input file of a Metropolis walk: the settings of `input`, a proposal of swapping pairs as
// comments, and the first geometry of `set`. An older file stays until the new one is complete. Stops with
// "index of geometry is out of range.", "index of element is out of range.", "cannot open file: %s" and
// "cannot write file: %s".
void writeMetropolisTemplate(const std::string& fileName, const MetropolisInput& input,
                             const GeometrySet& set);

} // namespace melta
