#pragma once

#include "structure/Geometry.hpp"

#include <span>
#include <vector>

namespace melta::bench {

// The Chebyshev symmetry functions in their plainest form, in single precision: each pair and each order for
// itself, with a cosine and a sine call for each, and derivatives added to all rows as they come. Tanh
// cutoff, one radius for both blocks. What the kernels are compared with.
struct PlainChebyshev {
    int numElems;
    bool elemWeight;
    int numRadius;
    int numAngle;
    float rcut;

    [[nodiscard]] int numBasis() const;
    void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                   std::span<float> symmDiff) const;
};

} // namespace melta::bench
