#pragma once

#include <span>
#include <string>
#include <vector>

namespace melta {

// The words of a command line, taken apart: melta [--omp N | --cpu N] COMMAND [WORD [WORD]], with the option
// at any place.
struct CommandLine {
    int numThreads = 0; // value of "--omp" or "--cpu"; 0 when none was given or none could be read
    std::vector<std::string> words; // all other words in order; word 0 is the command word

    [[nodiscard]] int numArgs() const { return static_cast<int>(words.size()); }
};

// Takes apart the words behind the program name. An option in the last place is ignored; one whose next word
// is no whole number leaves that word in the list; of several options the last one counts. There is no limit
// to the number of words: a mode looks at the few that it knows.
CommandLine parseCommandLine(std::span<const std::string> arguments);

} // namespace melta
