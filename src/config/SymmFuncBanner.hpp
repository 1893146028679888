#pragma once

#include "config/BannerLine.hpp"
#include "config/Property.hpp"

namespace melta {

// The block of the banner on symmetry functions, with the methods that it cites. Empty for an unknown kind.
BannerBlock makeSymmFuncBlock(const Property& property);

} // namespace melta
