#include "driver/CommandLine.hpp"

#include "base/FieldScanner.hpp"

namespace melta {
namespace {

bool isThreadOption(const std::string& word) {
    return word == "--omp" || word == "--cpu";
}

} // namespace

CommandLine parseCommandLine(std::span<const std::string> arguments) {
    CommandLine line;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!isThreadOption(arguments[i])) {
            line.words.push_back(arguments[i]);
        } else if (i + 1 < arguments.size()) {
            line.numThreads = 0;
            if (FieldScanner(arguments[i + 1]).readInt(line.numThreads)) {
                ++i;
            }
        }
    }
    return line;
}

} // namespace melta
