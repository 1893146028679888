// How a run speaks and how it fails. Everything below the command's entry uses these operations only, so that
// a host program can redirect both without touching the library: what a run of its own (Run.hpp) prints goes
// to the host's sink, and its stops throw Error.
#pragma once

#include <cstdio>
#include <string>

#if defined(__GNUC__)
#define MELTA_PRINTF_FORMAT(formatIndex, firstArgument)                                                      \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define MELTA_PRINTF_FORMAT(formatIndex, firstArgument)
#endif

namespace melta {

// Receives the text of a failure (without the "[STOP] " mark). It must not return normally: it ends the
// process or throws. When it does return, the process is aborted.
using StopHandler = void (*)(const std::string& message);

// Installs the process-wide stop handler and gives the previous one. A null pointer brings back the default,
// which prints "[STOP] %s\n" on the standard output, at the start of a line, and ends the process at once
// with exit status 1, destroying nothing. Of several threads that stop at once the first one does so, and the
// others wait for the end.
StopHandler setStopHandler(StopHandler handler);

// Reports a fatal condition to the stop handler. Safe to call from inside a parallel region with the default
// handler; with a throwing handler the region needs a ParallelGuard.
[[noreturn]] void stopWithMessage(const char* format, ...) MELTA_PRINTF_FORMAT(1, 2);

// Formatted printing to the standard output, or to the sink of a host's run.
void printOut(const char* format, ...) MELTA_PRINTF_FORMAT(1, 2);

// Tells that something else has ended the line that printOut has begun, such as the echo of a terminal.
void noteLineEnd();

// Flushes the standard output, at the milestones of long runs.
void flushOut();

// Whether a line of status can be shown: standard output and standard error are terminals, of a kind (TERM)
// that can erase a line, and the run is that of the process.
[[nodiscard]] bool canShowStatus();

// Shows one line of status below all that is printed, where that is possible, in place of the one before. It
// stays below what is printed later, and only its first part is shown where the terminal is too narrow. A
// stop removes it.
void showStatus(const std::string& text);

// Removes the line of status; the terminal then looks as if there had been none.
void removeStatus();

// The same for a signal handler, behind which the process ends.
void removeStatusAtSignal() noexcept;

// Formats like printf into a string.
std::string formatText(const char* format, ...) MELTA_PRINTF_FORMAT(1, 2);

// Identity of this process among those that share a run: one process, number 0.
int numProcesses();
int processRank();
bool isRootProcess();

} // namespace melta
