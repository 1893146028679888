#pragma once

#include "config/Property.hpp"

#include <string>

namespace melta {

// The settings that training and sampling modes begin with: the defaults, then what an existing network file
// says about the model, then the keys of the properties file. A properties file of a name of its own that is
// missing is told in a line behind the banner. Stops as readProperty does.
Property loadConfiguration(const std::string& propertyFile, bool chargeMode);

// The same for the fit of the Lennard-Jones-like potential, which L-BFGS alone can do.
Property loadClassicalConfiguration(const std::string& propertyFile);

// File of the baseline's parameters: that of the Lennard-Jones-like potential when no baseline is on.
std::string baselineFileOf(const Property& property);

} // namespace melta
