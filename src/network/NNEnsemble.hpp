#pragma once

#include "base/AlignedBuffer.hpp"
#include "network/NNLayer.hpp"

#include <cstddef>
#include <vector>

namespace melta {

// Shape of the networks of an ensemble.
struct NNShape {
    int numModels;
    int numLayers; // hidden layers
    int numNodes;  // outputs of each hidden layer
    int activation;
};

// Gradients of all parameters of an ensemble, collected by one thread.
struct EnsembleGrads {
    std::vector<NNLayerGrads> interLayers;
    NNLayerGrads lastLayer;

    void setZero();
};

// What the passes of one ensemble leave behind for a block of samples (a tile). Rows hold all models side by
// side, R = numModels x numNodes floats; every array is [numSamples][R] unless said otherwise.
struct EnsembleTile {
    struct Layer {
        AlignedBuffer<float> out;     // y, output of the layer
        AlignedBuffer<float> drv1;    // f'(z)
        AlignedBuffer<float> drv2;    // f''(z); after the backward pass dE/dy f''(z)
        AlignedBuffer<float> grad;    // dE/dz after the backward pass
        AlignedBuffer<float> tangent; // dy along the direction that the force errors give
        AlignedBuffer<float> adjoint; // gradient of the loss with respect to z
    };

    std::size_t numSamples = 0;
    bool isForTraining = false;     // whether drv2, tangent, adjoint and work are there
    const float* inpData = nullptr; // [numSamples][numInp], shared by all models; not owned
    float* outData = nullptr;       // [numSamples][numModels], the networks' outputs; not owned
    float* inpGrad = nullptr;       // [numSamples][numModels][numInp], dE/dG, later the direction; not owned
    std::vector<Layer> layers;
    AlignedBuffer<float> work; // [numSamples][R]
};

// All models of one element and one kind of network (energies or charges), from the shared inputs to one
// output for each model: hidden layers, then one linear output node. The energy and the charge networks are
// both of this class.
//
// Passes take the tile of the calling thread; the ensemble stays read-only.
class NNEnsemble {
public:
    NNEnsemble(const NNShape& shape, int numInp, bool learnable, bool useAdam);

    // Draws the start weights model by model; the output layer gets the given scale and bias shift.
    void initWeight(float outputScale, float outputShift);

    int getNumModels() const { return shape.numModels; }
    int getNumInp() const { return numInp; }
    const NNShape& getShape() const { return shape; }
    std::size_t getRowLength() const;

    std::vector<NNLayer>& getInterLayers() { return interLayers; }
    const std::vector<NNLayer>& getInterLayers() const { return interLayers; }
    NNLayer& getLastLayer() { return lastLayer; }
    const NNLayer& getLastLayer() const { return lastLayer; }

    // Whether all parameters, and Adam's moments, are finite.
    [[nodiscard]] bool isFinite() const;

    // All layers from the first hidden one to the output layer.
    std::vector<NNLayer*> getLayers();
    std::vector<const NNLayer*> getLayers() const;

    // Takes the weights and biases of an ensemble of the same shape and inputs.
    void copyParameters(const NNEnsemble& source);

    // Makes room for `numSamples` samples. With `forTraining` also for what the weight gradients need, second
    // derivatives included.
    void prepareTile(EnsembleTile& tile, std::size_t numSamples, bool forTraining) const;

    // Fills outData, and out, drv1 and, for training, drv2 of each layer; with `wantDerivs` false only the
    // outputs.
    void goForward(EnsembleTile& tile, bool wantDerivs) const;

    // Gradient of each output with respect to all pre-activation values: grad and, for training, drv2 of each
    // layer.
    void goBackward(EnsembleTile& tile) const;

    // inpGrad [numSamples][numModels][numInp] = dE/dG of each model, after goBackward.
    void computeInputGrads(EnsembleTile& tile) const;

    // inpGrad [numSamples][numInp] = sum over models of dE/dG, after goBackward.
    void computeSummedInputGrads(EnsembleTile& tile) const;

    // Adds to grads the gradient of sum outGrad[s][m] outData[s][m], after goBackward. outGrad
    // [numSamples][numModels].
    void addWeightGrads(EnsembleTile& tile, const float* outGrad, EnsembleGrads& grads) const;

    EnsembleGrads makeGrads() const;
    void initWeightGrad();
    void mergeWeightGrad(const EnsembleGrads& grads);
    void updateWeight(float alpha, float beta1, float beta2);

private:
    NNShape shape;
    int numInp;
    std::vector<NNLayer> interLayers;
    NNLayer lastLayer; // one output node for each model: its weights [numModels][1][numNodes] are one row of
                       // R floats
};

} // namespace melta
