#include "support/StopCatcher.hpp"

#include "base/Reporting.hpp"

namespace melta::test {
namespace {

void throwStopped(const std::string& message) {
    throw Stopped(message);
}

} // namespace

StopCatcher::StopCatcher() : previous(setStopHandler(throwStopped)) {}

StopCatcher::~StopCatcher() {
    setStopHandler(previous);
}

std::string stopMessageOf(const std::function<void()>& action) {
    const StopCatcher catcher;
    try {
        action();
    } catch (const Stopped& stopped) {
        return stopped.what();
    }
    return "(no stop)";
}

std::string outputOf(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    try {
        action();
    } catch (...) {
        // Whoever reports the exception wants to be heard.
        testing::internal::GetCapturedStdout();
        throw;
    }
    flushOut();
    return testing::internal::GetCapturedStdout();
}

} // namespace melta::test
