#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--export": joins the files of the trained model in "ffield.melta". Takes no further words. Stops
// as Property::peekData and exportForceField do.
void runExport(std::span<const std::string> words);

} // namespace melta
