#include "base/DirectoryLock.hpp"

#include "base/Reporting.hpp"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace melta {
namespace {

bool isHeldByAnother(int descriptor) {
    int result = 0;
    do {
        result = flock(descriptor, LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result != 0 && errno == EWOULDBLOCK;
}

void closeIfOpen(int descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

} // namespace

DirectoryLock::DirectoryLock() : descriptor(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (descriptor >= 0 && isHeldByAnother(descriptor)) {
        closeIfOpen(descriptor);
        std::error_code ignored;
        stopWithMessage("another run works in this directory: %s",
                        std::filesystem::current_path(ignored).c_str());
    }
}

DirectoryLock::~DirectoryLock() {
    closeIfOpen(descriptor);
}

} // namespace melta
