#include "support/KilledChild.hpp"

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace melta::test {
namespace {

[[noreturn]] void runTraced(const std::function<void()>& work) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    std::raise(SIGSTOP);
    work();
    std::_Exit(0);
}

int waitFor(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, 0) != child) {
        throw std::runtime_error("a child process has got lost");
    }
    return status;
}

} // namespace

bool killAtSystemCall(int n, const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        runTraced(work);
    }
    if (child < 0 || !WIFSTOPPED(waitFor(child))) {
        throw std::runtime_error("a child process cannot be traced");
    }
    // A call stops the child twice, on its way in and on its way out.
    for (int stop = 0; stop <= 2 * n; ++stop) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        if (WIFEXITED(waitFor(child))) {
            return false;
        }
    }
    kill(child, SIGKILL);
    waitFor(child);
    return true;
}

} // namespace melta::test
