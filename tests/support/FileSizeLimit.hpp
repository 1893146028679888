#pragma once

#include <csignal>
#include <sys/resource.h>

namespace melta::test {

// While it lives, no file can grow beyond a number of bytes, as on a full disk. The process gets an error
// from the write and no signal.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t numBytes) : oldAction(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &oldLimit);
        rlimit limit = oldLimit;
        limit.rlim_cur = numBytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &oldLimit);
        std::signal(SIGXFSZ, oldAction);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*oldAction)(int);
    rlimit oldLimit{};
};

} // namespace melta::test
