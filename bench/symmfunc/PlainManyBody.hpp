#pragma once

#include "structure/Geometry.hpp"

#include <span>
#include <vector>

namespace melta::bench {

// The many-body symmetry functions in their plainest form, in single precision: everything is cleared first,
// then each pair adds its terms, with a cosine and a sine call for each grid point that is not known from an
// outer loop, to all rows as they come. What the kernels are compared with.
struct PlainManyBody {
    int numElems;
    int m2;
    int m3;
    float rinner;
    float router;

    [[nodiscard]] int numBasis() const;
    void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                   std::span<float> symmDiff) const;
};

} // namespace melta::bench
