#include "base/ConsoleInput.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"

#include <cstdio>
#include <unistd.h>

namespace melta {
namespace {

// Whether what a user types appears behind the prompt.
bool isEchoed() {
    return isatty(fileno(stdin)) != 0 && isatty(STDOUT_FILENO) != 0;
}

} // namespace

std::optional<std::string> readAnswer() {
    printOut(">>> ");
    flushOut();
    std::string answer;
    int character = std::getc(stdin);
    if (character == EOF) {
        return std::nullopt;
    }
    for (; character != EOF && character != '\n'; character = std::getc(stdin)) {
        if (answer.size() < LineReader::maxLineLength) {
            answer.push_back(static_cast<char>(character));
        }
    }
    if (character == '\n' && isEchoed()) {
        noteLineEnd();
    }
    return answer;
}

} // namespace melta
