#pragma once

#include "base/Reporting.hpp"

#include <string>
#include <vector>

namespace melta {

// One line of the banner: a label, padded to its column, and the value as it is printed. Headings have no
// value.
struct BannerLine {
    std::string label;
    std::string value;
};

using BannerBlock = std::vector<BannerLine>;

inline const BannerLine emptyLine{};

// The method that the decomposition into atomic energies and the many-body functions come from.
inline constexpr const char* energyDecompositionCitation =
    "Y. Huang, J. Kang, W. A. Goddard III, and L.-W. Wang, Rhys. Rev. B 99, 064103 (2019)";

inline std::string yesNoText(int flag) {
    return flag != 0 ? "Yes" : "No";
}

// A number with three or seven decimals, or with an exponent, and its unit; the unit brings its own blank.
inline std::string shortText(float value, const char* unit = "") {
    return formatText("%.3f%s", static_cast<double>(value), unit);
}
inline std::string longText(float value, const char* unit = "") {
    return formatText("%.7f%s", static_cast<double>(value), unit);
}
inline std::string exponentText(float value, const char* unit = "") {
    return formatText("%.3e%s", static_cast<double>(value), unit);
}

} // namespace melta
