// Arrays of reproducible random numbers, and how far single-precision results are from double-precision ones.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <span>
#include <vector>

namespace melta::test {

inline std::vector<float> randomFloats(std::size_t size, unsigned seed, float low = -1.0f,
                                       float high = 1.0f) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(low, high);
    std::vector<float> values(size);
    std::ranges::generate(values, [&] { return uniform(random); });
    return values;
}

inline std::vector<double> toDouble(std::span<const float> values) {
    return {values.begin(), values.end()};
}

// Largest error, each in units of its value plus the root mean square of all values. Infinite when the sizes
// differ or anything is not a number.
template <class Got, class Want>
double worstError(const Got& got, const Want& want) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    if (std::size(got) != std::size(want)) {
        return infinity;
    }
    double squares = 0.0;
    for (const auto value : want) {
        squares += static_cast<double>(value) * static_cast<double>(value);
    }
    const double scale = std::sqrt(squares / static_cast<double>(std::max<std::size_t>(1, std::size(want))));
    double worst = 0.0;
    for (std::size_t i = 0; i < std::size(want); ++i) {
        const auto expected = static_cast<double>(want[i]);
        const double difference = std::abs(static_cast<double>(got[i]) - expected);
        const double error = difference == 0.0 ? 0.0 : difference / (std::abs(expected) + scale);
        worst = error <= worst ? worst : (error > worst ? error : infinity);
    }
    return worst;
}

} // namespace melta::test
