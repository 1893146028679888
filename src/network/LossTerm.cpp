#include "network/LossTerm.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

template <class Choice>
std::vector<const DerivativeQuantity*> derivativesOf(std::span<const LossTerm> terms,
                                                     const Choice& isChosen) {
    std::vector<const DerivativeQuantity*> quantities;
    for (const LossTerm& term : terms) {
        if (isChosen(term) && term.getDerivativeQuantity() != nullptr) {
            quantities.push_back(term.getDerivativeQuantity());
        }
    }
    return quantities;
}

} // namespace

void LossTerm::differentiate(const Geometry& geometry, const BatchCounts& whole, std::size_t stride,
                             std::span<const float> factor, float* values, std::span<double> sums) const {
    const LossQuantity& quantity = getQuantity();
    const auto divisor = static_cast<float>(quantity.divisorOf(whole));
    const float unit = quantity.divisorOfError(geometry);
    const std::size_t numValues = quantity.numValues(geometry);
    for (std::size_t i = 0; i < numValues; ++i) {
        const float weight = (scale[quantity.elementOf(geometry, i)] / (unit * unit)) / divisor;
        const float reference = quantity.referenceOf(geometry, i);
        float* const value = values + i * stride;
        for (std::size_t m = 0; m < factor.size(); ++m) {
            const float error = value[m] - reference;
            sums[m] += static_cast<double>(weight * error * error);
            value[m] = (weight + weight) * error * factor[m];
        }
    }
}

std::vector<float> LossTerm::setLoss(std::span<const double> sums) {
    loss.assign(sums.size(), 0.0f);
    std::ranges::transform(sums, loss.begin(), [](double sum) { return static_cast<float>(sum); });
    std::vector<float> factors(loss.size(), 1.0f);
    if (hasRoot) {
        for (std::size_t m = 0; m < loss.size(); ++m) {
            loss[m] = std::sqrt(std::max(loss[m], 0.0f)); // in this order NaN stays NaN
            // Too small a loss drives nothing.
            factors[m] = loss[m] > 1.0e-6f ? 0.5f / loss[m] : 0.0f;
        }
    }
    return factors;
}

std::vector<const DerivativeQuantity*> derivativesIn(std::span<const LossTerm> terms) {
    return derivativesOf(terms, [](const LossTerm& term) { return term.isInLoss(); });
}

std::vector<const DerivativeQuantity*> derivativesToTest(std::span<const LossTerm> terms) {
    return derivativesOf(terms, [](const LossTerm& term) { return term.isInLoss() || term.isWatched; });
}

float QuantityError::rootMeanSquare() const {
    return std::sqrt(sum / static_cast<float>(count));
}

void addSquaredErrors(const LossQuantity& quantity, const Geometry& geometry, std::span<const float> values,
                      double& sum) {
    const float unit = quantity.divisorOfError(geometry);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const float error = (values[i] - quantity.referenceOf(geometry, i)) / unit;
        sum += static_cast<double>(error * error);
    }
}

} // namespace melta
