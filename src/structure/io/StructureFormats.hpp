#pragma once

#include "structure/io/StructureSource.hpp"

#include <array>
#include <memory>
#include <string>
#include <string_view>

namespace melta {

// A format of files that structures can be read from. `open` opens a file; `withCharge`: the share of
// energies and forces that the charges carry is taken out, where the format tells it. Stops with "cannot open
// file: %s".
struct StructureFormat {
    std::string_view suffix; // end of the names of its files
    std::unique_ptr<StructureSource> (*open)(const std::string& fileName, bool withCharge);
};

[[nodiscard]] std::unique_ptr<StructureSource> openDataFile(const std::string& fileName, bool withCharge);

// A file is of the first format whose suffix ends its name. The last one takes any name.
inline constexpr std::array structureFormats{
    StructureFormat{"", openDataFile},
};

// Opens a file in the format that its name tells. Stops with "cannot open file: %s".
[[nodiscard]] std::unique_ptr<StructureSource> openStructures(const std::string& fileName, bool withCharge);

} // namespace melta
