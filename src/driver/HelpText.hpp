#pragma once

namespace melta {

// Prints how the command is called, with all its modes.
void printHelp();

} // namespace melta
