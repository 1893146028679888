#pragma once

#include "base/AlignedBuffer.hpp"

#include <cstddef>
#include <cstdio>
#include <span>

namespace melta {

// Gradients of the weights and biases of one layer, in the layer's own layout.
struct NNLayerGrads {
    AlignedBuffer<float> weight;
    AlignedBuffer<float> bias;

    void resize(std::size_t numWeights, std::size_t numBiases);
    void setZero();
};

// One fully connected layer for all models of an ensemble: its parameters, their gradients and Adam moments,
// and the passes over a block of samples.
//
// Parameters, models side by side so that one matrix product serves all models of a first layer:
//     weight [numModels][numOut][numInp], bias [numModels][numOut]
// The same order holds for gradients and moments. Blocks of samples are sample-major, models side by side:
//     [numSamples][numModels][nodes]
// A layer whose input is shared takes [numSamples][numInp] instead, the same for all models.
//
// The layer itself is read-only during passes, so that many threads may run passes on blocks of their own.
class NNLayer {
public:
    // Stops with "input size of neural network is not positive." or "output size of neural network is not
    // positive.". Weights and biases are zero until initWeight or scanWeight.
    NNLayer(int numModels, int numInp, int numOut, int activation, bool learnable, bool useAdam);
    virtual ~NNLayer() = default;
    NNLayer(NNLayer&&) = default;
    NNLayer& operator=(NNLayer&&) = default;
    NNLayer(const NNLayer&) = delete;
    NNLayer& operator=(const NNLayer&) = delete;

    int getNumModels() const { return numModels; }
    int getNumInp() const { return numInp; }
    int getNumOut() const { return numOut; }
    int getActivation() const { return activation; }
    bool isLearnable() const { return learnable; }
    float getWeightScale() const { return weightScale; }
    float getBiasShift() const { return biasShift; }

    // Nodes of all models of one sample.
    std::size_t getRowLength() const { return bias.size(); }

    // Parameters of one model: [numOut][numInp] and [numOut].
    std::span<float> weightOf(int model);
    std::span<const float> weightOf(int model) const;
    std::span<float> biasOf(int model);
    std::span<const float> biasOf(int model) const;
    std::span<const float> weightGradOf(int model) const;
    std::span<const float> biasGradOf(int model) const;

    // Draws the weights of one model from a normal distribution (Box and Muller) whose deviation fits the
    // activation, times `weightScale`, and sets the biases to `biasShift`. Its gradients and moments become
    // zero.
    void initWeight(int model, float weightScale, float biasShift);

    // Whether all parameters, and Adam's moments where there are any, are finite.
    [[nodiscard]] bool isFinite() const;

    // Zeroes the gradients. Stops with "cannot set grad of weight, because this is not learnable.".
    void initWeightGrad();

    // Adds the gradients that one thread has collected. Stops with "cannot merge grad of weight, because this
    // is not learnable.".
    void mergeWeightGrad(const NNLayerGrads& grads);

    // One Adam step with the gradients at hand. Stops when alpha or a beta is out of range and when the layer
    // is not learnable or has no moments.
    void updateWeight(float alpha, float beta1, float beta2);

    // Keeps the output the same when the normalisation of the inputs changes from (x - oldAve) / oldDev to
    // (x - newAve) / newDev. Stops with "old and/or new deviations are not positive.".
    void rescaleWeight(float oldAve, float oldDev, float newAve, float newDev);

    // Fills one model from a layer with other inputs: source input i goes to input mapOfInput[i], or is
    // dropped when that is out of range. Stops when the outputs or the activation differ.
    void projectWeightFrom(int model, const NNLayer& source, int sourceModel,
                           std::span<const int> mapOfInput);

    // Text form of one model: weights, then with `withBias` biases, "%.8e " each, eight in a line.
    void printWeight(std::FILE* stream, int model, bool withBias) const;

    // Reads the text form. Stops with "cannot scan neural network @weight" or "cannot scan neural network
    // @bias" when a finite number is missing.
    void scanWeight(std::FILE* stream, int model, bool withBias);

    // out, drv1, drv2 [numSamples][numModels][numOut] from the inputs; drv1 and drv2 may be null.
    void goForward(std::size_t numSamples, const float* inpData, bool isInputShared, float* out, float* drv1,
                   float* drv2) const;

    // inpGrad [numSamples][numModels][numInp] = gradient with respect to the inputs, per model, from the
    // gradient with respect to the pre-activation values.
    void goBackward(std::size_t numSamples, const float* bareGrad, float* inpGrad) const;

    // Sum of goBackward over the models: inpGrad [numSamples][numInp].
    void goBackwardSummed(std::size_t numSamples, const float* bareGrad, float* inpGrad) const;

    // outTangent [numSamples][numModels][numOut] = weight times tangent of the inputs
    // [numSamples][numModels][numInp].
    void goTangent(std::size_t numSamples, const float* inpTangent, float* outTangent) const;

    // grads.weight += sum over samples of bareGrad x inputs. Stops with "cannot calculate gradients of
    // weights, because this is not learnable.".
    void addWeightGrad(std::size_t numSamples, const float* bareGrad, const float* inpData,
                       bool isInputShared, NNLayerGrads& grads) const;

    // Gradient arrays of this layer's size, zeroed.
    NNLayerGrads makeGrads() const;

private:
    std::size_t weightsOfModel() const;
    void requireLearnable(const char* message) const;
    void clearModel(NNLayerGrads& grads, int model) const;

    int numModels;
    int numInp;
    int numOut;
    int activation; // code of `activ`
    bool learnable;
    bool useAdam;

    float weightScale = 1.0f; // scale of the start weights and of Adam's alpha; divisor in the flat vector
    float biasShift = 0.0f;   // start value of the biases; subtracted in the flat vector
    AlignedBuffer<float> weight;
    AlignedBuffer<float> bias;
    NNLayerGrads grad; // empty unless learnable

    float adamBeta1Power = 1.0f; // beta1 to the power of the update count
    float adamBeta2Power = 1.0f;
    NNLayerGrads adam1; // first moments; empty unless useAdam
    NNLayerGrads adam2; // second moments
};

} // namespace melta
