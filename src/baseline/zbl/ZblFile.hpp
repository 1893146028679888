// The file of the radii of the ZBL repulsion, which an exported force field takes as it is.
//
//     n                                number of pairs of elements
//     label label inner outer          n lines, Angstrom
#pragma once

#include "base/LineReader.hpp"

#include <span>
#include <string>
#include <vector>

namespace melta {

// Where the switch of two elements begins and ends, Angstrom.
struct ZblRadii {
    std::string first;
    std::string second;
    double inner;
    double outer;
};

// The entry of two elements, in either order; null when there is none.
const ZblRadii* findZblRadii(std::span<const ZblRadii> entries, const std::string& first,
                             const std::string& second);

// Stops with "incorrect radii of ZBL for %s and %s: %s" (the labels, `fileName`) unless 0 <= inner < outer.
void requireZblRadii(const ZblRadii& radii, const std::string& fileName);

// Reads the lines; what follows them is left. `fileName`: the opened file, for messages. Stops with "cannot
// read #pairs of ZBL: %s", "cannot read a pair of ZBL: %s" and as requireZblRadii.
std::vector<ZblRadii> readZblFile(LineReader& file, const std::string& fileName);

// Replaces the file. Stops with "cannot open file: %s" and "cannot write file: %s".
void writeZblFile(const std::string& fileName, std::span<const ZblRadii> entries);

} // namespace melta
