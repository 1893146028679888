#pragma once

#include "base/AlignedBuffer.hpp"

#include <cstddef>
#include <span>

namespace melta {

// What a training by Adam keeps for the weights of elements in the symmetry functions, which it changes
// together with the networks: their gradient and its moments, laid out as SymmFunc::getElementWeights.
class ElementWeightSteps {
public:
    // No weights to begin with.
    ElementWeightSteps() = default;

    // Zero gradient and moments for so many weights.
    void start(std::size_t numWeights);

    void clearGradient() { gradient.setZero(); }
    [[nodiscard]] std::span<float> getGradient() { return gradient.span(); }
    [[nodiscard]] std::span<const float> getGradient() const { return gradient.span(); }

    // One step of the weights with the gradient at hand.
    void update(float alpha, float beta1, float beta2, std::span<float> weights);

private:
    AlignedBuffer<float> gradient;
    AlignedBuffer<float> moment1;
    AlignedBuffer<float> moment2;
    float beta1Power = 1.0f; // beta1 to the power of the update count
    float beta2Power = 1.0f;
};

} // namespace melta
