// How a long run is asked to end in good order by a signal: Ctrl-C, the end of a time slot, a lost terminal.
#pragma once

namespace melta {

// From now on SIGINT, SIGTERM and SIGHUP are requests that isInterrupted() tells, for modes that look. A
// further signal ends the process at once, with the default action of that signal; what follows the first one
// within a twentieth of a second belongs to it, because shells and schedulers send a signal to a process and
// to its group. A SIGHUP that is ignored stays ignored, so that a run outlives its terminal when it was
// started so. A second call does nothing.
void installInterruptHandlers();

// Gives the signals back the actions that they had before, and forgets a request.
void removeInterruptHandlers() noexcept;

// Whether a signal has asked the run to end. Never before the handlers are installed.
bool isInterrupted() noexcept;

} // namespace melta
