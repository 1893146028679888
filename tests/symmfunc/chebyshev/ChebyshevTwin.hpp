// The Chebyshev symmetry functions once more, in double precision and in the most obvious way: one pair and
// one order at a time, straight from the formulas. What the fast kernels are measured with.
#pragma once

#include "symmfunc/TwinTools.hpp"

namespace melta::test {

struct ChebyshevSettings {
    int numElems = 1;
    bool tanhCutoff = true;
    bool elemWeight = true;
    int numRadius = 1;
    int numAngle = 0;
    float rcutRadius = 6.0f; // Angstrom
    float rcutAngle = 6.0f;  // Angstrom
};

// The scales of the result are the sums of the magnitudes that the terms can reach: weight and cutoff for the
// values, with polynomials of size 1, and their slopes for the derivatives, with polynomial slopes of size
// k^2.
TwinResult computeTwin(const ChebyshevSettings& settings, const Neighborhood& hood);

} // namespace melta::test
