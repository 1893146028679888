#pragma once

#include "evaluation/FrameResults.hpp"
#include "structure/io/ExtxyzFrame.hpp"

#include <string>

namespace melta {

// A frame of extended XYZ with results in place of the reference data that it had. Entries of its comment
// that are neither results nor about the columns stay as they are; columns other than elements and positions
// do not.
[[nodiscard]] std::string writeFrame(const ExtxyzFrame& frame, const FrameResults& results);

} // namespace melta
