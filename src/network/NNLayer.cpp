#include "network/NNLayer.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "config/Codes.hpp"
#include "network/MatrixProducts.hpp"
#include "network/NNLayerKernels.hpp"

#include <algorithm>
#include <cmath>
#include <functional>

namespace melta {
namespace {

std::size_t sizeOf(int count) {
    return static_cast<std::size_t>(count);
}

// Start deviations after LeCun (identity, sigmoid, tanh) and He et al. (rectifiers).
float startDeviation(int activation, int numInp) {
    switch (activation) {
    case Activation::asis:
    case Activation::sigmoid:
    case Activation::tanh:
    case Activation::twtanh:
        return std::sqrt(1.0f / static_cast<float>(numInp));
    case Activation::eLU:
    case Activation::GELU:
        return std::sqrt(2.0f / static_cast<float>(numInp));
    default:
        return 0.01f;
    }
}

// Box-Muller pairs; with an odd count the cosine of the last pair wins.
void drawNormal(std::span<float> values, float deviation) {
    constexpr float unit = 0.000030517578f;
    RandomSource& random = sharedRandom();
    const std::size_t last = values.size() - 1;
    for (std::size_t i = 0; i < values.size(); i += 2) {
        const float u1 = static_cast<float>(random.draw() + 1) * unit;
        const float theta = static_cast<float>(random.draw() + 1) * unit * 6.2831855f;
        const float radius = std::sqrt(std::max(0.0f, -2.0f * std::log(u1))) * deviation;
        values[i] = std::sin(theta) * radius;
        values[std::min(i + 1, last)] = std::cos(theta) * radius;
    }
}

void printValues(std::FILE* stream, std::span<const float> values) {
    constexpr std::size_t perLine = 8;
    for (std::size_t i = 0; i < values.size(); ++i) {
        std::fprintf(stream, "%.8e ", static_cast<double>(values[i]));
        if ((i + 1) % perLine == 0 || i + 1 == values.size()) {
            std::fprintf(stream, "\n");
        }
    }
}

bool scanValues(std::FILE* stream, std::span<float> values) {
    for (float& value : values) {
        if (std::fscanf(stream, "%f", &value) != 1 || !std::isfinite(value)) {
            return false;
        }
    }
    return true;
}

} // namespace

void NNLayerGrads::resize(std::size_t numWeights, std::size_t numBiases) {
    weight.resize(numWeights);
    bias.resize(numBiases);
}

void NNLayerGrads::setZero() {
    weight.setZero();
    bias.setZero();
}

NNLayer::NNLayer(int models, int inputs, int outputs, int activ, bool isLearnable, bool withAdam)
    : numModels(models), numInp(inputs), numOut(outputs), activation(activ), learnable(isLearnable),
      useAdam(withAdam) {
    if (numInp < 1) {
        stopWithMessage("input size of neural network is not positive.");
    }
    if (numOut < 1) {
        stopWithMessage("output size of neural network is not positive.");
    }
    weight.resize(sizeOf(numModels) * weightsOfModel());
    bias.resize(sizeOf(numModels) * sizeOf(numOut));
    weight.setZero();
    bias.setZero();
}

std::size_t NNLayer::weightsOfModel() const {
    return sizeOf(numInp) * sizeOf(numOut);
}

std::span<float> NNLayer::weightOf(int model) {
    return weight.span().subspan(sizeOf(model) * weightsOfModel(), weightsOfModel());
}

std::span<const float> NNLayer::weightOf(int model) const {
    return weight.span().subspan(sizeOf(model) * weightsOfModel(), weightsOfModel());
}

std::span<float> NNLayer::biasOf(int model) {
    return bias.span().subspan(sizeOf(model) * sizeOf(numOut), sizeOf(numOut));
}

std::span<const float> NNLayer::biasOf(int model) const {
    return bias.span().subspan(sizeOf(model) * sizeOf(numOut), sizeOf(numOut));
}

std::span<const float> NNLayer::weightGradOf(int model) const {
    return grad.weight.span().subspan(sizeOf(model) * weightsOfModel(), weightsOfModel());
}

std::span<const float> NNLayer::biasGradOf(int model) const {
    return grad.bias.span().subspan(sizeOf(model) * sizeOf(numOut), sizeOf(numOut));
}

void NNLayer::initWeight(int model, float scale, float shift) {
    weightScale = scale;
    biasShift = shift;
    if (isRootProcess()) {
        drawNormal(weightOf(model), scale * startDeviation(activation, numInp));
    }
    std::ranges::fill(biasOf(model), shift);
    if (learnable) {
        clearModel(grad, model);
    }
    if (useAdam) {
        adamBeta1Power = 1.0f;
        adamBeta2Power = 1.0f;
        clearModel(adam1, model);
        clearModel(adam2, model);
    }
}

// Zeroes the part of one model; that of the others would make the start of many models take ages.
void NNLayer::clearModel(NNLayerGrads& grads, int model) const {
    grads.resize(weight.size(), bias.size());
    std::ranges::fill(grads.weight.span().subspan(sizeOf(model) * weightsOfModel(), weightsOfModel()), 0.0f);
    std::ranges::fill(grads.bias.span().subspan(sizeOf(model) * sizeOf(numOut), sizeOf(numOut)), 0.0f);
}

bool NNLayer::isFinite() const {
    const auto areFinite = [](const AlignedBuffer<float>& values) {
        return std::ranges::all_of(values.span(), [](float value) { return std::isfinite(value); });
    };
    return areFinite(weight) && areFinite(bias) && areFinite(adam1.weight) && areFinite(adam1.bias) &&
           areFinite(adam2.weight) && areFinite(adam2.bias);
}

void NNLayer::requireLearnable(const char* message) const {
    if (!learnable) {
        stopWithMessage("%s", message);
    }
}

void NNLayer::initWeightGrad() {
    requireLearnable("cannot set grad of weight, because this is not learnable.");
    grad.setZero();
}

void NNLayer::mergeWeightGrad(const NNLayerGrads& grads) {
    requireLearnable("cannot merge grad of weight, because this is not learnable.");
    const auto add = [](const AlignedBuffer<float>& from, AlignedBuffer<float>& to) {
        std::ranges::transform(to.span(), from.span(), to.data(), std::plus<>());
    };
    add(grads.weight, grad.weight);
    add(grads.bias, grad.bias);
}

void NNLayer::updateWeight(float alpha, float beta1, float beta2) {
    const auto isOutOfRange = [](float beta) { return !(beta > 0.0f && beta < 1.0f); };
    if (!(alpha > 0.0f)) {
        stopWithMessage("Adam's alpha is not positive.");
    }
    if (isOutOfRange(beta1)) {
        stopWithMessage("Adam's beta1 is out of range.");
    }
    if (isOutOfRange(beta2)) {
        stopWithMessage("Adam's beta2 is out of range.");
    }
    requireLearnable("cannot update weight, because this is not learnable.");
    if (!useAdam) {
        stopWithMessage("cannot update weight, because Adam is not applied.");
    }
    adamBeta1Power *= beta1;
    adamBeta2Power *= beta2;
    const kernels::AdamStep step{alpha * weightScale, beta1, beta2, 1.0f - adamBeta1Power,
                                 1.0f - adamBeta2Power};
    kernels::updateByAdam(weight.size(), step, grad.weight.data(), adam1.weight.data(), adam2.weight.data(),
                          weight.data());
    kernels::updateByAdam(bias.size(), step, grad.bias.data(), adam1.bias.data(), adam2.bias.data(),
                          bias.data());
}

void NNLayer::rescaleWeight(float oldAve, float oldDev, float newAve, float newDev) {
    if (!(oldDev > 0.0f && newDev > 0.0f)) {
        stopWithMessage("old and/or new deviations are not positive.");
    }
    for (std::size_t o = 0; o < bias.size(); ++o) {
        for (float& w : weight.span().subspan(o * sizeOf(numInp), sizeOf(numInp))) {
            bias[o] += (w / oldDev) * (newAve - oldAve);
            w *= newDev / oldDev;
        }
    }
}

void NNLayer::projectWeightFrom(int model, const NNLayer& source, int sourceModel,
                                std::span<const int> mapOfInput) {
    if (mapOfInput.size() != sizeOf(source.numInp)) {
        stopWithMessage("map of input nodes is null.");
    }
    if (numOut != source.numOut) {
        stopWithMessage("cannot projet weight, for incorrect #out-nodes.");
    }
    if (activation != source.activation) {
        stopWithMessage("cannot projet weight, for incorrect activation.");
    }
    std::ranges::copy(source.biasOf(sourceModel), biasOf(model).begin());
    const std::span<const float> from = source.weightOf(sourceModel);
    const std::span<float> to = weightOf(model);
    for (int o = 0; o < numOut; ++o) {
        for (int i = 0; i < source.numInp; ++i) {
            const int target = mapOfInput[sizeOf(i)];
            if (target >= 0 && target < numInp) {
                to[sizeOf(o) * sizeOf(numInp) + sizeOf(target)] =
                    from[sizeOf(o) * sizeOf(source.numInp) + sizeOf(i)];
            }
        }
    }
}

void NNLayer::printWeight(std::FILE* stream, int model, bool withBias) const {
    printValues(stream, weightOf(model));
    if (withBias) {
        printValues(stream, biasOf(model));
    }
}

void NNLayer::scanWeight(std::FILE* stream, int model, bool withBias) {
    if (!scanValues(stream, weightOf(model))) {
        stopWithMessage("cannot scan neural network @weight");
    }
    if (withBias && !scanValues(stream, biasOf(model))) {
        stopWithMessage("cannot scan neural network @bias");
    }
}

void NNLayer::goForward(std::size_t numSamples, const float* inpData, bool isInputShared, float* out,
                        float* drv1, float* drv2) const {
    if (isInputShared) {
        multiplyByTransposed(numSamples, getRowLength(), sizeOf(numInp), {inpData, sizeOf(numInp)},
                             {weight.data(), sizeOf(numInp)}, {out, getRowLength()}, Store::replace);
    } else {
        goTangent(numSamples, inpData, out);
    }
    kernels::activate(activation, numSamples, getRowLength(), out, bias.data(), out, drv1, drv2);
}

void NNLayer::goBackward(std::size_t numSamples, const float* bareGrad, float* inpGrad) const {
    const std::size_t inpRow = sizeOf(numModels) * sizeOf(numInp);
    for (std::size_t m = 0; m < sizeOf(numModels); ++m) {
        multiply(numSamples, sizeOf(numInp), sizeOf(numOut), {bareGrad + m * sizeOf(numOut), getRowLength()},
                 {weight.data() + m * weightsOfModel(), sizeOf(numInp)},
                 {inpGrad + m * sizeOf(numInp), inpRow}, Store::replace);
    }
}

void NNLayer::goBackwardSummed(std::size_t numSamples, const float* bareGrad, float* inpGrad) const {
    multiply(numSamples, sizeOf(numInp), getRowLength(), {bareGrad, getRowLength()},
             {weight.data(), sizeOf(numInp)}, {inpGrad, sizeOf(numInp)}, Store::replace);
}

void NNLayer::goTangent(std::size_t numSamples, const float* inpTangent, float* outTangent) const {
    const std::size_t inpRow = sizeOf(numModels) * sizeOf(numInp);
    for (std::size_t m = 0; m < sizeOf(numModels); ++m) {
        multiplyByTransposed(numSamples, sizeOf(numOut), sizeOf(numInp),
                             {inpTangent + m * sizeOf(numInp), inpRow},
                             {weight.data() + m * weightsOfModel(), sizeOf(numInp)},
                             {outTangent + m * sizeOf(numOut), getRowLength()}, Store::replace);
    }
}

void NNLayer::addWeightGrad(std::size_t numSamples, const float* bareGrad, const float* inpData,
                            bool isInputShared, NNLayerGrads& grads) const {
    requireLearnable("cannot calculate gradients of weights, because this is not learnable.");
    if (isInputShared) {
        multiplyTransposed(getRowLength(), sizeOf(numInp), numSamples, {bareGrad, getRowLength()},
                           {inpData, sizeOf(numInp)}, {grads.weight.data(), sizeOf(numInp)}, Store::add);
        return;
    }
    const std::size_t inpRow = sizeOf(numModels) * sizeOf(numInp);
    for (std::size_t m = 0; m < sizeOf(numModels); ++m) {
        multiplyTransposed(sizeOf(numOut), sizeOf(numInp), numSamples,
                           {bareGrad + m * sizeOf(numOut), getRowLength()},
                           {inpData + m * sizeOf(numInp), inpRow},
                           {grads.weight.data() + m * weightsOfModel(), sizeOf(numInp)}, Store::add);
    }
}

NNLayerGrads NNLayer::makeGrads() const {
    NNLayerGrads grads;
    grads.resize(weight.size(), bias.size());
    grads.setZero();
    return grads;
}

} // namespace melta
