#pragma once

#include <span>
#include <string>

namespace melta {

// The modes "--debug" and "--debug-charge": compare the gradient of the energy or the charge networks' loss
// with finite differences. Word 1, if given, is the shift of a parameter, word 2 names the properties file.
// Both stop with "cannot read the value of the weight/bias-shift." when word 1 is no number.
void runEnergyDebug(std::span<const std::string> words);
void runChargeDebug(std::span<const std::string> words);

} // namespace melta
