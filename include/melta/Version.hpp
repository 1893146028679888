#pragma once

#include "melta/Export.hpp"

namespace melta {

// The version of the library, such as "1.0.0".
MELTA_API const char* version();

} // namespace melta
