#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--import": writes "melta.train" from an extended XYZ file, which word 1 names. Stops with "the
// name of an extended XYZ file is missing." without it, and as DataImporter.
void runImport(std::span<const std::string> words);

} // namespace melta
