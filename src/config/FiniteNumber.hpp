#pragma once

#include "base/FieldScanner.hpp"

#include <cmath>

namespace melta {

// Reads a number as FieldScanner does, but takes NaN and infinities for unreadable: they would pass every
// check that is made by comparison.
inline bool readFinite(FieldScanner& scanner, float& value) {
    return scanner.readFloat(value) && std::isfinite(value);
}

} // namespace melta
