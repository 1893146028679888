#include "base/StopFile.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace melta {

void StopFile::create() const {
    // Whatever else bears the name is no request; a pipe would let the writer wait.
    std::error_code ignored;
    if (!std::filesystem::is_other(name, ignored)) {
        const std::ofstream file(name);
    }
}

bool StopFile::exists() const {
    std::error_code ignored;
    return std::filesystem::is_regular_file(name, ignored) && std::ifstream(name).is_open();
}

bool StopFile::consume() const {
    if (!exists()) {
        return false;
    }
    std::remove(name.c_str());
    return true;
}

} // namespace melta
