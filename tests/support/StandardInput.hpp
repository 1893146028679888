#pragma once

#include "support/TemporaryDirectory.hpp"

#include <string>

namespace melta::test {

// While it lives, the standard input of the process holds this text and then ends.
class StandardInput {
public:
    explicit StandardInput(const std::string& text);
    ~StandardInput();
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;

private:
    TemporaryDirectory directory;
    int previous; // descriptor of the input before, negative if there was none
};

} // namespace melta::test
