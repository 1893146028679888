// The baseline potential of a run, whichever it is.
#pragma once

#include "structure/BaselinePotential.hpp"
#include "structure/BaselineRemoval.hpp"

#include <memory>
#include <string>

namespace melta {

class GeometrySet;
class Property;

// What takes a potential out of a set that is marked for it (BaselineKind::mark), says so, and
// does nothing to other sets. `baselineFile`: the parameters of the potential. The removal stops as the
// reading of the file and the potential do.
BaselineRemoval makeBaselineRemoval(const std::string& baselineFile);

// The same for the set that networks are trained on: completes the file from its data before
// (BaselineKind::completeParameters).
BaselineRemoval makeTrainingRemoval(const std::string& baselineFile);

// The potential that the settings have switched on, for a set's elements; null without one. Both arguments
// are borrowed. Stops as the reading of the file does.
std::unique_ptr<BaselinePotential> makeBaseline(const GeometrySet* set, const Property* property,
                                                const std::string& baselineFile);

} // namespace melta
