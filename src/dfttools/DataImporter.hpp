#pragma once

#include "structure/io/StructureSource.hpp"

#include <string>

namespace melta {

// What an import has written.
struct ImportCounts {
    int geometries = 0;
    long long atoms = 0;
    int withAtomEnergy = 0;
    int withStress = 0;
};

// Writes all structures of a source to a new data file, which takes its name when it is complete.
// `sourceName` is named where the source has none. Stops with "the file is there already: %s" (`dataFile`),
// as the source, with "there are no geometries: %s", and as FileReplacement.
ImportCounts importStructures(StructureSource& source, const std::string& sourceName,
                              const std::string& dataFile);

// Stops with "the file is there already: %s" where a data file would be overwritten. Finishes a replacement
// of it that was cut short.
void requireNoDataFile(const std::string& dataFile);

} // namespace melta
