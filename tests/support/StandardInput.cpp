#include "support/StandardInput.hpp"

#include <cstdio>
#include <stdexcept>
#include <unistd.h>

namespace melta::test {

StandardInput::StandardInput(const std::string& text) : previous(dup(STDIN_FILENO)) {
    const std::string fileName = directory.file("stdin");
    writeTextFile(fileName, text);
    if (std::freopen(fileName.c_str(), "r", stdin) == nullptr) {
        throw std::runtime_error("cannot replace the standard input");
    }
}

StandardInput::~StandardInput() {
    if (previous >= 0) {
        dup2(previous, fileno(stdin));
        close(previous);
    }
    std::clearerr(stdin);
}

} // namespace melta::test
