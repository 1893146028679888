#pragma once

#include "base/LineReader.hpp"

#include <array>
#include <string>
#include <vector>

namespace melta {

// The card SWAPPING of a Metropolis input file: the pairs of elements that change places.
struct SwappingCard {
    std::vector<std::array<std::string, 2>> pairs; // names
    std::vector<float> temperatures;               // [pairs], K; noTemperature where the line gives none

    static constexpr float noTemperature = -1.0f;
};

// Reads the lines behind the word SWAPPING: the number of pairs; for each pair a line "elementA elementB
// [temperature]". What stands in the place of the temperature and is no number is ignored.
//
// "%s" is the file. Stops with "cannot read #swapping: %s", "incorrect #swapping: %s", "cannot read swapping
// pair: %s", "incorrect swapping pair: %s" also for a name of more than 8 characters and a temperature that
// is not finite, "same-element swapping: %s".
SwappingCard readSwappingCard(LineReader& reader, const std::string& fileName);

} // namespace melta
