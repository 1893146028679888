// Failures of the library.
#pragma once

#include "melta/Export.hpp"

#include <stdexcept>

namespace melta {

// What is wrong with a model, a view or an argument, in the words in which the command would say it (behind
// its "[STOP] ").
class MELTA_API Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace melta
