#include "symmfunc/RangeSettings.hpp"

#include <algorithm>
#include <tuple>

namespace melta {

const char* cutoffText(const Property& property) {
    return property.tanhCutoff != 0 ? "w/ tanh3-cutoff" : "w/ cosine-cutoff";
}

float largestOfCutoffs(const Property& property) {
    const float radial = property.numRadius >= 1 ? property.rcutRadius : 0.0f;
    const float angular = property.numAngle >= 1 ? property.rcutAngle : 0.0f;
    return std::max(radial, angular);
}

bool haveSameRanges(const Property& a, const Property& b) {
    const auto rangesOf = [](const Property& p) {
        return std::make_tuple(p.elemWeight != 0, p.tanhCutoff != 0, p.numRadius, p.numAngle, p.rcutRadius,
                               p.rcutAngle);
    };
    return rangesOf(a) == rangesOf(b);
}

} // namespace melta
