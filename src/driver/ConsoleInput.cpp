#include "driver/ConsoleInput.hpp"

#include "driver/LineReader.hpp"
#include "driver/Reporting.hpp"

#include <cstdio>

namespace melta {

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
    return answer;
}

} // namespace melta
