#pragma once

#include <span>
#include <string>

namespace melta {

// The mode "--split": divides "melta.train" into a new "melta.train", a new "melta.test" and, where it has a
// share, a new "melta.valid". Words 1 and 2, if given, are the shares of the test data and of the validation
// data; stops with "cannot read the rate to split training data into testing data." ("validation data") when
// one is no number. Without word 1 asks for the shares on the console.
void runSplit(std::span<const std::string> words);

} // namespace melta
