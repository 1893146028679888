#pragma once

#include "base/Reporting.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

namespace melta::test {

// What a stop becomes under test.
struct Stopped : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// While it lives, stops throw Stopped instead of ending the process.
class StopCatcher {
public:
    StopCatcher();
    ~StopCatcher();
    StopCatcher(const StopCatcher&) = delete;
    StopCatcher& operator=(const StopCatcher&) = delete;

private:
    StopHandler previous;
};

// The message that `action` stops with, or "(no stop)".
std::string stopMessageOf(const std::function<void()>& action);

// What `action` prints on the standard output.
std::string outputOf(const std::function<void()>& action);

} // namespace melta::test
