#include "base/Reporting.hpp"

#include "base/Run.hpp"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
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

// The line of status, as far as it fits, and whether the terminal shows it now; they belong to whoever holds
// the lock. Empty without one.
std::string statusText;
bool isStatusShown = false;

// The same for a signal handler: whether the terminal may show a part of such a line.
std::atomic<bool> mayShowStatus{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler must not wait for a lock");

constexpr std::string_view lineEraser = "\r\x1b[K";

void hideStatus() {
    if (std::exchange(isStatusShown, false)) {
        std::fwrite(lineEraser.data(), 1, lineEraser.size(), stdout);
    }
}

// Not in the middle of another line, whose text would be lost.
void drawStatus() {
    if (!statusText.empty() && !isLineOpen) {
        mayShowStatus = true;
        std::fwrite(statusText.data(), 1, statusText.size(), stdout);
        std::fflush(stdout);
        isStatusShown = true;
    }
}

std::size_t findTerminalWidth() {
    constexpr std::size_t usualWidth = 80;
    winsize size{};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : usualWidth;
}

void print(std::string_view text) {
    if (const Run& run = Run::current(); !run.isOfProcess()) {
        run.print(text);
        return;
    }
    const OutputLock lock;
    hideStatus();
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (!text.empty()) {
        isLineOpen = text.back() != '\n';
    }
    drawStatus();
}

// Leaves without running destructors: other threads may still be inside a parallel region. The lock is never
// given back, so that of several threads that stop at once only the first one speaks, and nobody speaks
// behind it.
[[noreturn]] void printAndExit(const std::string& message) {
    const OutputLock lock;
    hideStatus();
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

bool canShowStatus() {
    const char* const kind = std::getenv("TERM");
    const bool isAble = kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
    return isAble && isatty(STDOUT_FILENO) != 0 && isatty(STDERR_FILENO) != 0 && Run::current().isOfProcess();
}

void showStatus(const std::string& text) {
    if (!canShowStatus()) {
        return;
    }
    const OutputLock lock;
    hideStatus();
    // A full line would move the cursor into the next one, where it cannot be erased.
    statusText = text.substr(0, findTerminalWidth() - 1);
    drawStatus();
}

void removeStatus() {
    const OutputLock lock;
    if (!statusText.empty()) {
        hideStatus();
        statusText.clear();
        std::fflush(stdout);
        mayShowStatus = false;
    }
}

void removeStatusAtSignal() noexcept {
    if (mayShowStatus) {
        static_cast<void>(!write(STDOUT_FILENO, lineEraser.data(), lineEraser.size()));
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
