// The many-body symmetry functions once more, in double precision and in the most obvious way: one pair and
// one triple of grid points at a time, straight from the formulas. What the fast kernels are measured with.
#pragma once

#include "symmfunc/TwinTools.hpp"

namespace melta::test {

struct ManyBodySettings {
    int numElems = 1;
    int m2 = 1;
    int m3 = 0;
    float rinner = 0.0f; // Angstrom
    float router = 6.0f; // Angstrom
};

// In the scales each term counts as much as it changes when lengths change by 1 Angstrom.
TwinResult computeTwin(const ManyBodySettings& settings, const Neighborhood& hood);

} // namespace melta::test
