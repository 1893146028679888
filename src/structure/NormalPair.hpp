#pragma once

#include <utility>

namespace melta {

class RandomSource;

// Two independent numbers of the standard normal distribution, from two numbers of the source. The method of
// G. E. P. Box and M. E. Muller, Ann. Math. Stat. 29 (1958) 610, with the sine first. Since the source has
// 32768 values, no number is larger than sqrt(2 ln 32768) = 4.56 in size.
[[nodiscard]] std::pair<double, double> drawNormalPair(RandomSource& random);

} // namespace melta
