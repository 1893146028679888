#pragma once

#include <span>
#include <string>

namespace melta {

// "--classical": fits the Lennard-Jones-like potential to "melta.train" and writes "melta.class". Word 1:
// name of the properties file. Stops as the reading of settings and data and as
// ClassicalPot::optimizeParameters.
void runClassicalFit(std::span<const std::string> words);

} // namespace melta
