#pragma once

#include <string>

namespace melta {

// Asks on the console for the numbers and cutoffs of the Behler functions and writes a file with a grid of
// them, over an existing one. Each of the questions has a default that an empty, unreadable or impossible
// answer and the end of the input mean, so that it always ends. Stops as writeBehlerTemplate does.
void askForBehlerFile(const std::string& fileName);

} // namespace melta
