#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--test": errors of the trained network on "melta.test". With the command word "--test-with-bias"
// the tables show absolute energies. Word 1, if given, says whether element labels are reduced to symbols;
// stops with "cannot read the value of the regularElem." when it is no number.
void runAccuracyTest(std::span<const std::string> words);

} // namespace melta
