#include "network/ElementWeightSteps.hpp"

#include "network/NNLayerKernels.hpp"

namespace melta {

void ElementWeightSteps::start(std::size_t numWeights) {
    for (AlignedBuffer<float>* const buffer : {&gradient, &moment1, &moment2}) {
        buffer->resize(numWeights);
        buffer->setZero();
    }
    beta1Power = 1.0f;
    beta2Power = 1.0f;
}

void ElementWeightSteps::update(float alpha, float beta1, float beta2, std::span<float> weights) {
    beta1Power *= beta1;
    beta2Power *= beta2;
    const kernels::AdamStep step{alpha, beta1, beta2, 1.0f - beta1Power, 1.0f - beta2Power};
    kernels::updateByAdam(gradient.size(), step, gradient.data(), moment1.data(), moment2.data(),
                          weights.data());
}

} // namespace melta
