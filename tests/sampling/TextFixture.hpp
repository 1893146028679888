#pragma once

#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <string>

namespace melta::test {

// An empty working directory, so that files go by the names that users know.
class TextFixture : public testing::Test {
private:
    TemporaryDirectory directory;
    WorkingDirectory workingDirectory{directory.path()};
};

// Text with the line ends of Windows.
inline std::string withCarriageReturns(const std::string& text) {
    std::string result;
    for (const char character : text) {
        result += character == '\n' ? "\r\n" : std::string(1, character);
    }
    return result;
}

inline std::string withoutLastCharacter(const std::string& text) {
    return text.substr(0, text.size() - 1);
}

} // namespace melta::test
