#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--dft": writes input files and scripts for Quantum ESPRESSO (DFTTool.hpp), whose data go to
// "melta.train" or "melta.test". Word 1, if given, names the template of the input files; otherwise the
// console is asked for it.
void runDFT(std::span<const std::string> words);

} // namespace melta
