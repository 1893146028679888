#include "structure/io/StructureFormats.hpp"

#include <algorithm>

namespace melta {

static_assert(structureFormats.back().suffix.empty(), "a file of any name must find a format");

std::unique_ptr<StructureSource> openStructures(const std::string& fileName, bool withCharge) {
    const auto fits = [&](const StructureFormat& format) { return fileName.ends_with(format.suffix); };
    return std::ranges::find_if(structureFormats, fits)->open(fileName, withCharge);
}

} // namespace melta
