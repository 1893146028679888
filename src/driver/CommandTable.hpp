#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace melta {

// Runs one mode from its first object to its last. `words` is the positional list; word 0 is the command
// word.
using ModeFunction = void (*)(std::span<const std::string> words);

enum class Threading { serial, parallel };

// One mode of the command: the word and its aliases, what runs it, and whether it works with a team of
// threads.
struct Command {
    std::vector<std::string_view> names;
    ModeFunction run;
    Threading threading;
};

std::span<const Command> commandTable();

// The mode with exactly this word among its names, or null.
const Command* findCommand(std::string_view word);

} // namespace melta
