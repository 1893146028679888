#include "network/NNEnsemble.hpp"

#include "config/Codes.hpp"
#include "network/NNLayerKernels.hpp"

#include <algorithm>

namespace melta {

void EnsembleGrads::setZero() {
    for (NNLayerGrads& layer : interLayers) {
        layer.setZero();
    }
    lastLayer.setZero();
}

namespace {

std::vector<NNLayer> makeInterLayers(const NNShape& shape, int numInp, bool learnable, bool useAdam) {
    std::vector<NNLayer> layers;
    for (int l = 0; l < shape.numLayers; ++l) {
        layers.emplace_back(shape.numModels, l == 0 ? numInp : shape.numNodes, shape.numNodes,
                            shape.activation, learnable, useAdam);
    }
    return layers;
}

} // namespace

NNEnsemble::NNEnsemble(const NNShape& networkShape, int numInputs, bool learnable, bool useAdam)
    : shape(networkShape), numInp(numInputs), interLayers(makeInterLayers(shape, numInp, learnable, useAdam)),
      lastLayer(shape.numModels, shape.numNodes, 1, Activation::asis, learnable, useAdam) {}

void NNEnsemble::initWeight(float outputScale, float outputShift) {
    for (int m = 0; m < shape.numModels; ++m) {
        for (NNLayer& layer : interLayers) {
            layer.initWeight(m, 1.0f, 0.0f);
        }
    }
    for (int m = 0; m < shape.numModels; ++m) {
        lastLayer.initWeight(m, outputScale, outputShift);
    }
}

std::size_t NNEnsemble::getRowLength() const {
    return interLayers.front().getRowLength();
}

std::vector<NNLayer*> NNEnsemble::getLayers() {
    std::vector<NNLayer*> layers;
    for (NNLayer& layer : interLayers) {
        layers.push_back(&layer);
    }
    layers.push_back(&lastLayer);
    return layers;
}

std::vector<const NNLayer*> NNEnsemble::getLayers() const {
    std::vector<const NNLayer*> layers;
    for (const NNLayer& layer : interLayers) {
        layers.push_back(&layer);
    }
    layers.push_back(&lastLayer);
    return layers;
}

bool NNEnsemble::isFinite() const {
    return std::ranges::all_of(getLayers(), [](const NNLayer* layer) { return layer->isFinite(); });
}

void NNEnsemble::copyParameters(const NNEnsemble& source) {
    const std::vector<NNLayer*> targets = getLayers();
    const std::vector<const NNLayer*> sources = source.getLayers();
    for (std::size_t l = 0; l < targets.size(); ++l) {
        for (int m = 0; m < getNumModels(); ++m) {
            std::ranges::copy(sources[l]->weightOf(m), targets[l]->weightOf(m).begin());
            std::ranges::copy(sources[l]->biasOf(m), targets[l]->biasOf(m).begin());
        }
    }
}

void NNEnsemble::prepareTile(EnsembleTile& tile, std::size_t numSamples, bool forTraining) const {
    const std::size_t size = numSamples * getRowLength();
    tile.numSamples = numSamples;
    tile.isForTraining = forTraining;
    tile.layers.resize(interLayers.size());
    for (EnsembleTile::Layer& layer : tile.layers) {
        for (AlignedBuffer<float>* const buffer : {&layer.out, &layer.drv1, &layer.grad}) {
            buffer->reserve(size);
        }
        if (forTraining) {
            layer.drv2.reserve(size);
            layer.tangent.reserve(size);
            layer.adjoint.reserve(size);
        }
    }
    if (forTraining) {
        tile.work.reserve(size);
    }
}

void NNEnsemble::goForward(EnsembleTile& tile, bool wantDerivs) const {
    const float* inpData = tile.inpData;
    for (std::size_t l = 0; l < interLayers.size(); ++l) {
        EnsembleTile::Layer& layer = tile.layers[l];
        interLayers[l].goForward(tile.numSamples, inpData, l == 0, layer.out.data(),
                                 wantDerivs ? layer.drv1.data() : nullptr,
                                 wantDerivs && tile.isForTraining ? layer.drv2.data() : nullptr);
        inpData = layer.out.data();
    }
    kernels::sumOutputs(tile.numSamples, static_cast<std::size_t>(shape.numModels),
                        static_cast<std::size_t>(shape.numNodes), inpData, lastLayer.weightOf(0).data(),
                        lastLayer.biasOf(0).data(), tile.outData);
}

void NNEnsemble::goBackward(EnsembleTile& tile) const {
    const std::size_t top = interLayers.size() - 1;
    EnsembleTile::Layer& last = tile.layers[top];
    kernels::seedGradient(tile.numSamples, getRowLength(), lastLayer.weightOf(0).data(), last.drv1.data(),
                          tile.isForTraining ? last.drv2.data() : nullptr, last.grad.data());
    for (std::size_t l = top; l > 0; --l) {
        EnsembleTile::Layer& below = tile.layers[l - 1];
        interLayers[l].goBackward(tile.numSamples, tile.layers[l].grad.data(), below.grad.data());
        kernels::passGradient(tile.numSamples * getRowLength(), below.drv1.data(),
                              tile.isForTraining ? below.drv2.data() : nullptr, below.grad.data());
    }
}

void NNEnsemble::computeInputGrads(EnsembleTile& tile) const {
    interLayers.front().goBackward(tile.numSamples, tile.layers.front().grad.data(), tile.inpGrad);
}

void NNEnsemble::computeSummedInputGrads(EnsembleTile& tile) const {
    interLayers.front().goBackwardSummed(tile.numSamples, tile.layers.front().grad.data(), tile.inpGrad);
}

void NNEnsemble::addWeightGrads(EnsembleTile& tile, const float* outGrad, EnsembleGrads& grads) const {
    const auto numModels = static_cast<std::size_t>(shape.numModels);
    const auto numNodes = static_cast<std::size_t>(shape.numNodes);
    const float* inpData = tile.inpData;
    for (std::size_t l = 0; l < interLayers.size(); ++l) {
        EnsembleTile::Layer& layer = tile.layers[l];
        kernels::scaleNodes(tile.numSamples, numModels, numNodes, outGrad, layer.grad.data(),
                            layer.adjoint.data(), false);
        interLayers[l].addWeightGrad(tile.numSamples, layer.adjoint.data(), inpData, l == 0,
                                     grads.interLayers[l]);
        kernels::addColumnSums(tile.numSamples, getRowLength(), layer.adjoint.data(),
                               grads.interLayers[l].bias.data());
        inpData = layer.out.data();
    }
    kernels::addWeightedColumnSums(tile.numSamples, numModels, numNodes, outGrad, inpData,
                                   grads.lastLayer.weight.data());
    kernels::addColumnSums(tile.numSamples, numModels, outGrad, grads.lastLayer.bias.data());
}

EnsembleGrads NNEnsemble::makeGrads() const {
    EnsembleGrads grads;
    for (const NNLayer& layer : interLayers) {
        grads.interLayers.push_back(layer.makeGrads());
    }
    grads.lastLayer = lastLayer.makeGrads();
    return grads;
}

void NNEnsemble::initWeightGrad() {
    for (NNLayer* const layer : getLayers()) {
        layer->initWeightGrad();
    }
}

void NNEnsemble::mergeWeightGrad(const EnsembleGrads& grads) {
    for (std::size_t l = 0; l < interLayers.size(); ++l) {
        interLayers[l].mergeWeightGrad(grads.interLayers[l]);
    }
    lastLayer.mergeWeightGrad(grads.lastLayer);
}

void NNEnsemble::updateWeight(float alpha, float beta1, float beta2) {
    for (NNLayer* const layer : getLayers()) {
        layer->updateWeight(alpha, beta1, beta2);
    }
}

} // namespace melta
