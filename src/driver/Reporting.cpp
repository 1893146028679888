#include "driver/Reporting.hpp"

#include <cstdarg>
#include <cstdlib>

namespace melta {
namespace {

std::string formatArguments(const char* format, va_list arguments) {
    va_list counting;
    va_copy(counting, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, counting);
    va_end(counting);
    if (length <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

// Leaves without running destructors: other threads may still be inside a parallel region.
[[noreturn]] void printAndExit(const std::string& message) {
    std::printf("[STOP] %s\n", message.c_str());
    std::fflush(nullptr);
    std::_Exit(1);
}

void defaultHandler(const std::string& message) {
    printAndExit(message);
}

StopHandler currentHandler = defaultHandler;

} // namespace

StopHandler setStopHandler(StopHandler handler) {
    const StopHandler previous = currentHandler;
    currentHandler = handler != nullptr ? handler : defaultHandler;
    return previous;
}

void stopWithMessage(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = formatArguments(format, arguments);
    va_end(arguments);
    currentHandler(message);
    std::abort();
}

void printOut(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

void flushOut() {
    std::fflush(stdout);
}

std::string formatText(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = formatArguments(format, arguments);
    va_end(arguments);
    return text;
}

int numProcesses() {
    return 1;
}

int processRank() {
    return 0;
}

bool isRootProcess() {
    return processRank() == 0;
}

} // namespace melta
