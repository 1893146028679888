#include "baseline/classical/ClassicalSigns.hpp"

#include <algorithm>
#include <cmath>

namespace melta {

bool hasValidSigns(const std::array<float, numPowers>& coefs) {
    const auto [a, b, c, d] = coefs;
    if (b < 0.0f) {
        return !(c > 0.0f || d > 0.0f);
    }
    return !(c < 0.0f && d > 0.0f);
}

bool isNullPair(const std::array<float, numPowers>& coefs) {
    constexpr float limit = 1.0e-6f;
    return std::fabs(coefs[1]) < limit && std::fabs(coefs[2]) < limit && std::fabs(coefs[3]) < limit;
}

std::array<float, numPowers> repairSigns(const std::array<float, numPowers>& coefs) {
    constexpr float smallestA = 0.01f;
    std::array<float, numPowers> repaired = coefs;
    // The last of B, C, D that is positive; A if there is none.
    std::size_t last = numPowers - 1;
    while (last > 0 && !(coefs[last] > 0.0f)) {
        --last;
    }
    repaired[0] = last > 0 ? std::max(smallestA, coefs[0]) : smallestA;
    for (std::size_t k = 1; k < last; ++k) {
        repaired[k] = std::max(0.0f, coefs[k]);
    }
    return repaired;
}

} // namespace melta
