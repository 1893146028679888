#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--behler": the dialogue for the Behler functions of the working directory. Takes no further
// words. Stops as askForBehlerFile.
void runBehler(std::span<const std::string> words);

} // namespace melta
