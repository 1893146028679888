#include "driver/StopFile.hpp"

#include <cstdio>
#include <fstream>

namespace melta {

void StopFile::create() const {
    const std::ofstream file(name);
}

bool StopFile::exists() const {
    return std::ifstream(name).is_open();
}

bool StopFile::consume() const {
    if (!exists()) {
        return false;
    }
    std::remove(name.c_str());
    return true;
}

} // namespace melta
