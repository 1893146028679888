#pragma once

#include "base/FieldScanner.hpp"

#include <algorithm>
#include <cmath>
#include <span>

namespace melta {

// Reads a number as FieldScanner does, but takes NaN and infinities for unreadable: they would pass every
// check that is made by comparison.
inline bool readFinite(FieldScanner& scanner, float& value) {
    return scanner.readFloat(value) && std::isfinite(value);
}
inline bool readFinite(FieldScanner& scanner, double& value) {
    return scanner.readDouble(value) && std::isfinite(value);
}

// Reads a number into each place. Those behind one that cannot be read stay as they are.
inline bool readFinite(FieldScanner& scanner, std::span<float> values) {
    return std::ranges::all_of(values, [&scanner](float& value) { return readFinite(scanner, value); });
}
inline bool readFinite(FieldScanner& scanner, std::span<double> values) {
    return std::ranges::all_of(values, [&scanner](double& value) { return readFinite(scanner, value); });
}

} // namespace melta
