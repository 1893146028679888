#pragma once

#include "structure/Geometry.hpp"

#include <span>
#include <vector>

namespace melta::bench {

// The Behler symmetry functions in their plainest form, in single precision: each pair and each function for
// itself, with an exponential and a power call for each, and derivatives added to all rows as they come. Tanh
// cutoff, one radius for both blocks. What the kernels are compared with.
struct PlainBehler {
    int numElems;
    bool elemWeight;
    bool behlerG4;
    float rcut;
    std::vector<float> radiusEta, radiusShift;
    std::vector<float> angleEta, angleZeta, angleShift;

    [[nodiscard]] int numBasis() const;
    void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                   std::span<float> symmDiff) const;
};

} // namespace melta::bench
