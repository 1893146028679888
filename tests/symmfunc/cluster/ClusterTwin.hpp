// The cluster functions once more, in double precision and by another way than the fast ones: three-body
// functions as sums over pairs of neighbours of Legendre polynomials of the angle between them, four-body
// functions as averages over all directions of three sums over neighbours. No harmonics occur.
#pragma once

#include "symmfunc/TwinTools.hpp"
#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include <vector>

namespace melta::test {

struct ClusterTwinSettings {
    int numElems = 1;
    bool tanhCutoff = true;
    ClusterSettings sizes;
    std::vector<float> weights{1.0f}; // [numElems][channels]
};

// The scale of a value is the sum of the sizes that its terms may have in any direction; in that of a
// derivative each term counts as much as it may change when a length changes by 1 Angstrom.
TwinResult computeTwin(const ClusterTwinSettings& settings, const Neighborhood& hood);

} // namespace melta::test
