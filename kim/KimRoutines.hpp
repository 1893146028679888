#pragma once

#include "KIM_ModelHeaders.hpp"

#include <string>

namespace melta {

class Potential;

// The species of an element. Throws Error if KIM has none of this name.
KIM::SpeciesName speciesOf(const std::string& element);

} // namespace melta

// The routine by which KIM creates a model: reads the force field beside this library. Not 0 if that fails;
// what is wrong stands in the log of KIM and on the standard error, because simulators say no more than that
// there was an error.
extern "C" int melta_kim_create(KIM::ModelCreate* create, KIM::LengthUnit length, KIM::EnergyUnit energy,
                                KIM::ChargeUnit charge, KIM::TemperatureUnit temperature, KIM::TimeUnit time);
