#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace melta {

class RandomSource;

// A point of a quadrature rule on the unit sphere.
struct LebedevDirection {
    std::array<double, 3> vector;
    double weightBefore; // sum of the weights of all points before this one
};

// The 350 points of the rule of V. I. Lebedev and D. N. Laikov, Doklady Mathematics 59 (1999) 477, which
// integrates all spherical harmonics through degree 31 exactly. The weights sum to 1.
//
// Points stand orbit by orbit: the 6 axes, the 8 corners of a cube, then orbits of 24 and of 48. Within an
// orbit the places of the coordinates change slowest ((a,a,b) (a,b,a) (b,a,a) for 24 points with two equal
// ones, (a,b,0) (b,a,0) (a,0,b) (b,0,a) (0,a,b) (0,b,a), (a,b,c) (a,c,b) (b,a,c) (b,c,a) (c,a,b) (c,b,a)),
// then the sign of z, that of y, and that of x.
inline constexpr std::size_t numLebedevDirections = 350;
[[nodiscard]] std::span<const LebedevDirection, numLebedevDirections> lebedevDirections();

// The last point whose `weightBefore` is at most u; the first one for u below 0.
[[nodiscard]] std::size_t findLebedevDirection(double u);

// A unit vector drawn from the points with the probability of their weights. Takes one number of the source.
[[nodiscard]] const std::array<double, 3>& drawDirection(RandomSource& random);

} // namespace melta
