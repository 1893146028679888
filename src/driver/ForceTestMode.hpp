#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--force": compares the forces of the trained network with finite differences of its energy on the
// first geometry of "melta.test". Word 1, if given, is the shift of a coordinate in Angstrom; word 2 says
// whether element labels are reduced to symbols. Stops with "cannot read the value of the position-shift."
// and "cannot read the value of the regularElem." when they are no numbers.
void runForceTest(std::span<const std::string> words);

} // namespace melta
