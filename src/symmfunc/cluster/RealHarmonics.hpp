// Real spherical harmonics Y_lm, scaled so that the sum over m of Y_lm^2 is 1 for each l:
//
//     Y_l,m = p_lm(z) Re (x + i y)^m,  Y_l,-m = p_lm(z) Im (x + i y)^m,  m >= 0,
//     p_lm(z) = sqrt((2 - delta_m0) (l - m)! / (l + m)!) d^m P_l(z) / dz^m
//
// with P_l the Legendre polynomials. Harmonic (l, m) stands at l (l + 1) + m, polynomial p_lm at
// l (l + 1) / 2 + m.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace melta {

// Coefficients of the recurrences that make the polynomials of all degrees up to `maxAngular`:
//
//     p_mm = start_m,  p_lm = ofLast z p_l-1,m - ofBefore p_l-2,m,  d p_lm / dz = ofSlope p_l,m+1
//
struct HarmonicTables {
    std::size_t maxAngular = 0;
    std::vector<float> start;    // [maxAngular + 1]
    std::vector<float> ofLast;   // [(maxAngular + 1) (maxAngular + 2) / 2], in the order of the polynomials
    std::vector<float> ofBefore; // the same
    std::vector<float> ofSlope;  // the same; 0 for m = l
};

HarmonicTables makeHarmonicTables(int maxAngular);

// All harmonics up to that degree for one direction, a unit vector.
std::vector<double> computeHarmonics(int maxAngular, const std::array<double, 3>& direction);

} // namespace melta
