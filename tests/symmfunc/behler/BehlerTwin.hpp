// The Behler symmetry functions once more, in double precision and in the most obvious way: one pair and one
// function at a time, straight from the formulas. What the fast kernels are measured with.
#pragma once

#include "symmfunc/TwinTools.hpp"

#include <vector>

namespace melta::test {

struct BehlerSettings {
    int numElems = 1;
    bool tanhCutoff = true;
    bool elemWeight = true;
    bool behlerG4 = false;
    float rcutRadius = 6.0f; // Angstrom
    float rcutAngle = 6.0f;  // Angstrom
    std::vector<float> radiusEta = {0.5f};
    std::vector<float> radiusShift = {0.0f};
    std::vector<float> angleEta = {};
    std::vector<float> angleZeta = {};
    std::vector<float> angleShift = {};
};

// The scales of the result are the magnitudes of the terms times how much they react to small changes of the
// positions.
TwinResult computeTwin(const BehlerSettings& settings, const Neighborhood& hood);

} // namespace melta::test
