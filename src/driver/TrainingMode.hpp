#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--train": fits the energy networks to "melta.train". Word 1, if given, names the properties file.
void runEnergyTraining(std::span<const std::string> words);

// The mode "--train-charge": fits the charge networks. Words as above.
void runChargeTraining(std::span<const std::string> words);

} // namespace melta
