#pragma once

#include <optional>
#include <string>

namespace melta {

// Prints the prompt ">>> " behind a question of a dialogue and reads one line of the standard input, without
// its line end. Empty when the input has ended, so that a dialogue without a user falls back to its defaults
// or gives up, but never waits or asks for ever. A longer line than `LineReader::maxLineLength` is cut there.
std::optional<std::string> readAnswer();

} // namespace melta
