#include "baseline/zbl/ZblPair.hpp"

#include "structure/Units.hpp"

#include <array>
#include <cmath>

namespace melta {
namespace {

// The screening function: the sum of c exp(-d x).
struct ScreeningTerm {
    double c;
    double d;
};
constexpr std::array<ScreeningTerm, 4> screening{
    {{0.18175, 3.19980}, {0.50986, 0.94229}, {0.28022, 0.40290}, {0.02817, 0.20162}}};
constexpr double lengthOfScreening = 0.46850; // Angstrom, for charges whose powers add up to 1
constexpr double powerOfCharge = 0.23;

// The repulsion without the switch.
ZblValue evaluateBare(const ZblPair& pair, double r) {
    const double x = r * pair.inverseLength;
    double phi = 0.0;
    double phiSlope = 0.0; // by x
    for (const ScreeningTerm& term : screening) {
        const double part = term.c * std::exp(-term.d * x);
        phi += part;
        phiSlope -= term.d * part;
    }
    const double coulomb = pair.strength / r;
    return {coulomb * phi, coulomb * (phiSlope * pair.inverseLength - phi / r)};
}

} // namespace

ZblPair makeZblPair(int atomNumber, int otherNumber, double inner, double outer) {
    const double z1 = atomNumber;
    const double z2 = otherNumber;
    const double powers = std::pow(z1, powerOfCharge) + std::pow(z2, powerOfCharge);
    return {z1 * z2 * static_cast<double>(units::coulomb), powers / lengthOfScreening, inner, outer};
}

// The switch is 1 - t^3 (10 - 15 t + 6 t^2), with t from 0 to 1 between the radii.
ZblValue evaluateZbl(const ZblPair& pair, double r) {
    if (!(r < pair.outer)) {
        return {};
    }
    const ZblValue bare = evaluateBare(pair, r);
    if (r <= pair.inner) {
        return bare;
    }
    const double width = pair.outer - pair.inner;
    const double t = (r - pair.inner) / width;
    const double factor = 1.0 - t * t * t * (10.0 - t * (15.0 - 6.0 * t));
    const double factorSlope = -30.0 * t * t * (1.0 - t) * (1.0 - t) / width;
    return {bare.energy * factor, bare.slope * factor + bare.energy * factorSlope};
}

} // namespace melta
