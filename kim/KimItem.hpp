#pragma once

#include <string>

namespace melta {

// The folder that this library was loaded from; KIM takes its last part for the name of the model. So one
// compiled library serves all models: each has its copy beside its force field.
const std::string& itemFolder();

} // namespace melta
