// What the settings of kinds with a radial and an angular part have in common: sizes and cutoffs of the two,
// the weight by element and the form of the cutoff.
#pragma once

#include "config/KeyRow.hpp"
#include "config/TemplateText.hpp"

#include <array>

namespace melta {

inline constexpr std::array rangeKeys{
    onOff("elemWeight", &Property::elemWeight),
    onOff("tanhCutoff", &Property::tanhCutoff),
    integer("numRadius", &Property::numRadius, Check::positive),
    integer("numAngle", &Property::numAngle, Check::notNegative),
    real("rcutRadius", &Property::rcutRadius, Check::positive),
    real("rcutAngle", &Property::rcutAngle, Check::notNegative),
};

inline constexpr std::array weightLines{
    TemplateLine{"elemWeight", &Property::elemWeight},
    TemplateLine{"tanhCutoff", &Property::tanhCutoff},
};

// The form of the cutoff in the banner.
const char* cutoffText(const Property& property);

// The larger cutoff of the parts in use, 0 with neither, Angstrom.
float largestOfCutoffs(const Property& property);

// Whether all of these settings mean the same.
bool haveSameRanges(const Property& a, const Property& b);

} // namespace melta
