#pragma once

#include <span>
#include <utility>

namespace melta {

class RandomSource;

// Two independent numbers of the standard normal distribution, from two numbers of the source, in single
// precision. The method of G. E. P. Box and M. E. Muller, Ann. Math. Stat. 29 (1958) 610, with the cosine
// first.
[[nodiscard]] std::pair<float, float> randomGaussians(RandomSource& random);

// Displaces some atoms, each in a random direction (LebedevDirections.hpp) by a normally distributed distance
// with the standard deviation `length`. Atoms are taken in the order of the list, two for each pair of normal
// numbers. Nothing for an empty list.
//
// `atoms`: indices into `positions` [atoms of the geometry][3]. Lengths in Angstrom.
void shiftInitially(std::span<const int> atoms, float length, std::span<float> positions,
                    RandomSource& random);

} // namespace melta
