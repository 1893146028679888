#pragma once

#include <span>
#include <string>

namespace melta {

// The whole command: sets up arithmetic and threads, and runs the mode that the first positional word names,
// or prints the help text when there is none. `arguments` are the words behind the program name. Gives the
// exit status 0; every failure is a stop.
int runCommand(std::span<const std::string> arguments);

} // namespace melta
