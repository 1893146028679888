#pragma once

#include <cmath>

namespace melta::test {

// A value with its derivative along one direction. Formulas written for a number type give exact derivatives
// when they are evaluated with this one.
struct ReaxTwinNumber {
    double value = 0.0;
    double slope = 0.0;

    ReaxTwinNumber() = default;
    // Implicit, so that constants can stand in the formulas.
    ReaxTwinNumber(double constant) : value(constant) {}
    ReaxTwinNumber(double v, double s) : value(v), slope(s) {}
};

inline double valueOf(double x) {
    return x;
}
inline double valueOf(const ReaxTwinNumber& x) {
    return x.value;
}

inline ReaxTwinNumber operator-(const ReaxTwinNumber& a) {
    return {-a.value, -a.slope};
}
inline ReaxTwinNumber operator+(const ReaxTwinNumber& a, const ReaxTwinNumber& b) {
    return {a.value + b.value, a.slope + b.slope};
}
inline ReaxTwinNumber operator-(const ReaxTwinNumber& a, const ReaxTwinNumber& b) {
    return {a.value - b.value, a.slope - b.slope};
}
inline ReaxTwinNumber operator*(const ReaxTwinNumber& a, const ReaxTwinNumber& b) {
    return {a.value * b.value, a.slope * b.value + a.value * b.slope};
}
inline ReaxTwinNumber operator/(const ReaxTwinNumber& a, const ReaxTwinNumber& b) {
    const double quotient = a.value / b.value;
    return {quotient, (a.slope - quotient * b.slope) / b.value};
}
inline ReaxTwinNumber& operator+=(ReaxTwinNumber& a, const ReaxTwinNumber& b) {
    return a = a + b;
}

inline ReaxTwinNumber exp(const ReaxTwinNumber& x) {
    const double e = std::exp(x.value);
    return {e, e * x.slope};
}
inline ReaxTwinNumber log(const ReaxTwinNumber& x) {
    return {std::log(x.value), x.slope / x.value};
}
inline ReaxTwinNumber sqrt(const ReaxTwinNumber& x) {
    const double root = std::sqrt(x.value);
    return {root, x.slope / (2.0 * root)};
}
inline ReaxTwinNumber sin(const ReaxTwinNumber& x) {
    return {std::sin(x.value), std::cos(x.value) * x.slope};
}
inline ReaxTwinNumber cos(const ReaxTwinNumber& x) {
    return {std::cos(x.value), -std::sin(x.value) * x.slope};
}
inline ReaxTwinNumber atan(const ReaxTwinNumber& x) {
    return {std::atan(x.value), x.slope / (1.0 + x.value * x.value)};
}
inline ReaxTwinNumber pow(const ReaxTwinNumber& x, double power) {
    // A constant zero stays one; the general rule would multiply it by infinity below the power of 1.
    if (x.value == 0.0 && x.slope == 0.0) {
        return {std::pow(0.0, power), 0.0};
    }
    return {std::pow(x.value, power), power * std::pow(x.value, power - 1.0) * x.slope};
}

} // namespace melta::test
