#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--split": divides "melta.train" into a new "melta.train" and a new "melta.test". Word 1, if
// given, is the share of the test data; stops with "cannot read the rate to split training data into testing
// data." when it is no number. Asks for the share on the console otherwise.
void runSplit(std::span<const std::string> words);

} // namespace melta
