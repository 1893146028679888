#include "driver/StopFile.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace melta {

void StopFile::create() const {
    const std::ofstream file(name);
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
