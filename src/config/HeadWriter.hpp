// The settings of a model in the head of its files, as HeadReader reads them.
#pragma once

#include "config/Property.hpp"

#include <cstdio>
#include <initializer_list>

namespace melta {

// Writes them, up to and including the shapes of the networks. Stops with "unknown symmetry function.".
void writeHeadSettings(std::FILE* stream, const Property& property);

// For the kinds of symmetry functions: two sizes and two lengths without a line end, and a line of numbers.
void writeHeadSizes(std::FILE* stream, int radialSize, int angularSize, float firstLength,
                    float secondLength);
void writeHeadRow(std::FILE* stream, std::initializer_list<float> numbers);

} // namespace melta
