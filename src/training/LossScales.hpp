#pragma once

#include <span>
#include <vector>

namespace melta {

class Property;

// Factors of a loss term with the weight `coefficient`, one for each of `numElems` elements. With `sqrtLoss`
// the coefficient enters squared, because the root of the loss then carries it itself; with `renormLoss` each
// factor is divided by the square of the element's deviation, so that errors count relative to the spread of
// the data. Stops with "index of element is out of range." where a deviation is missing.
std::vector<float> makeLossScales(const Property& property, float coefficient,
                                  std::span<const float> deviations, int numElems);

} // namespace melta
