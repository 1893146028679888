// Lines of a template of the properties file.
#pragma once

#include "config/Property.hpp"

#include <span>
#include <string>
#include <variant>

namespace melta {

// A key and the setting that a template shows behind it.
struct TemplateLine {
    const char* key;
    std::variant<int Property::*, float Property::*> field;
};

// The lines with the present settings; real numbers have three decimals, or an exponent where these would
// show nothing.
std::string linesText(const Property& property, std::span<const TemplateLine> lines);

} // namespace melta
