#pragma once

#include "dfttools/DFTDialogue.hpp"

#include <string>

namespace melta {

// The text of a script that runs all jobs, each in a directory "dft_out/out.N" of its own, and appends the
// files "*.melta" that they leave to `dataFile`. It begins with removing what an earlier run has left: the
// data file and the directory "dft_out".
//
// The first is for the command processor of Windows, the second for a POSIX shell.
[[nodiscard]] std::string batchScriptOf(const DFTJobs& jobs, const std::string& dataFile);
[[nodiscard]] std::string shellScriptOf(const DFTJobs& jobs, const std::string& dataFile);

} // namespace melta
