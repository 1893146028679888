#include "base/Reporting.hpp"

#include "base/Run.hpp"

#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

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

// Room for a message when there is no memory for it.
std::string makeSpareText() {
    std::string text;
    text.reserve(1024);
    return text;
}
std::string spareText = makeSpareText();

std::string formatStop(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::string text;
    try {
        text = formatArguments(format, arguments);
    } catch (const std::bad_alloc&) {
        text = std::exchange(spareText, {});
        text.resize(text.capacity());
        std::vsnprintf(text.data(), text.size(), format, again);
        text.resize(std::strlen(text.c_str()));
    }
    va_end(again);
    return text;
}

// While it lives, other threads wait with what they want to print.
class OutputLock {
public:
    OutputLock() { flockfile(stdout); }
    ~OutputLock() { funlockfile(stdout); }
    OutputLock(const OutputLock&) = delete;
    OutputLock& operator=(const OutputLock&) = delete;
};

bool isLineOpen = false; // belongs to whoever holds the lock

void print(std::string_view text) {
    if (const Run& run = Run::current(); !run.isOfProcess()) {
        run.print(text);
        return;
    }
    const OutputLock lock;
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (!text.empty()) {
        isLineOpen = text.back() != '\n';
    }
}

// Leaves without running destructors: other threads may still be inside a parallel region. The lock is never
// given back, so that of several threads that stop at once only the first one speaks, and nobody speaks
// behind it.
[[noreturn]] void printAndExit(const std::string& message) {
    const OutputLock lock;
    std::printf("%s[STOP] %s\n", isLineOpen ? "\n" : "", message.c_str());
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
    const std::string message = formatStop(format, arguments);
    va_end(arguments);
    if (const Run& run = Run::current(); !run.isOfProcess()) {
        run.stop(message);
    }
    currentHandler(message);
    std::abort();
}

// Nearly all texts are short, and those are printed even where there is no memory left.
void printOut(const char* format, ...) {
    std::array<char, 1024> text;
    va_list arguments;
    va_list again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (length >= static_cast<int>(text.size())) {
        print(formatArguments(format, again));
    } else if (length > 0) {
        print({text.data(), static_cast<std::size_t>(length)});
    }
    va_end(again);
}

void noteLineEnd() {
    const OutputLock lock;
    isLineOpen = false;
}

void flushOut() {
    if (Run::current().isOfProcess()) {
        std::fflush(stdout);
    }
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
