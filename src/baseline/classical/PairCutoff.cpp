#include "baseline/classical/PairCutoff.hpp"

namespace melta {

std::array<float, numPowers> powersOf(float r) {
    const float d = r * r;
    const float d3 = d * d * d;
    const float d4 = d3 * d;
    const float d5 = d4 * d;
    const float d6 = d5 * d;
    return {d6, d5, d4, d3};
}

PairCutoff::PairCutoff(float cutoff) : rc(cutoff) {
    // Without a range there are no pairs, and nothing that a division by zero could spoil.
    if (!(rc > 0.0f)) {
        return;
    }
    const auto powers = powersOf(rc);
    for (std::size_t k = 0; k < numPowers; ++k) {
        shift[k] = 1.0f / powers[k];
        slope[k] = pairPowers[k] * shift[k] / rc;
    }
}

std::array<float, numPowers> PairCutoff::valuesAt(float r) const {
    std::array<float, numPowers> values{};
    if (!(r < rc)) {
        return values;
    }
    const auto powers = powersOf(r);
    const double gap = static_cast<double>(r) - static_cast<double>(rc);
    for (std::size_t k = 0; k < numPowers; ++k) {
        // In double, because the three terms cancel towards the cutoff.
        values[k] = static_cast<float>(1.0 / static_cast<double>(powers[k]) - static_cast<double>(shift[k]) +
                                       static_cast<double>(slope[k]) * gap);
    }
    return values;
}

} // namespace melta
