#include "baseline/classical/ClassicalPenalty.hpp"

namespace melta {
namespace {

constexpr int numGridPoints = 1000;

} // namespace

ClassicalPenalty::ClassicalPenalty(const PairCutoff& cutoff, float lowerLimit) : lower(lowerLimit) {
    for (int k = 1; k <= numGridPoints; ++k) {
        const float r = static_cast<float>(k) * 0.01f;
        if (r < cutoff.rc) {
            points.push_back({cutoff.valuesAt(r), powersOf(r)});
        }
    }
}

void ClassicalPenalty::addLowerPenalty(const ClassicalParameters& parameters, ClassicalGradients& gradients) {
    constexpr float scale = 1.0f / static_cast<float>(numGridPoints);
    penalty = 0.0f;
    for (std::size_t pair = 0; pair < parameters.numPairs(); ++pair) {
        const auto coefs = parameters.coefsOf(pair);
        std::array<float, numPowers> pull{};
        for (const Point& point : points) {
            const float depth = (coefs[0] * point.values[0] - lower) + coefs[1] * point.values[1] +
                                coefs[2] * point.values[2] + coefs[3] * point.values[3];
            if (depth < 0.0f) {
                penalty += depth * depth;
                for (std::size_t k = 0; k < numPowers; ++k) {
                    pull[k] += 2.0f * depth * point.powers[k];
                }
            }
        }
        gradients.gradA[pair] += pull[0] * scale;
        gradients.gradB[pair] += pull[1] * scale;
        gradients.gradC[pair] += pull[2] * scale;
        gradients.gradD[pair] += pull[3] * scale;
    }
    penalty *= scale;
}

} // namespace melta
