// Which signs of the coefficients of a pair of elements make physical sense: going from r^-10 to r^-6, the
// sign may change from positive to negative once, and not back. Zero counts as neither.
#pragma once

#include "baseline/classical/PairCutoff.hpp"

#include <array>

namespace melta {

// Coefficients are A, B, C, D.
bool hasValidSigns(const std::array<float, numPowers>& coefs);

// Whether the pair has no attraction and no soft repulsion: |B|, |C| and |D| below 0.000001.
bool isNullPair(const std::array<float, numPowers>& coefs);

// Coefficients with a positive A of at least 0.01, and with none that is negative before the positive one of
// the lowest power.
std::array<float, numPowers> repairSigns(const std::array<float, numPowers>& coefs);

} // namespace melta
