// The products of three harmonics that make the four-body invariants.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace melta {

// A term of an invariant: the coefficient times the densities of three harmonics, numbered as in
// RealHarmonics.hpp.
struct ClusterMonomial {
    std::array<std::uint16_t, 3> harmonics; // ascending
    float coefficient;
};

// The invariants of three degrees 1 <= l1 <= l2 <= l3 <= maxAngular: all with an even sum and
// l3 <= l1 + l2, in ascending order of l3, then l2, then l1. The others vanish or, with an odd sum, change
// their sign in a mirror.
struct ClusterTriples {
    std::vector<std::array<int, 3>> degrees; // [numTriples]
    std::vector<std::size_t> starts;         // [numTriples + 1], first monomial of each triple
    std::vector<ClusterMonomial> monomials;
};

// With coefficients G(l1 m1, l2 m2, l3 m3), the integrals over the sphere of the products of three
// harmonics, scaled so that the sum of G^2 over m1, m2 and m3 is 1. Equal products stand once, their
// coefficients added up; those of a triple are in ascending order of their harmonics.
ClusterTriples makeClusterTriples(int maxAngular);

std::size_t countClusterTriples(int maxAngular);

} // namespace melta
