#pragma once

#include "baseline/classical/ClassicalParameters.hpp"

#include <vector>

namespace melta {

// Pulls pair potentials up where they fall below a floor: mean square depth under the floor over distances
// from 0.01 to 10 Angstrom, added up over all pairs.
class ClassicalPenalty {
public:
    float penalty = 0.0f; // eV^2

    // `lowerLimit`: the floor, negative, eV.
    ClassicalPenalty(const PairCutoff& cutoff, float lowerLimit);

    // Computes the penalty and adds its pull to the gradients. The pull has the sign of the depth and grows
    // with r^n instead of following the base functions. It lifts the far side of a well most, but it is not
    // the derivative of the penalty, so that a line search may refuse every step along it.
    void addLowerPenalty(const ClassicalParameters& parameters, ClassicalGradients& gradients);

private:
    struct Point {
        std::array<float, numPowers> values; // base functions
        std::array<float, numPowers> powers; // r^n
    };

    float lower;
    std::vector<Point> points; // of the grid, those within the cutoff
};

} // namespace melta
