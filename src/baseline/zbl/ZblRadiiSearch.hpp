#pragma once

#include "baseline/zbl/ZblFile.hpp"

#include <string>
#include <vector>

namespace melta {

class GeometrySet;
class Property;

// Radii that the user has chosen for all pairs, Angstrom; 0: found from the data.
struct ZblWishes {
    double inner = 0.0;
    double outer = 0.0;
};

// Adds the pairs of a set's elements that `entries` lacks, and gives the number of them.
//
// The switch ends at the shortest distance of the two elements in the data, so that the repulsion is zero
// there; for a pair that the data do not bring together, at the sum of their covalent radii. It ends at
// `cutoff` at the latest, how far the neighbour lists reach, Angstrom. It begins at 0.75 of where it ends.
// Both are rounded down to the digits of the file. The lists have to be there. Stops as requireZblRadii with
// `fileName`.
std::size_t addMissingRadii(std::vector<ZblRadii>& entries, const GeometrySet& set, const ZblWishes& wishes,
                            double cutoff, const std::string& fileName);

} // namespace melta
