#pragma once

#include <cmath>

namespace melta {

// How far an analytic derivative and a numerical one are apart, as the tables of the numerical checks show
// it.
struct GradientDifference {
    GradientDifference(float analytic, float numerical)
        : error(std::abs(analytic - numerical)),
          percent(error * 100.0f / std::abs((analytic + numerical) * 0.5f + 1.0e-16f)) {}

    float error;   // in the unit of the derivatives
    float percent; // of their mean; 0 when both are 0
};

} // namespace melta
