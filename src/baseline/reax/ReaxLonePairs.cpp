#include "baseline/reax/ReaxLonePairs.hpp"

#include "baseline/reax/ReaxParam.hpp"

#include <cmath>
#include <numbers>

namespace melta {
namespace {

constexpr double a = ReaxParam::lpLower;
constexpr double b = ReaxParam::lpUpper;
constexpr double c = ReaxParam::lpDamp;
constexpr double pi = std::numbers::pi;

// T(w), from 1 at w = 0 to 0 at w = b - a, and its derivative.
struct Taper {
    double value;
    double slope;
};

Taper computeTaper(double w) {
    constexpr double d = b - a;
    const double u = w / d;
    const double u3 = u * u * u;
    const double value = 1.0 + u3 * u * (-35.0 + u * (84.0 + u * (-70.0 + u * 20.0)));
    const double slope = u3 * (-140.0 + u * (420.0 + u * (-420.0 + u * 140.0))) / d;
    return {value, slope};
}

} // namespace

LonePairCount countLonePairs(double deltaE) {
    const double x = deltaE;
    if (x >= -a && x < a) {
        return {0.0, 0.0};
    }
    const double cosine = std::cos(pi * x);
    const double y = -0.5 * x - 0.5 - std::atan(c * std::sin(-pi * x) / (c * cosine - 1.0)) / pi;
    const double g = (c * c - 1.0) / (2.0 * c * c + 2.0 - 4.0 * c * cosine);
    if (x >= b) {
        return {y + 1.0, g};
    }
    if (x < -b) {
        return {y, g};
    }
    if (x >= a) {
        const Taper taper = computeTaper(b - x);
        return {(y + 1.0) * taper.value, g * taper.value - y * taper.slope};
    }
    const Taper taper = computeTaper(x + b);
    return {y * taper.value, g * taper.value + y * taper.slope};
}

} // namespace melta
