#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--evaluate": the model of the directory on the frames of the extended XYZ file that word 1 names,
// into the one that word 2 names. Stops with "two names of extended XYZ files are needed: --evaluate IN OUT"
// without them, as Potential::load, and as FrameStream.
void runEvaluation(std::span<const std::string> words);

} // namespace melta
