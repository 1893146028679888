#pragma once

#include "config/Property.hpp"

#include <string>

namespace melta {

// Applies the keys of a properties file to the fields, each with its own check. A key may stand more than
// once, the last one counts; checks between keys are up to the caller. With `chargeMode` the keys of the
// network shape mean the charge network. Stops with "cannot open file: %s", "unknown key word: %s" (the key),
// "incorrect '...'" for a key whose value is missing or unreadable, or with the message of the key's check.
void readPropertyKeys(Property& property, const std::string& fileName, bool chargeMode);

} // namespace melta
