#include "network/NNSecondDeriver.hpp"

#include "base/Reporting.hpp"
#include "network/NNLayerKernels.hpp"

namespace melta {

NNSecondDeriver::NNSecondDeriver(const NNEnsemble* networks, EnsembleTile* samples)
    : ensemble(networks), tile(samples) {
    if (ensemble == nullptr || tile == nullptr) {
        stopWithMessage("interLayers is null.");
    }
    if (tile->numSamples < 1) {
        stopWithMessage("size of batch is not positive.");
    }
}

void NNSecondDeriver::updateWeightGrads(bool isExact, const float* outGrad, EnsembleGrads& grads) const {
    goTangentForward(isExact);
    if (isExact) {
        goAdjointBackward(outGrad);
    } else if (outGrad != nullptr) {
        scaleGradients(outGrad);
    }
    accumulate(outGrad, isExact || outGrad != nullptr, grads);
}

// Leaves dy_l in `tangent` and, for the exact form, f'' dE/dy dz in `adjoint`.
void NNSecondDeriver::goTangentForward(bool isExact) const {
    const float* direction = tile->inpGrad;
    const std::size_t size = tile->numSamples * ensemble->getRowLength();
    for (std::size_t l = 0; l < tile->layers.size(); ++l) {
        EnsembleTile::Layer& layer = tile->layers[l];
        ensemble->getInterLayers()[l].goTangent(tile->numSamples, direction, layer.tangent.data());
        kernels::passTangent(size, layer.drv1.data(), layer.drv2.data(), layer.tangent.data(),
                             isExact ? layer.adjoint.data() : nullptr);
        direction = layer.tangent.data();
    }
}

// The energy term obeys the same recursion as dE/dz, scaled by outGrad, so that it enters once, at the top.
void NNSecondDeriver::goAdjointBackward(const float* outGrad) const {
    const NNShape& shape = ensemble->getShape();
    const std::size_t top = tile->layers.size() - 1;
    if (outGrad != nullptr) {
        kernels::scaleNodes(tile->numSamples, static_cast<std::size_t>(shape.numModels),
                            static_cast<std::size_t>(shape.numNodes), outGrad, tile->layers[top].grad.data(),
                            tile->layers[top].adjoint.data(), true);
    }
    for (std::size_t l = top; l > 0; --l) {
        EnsembleTile::Layer& below = tile->layers[l - 1];
        ensemble->getInterLayers()[l].goBackward(tile->numSamples, tile->layers[l].adjoint.data(),
                                                 tile->work.data());
        kernels::addScaled(tile->numSamples * ensemble->getRowLength(), tile->work.data(), below.drv1.data(),
                           below.adjoint.data());
    }
}

void NNSecondDeriver::scaleGradients(const float* outGrad) const {
    const NNShape& shape = ensemble->getShape();
    for (EnsembleTile::Layer& layer : tile->layers) {
        kernels::scaleNodes(tile->numSamples, static_cast<std::size_t>(shape.numModels),
                            static_cast<std::size_t>(shape.numNodes), outGrad, layer.grad.data(),
                            layer.adjoint.data(), false);
    }
}

void NNSecondDeriver::accumulate(const float* outGrad, bool hasAdjoint, EnsembleGrads& grads) const {
    const std::size_t numSamples = tile->numSamples;
    const NNShape& shape = ensemble->getShape();
    const float* inpData = tile->inpData;
    const float* direction = tile->inpGrad;
    for (std::size_t l = 0; l < tile->layers.size(); ++l) {
        const EnsembleTile::Layer& layer = tile->layers[l];
        const NNLayer& weights = ensemble->getInterLayers()[l];
        if (hasAdjoint) {
            weights.addWeightGrad(numSamples, layer.adjoint.data(), inpData, l == 0, grads.interLayers[l]);
            kernels::addColumnSums(numSamples, ensemble->getRowLength(), layer.adjoint.data(),
                                   grads.interLayers[l].bias.data());
        }
        weights.addWeightGrad(numSamples, layer.grad.data(), direction, false, grads.interLayers[l]);
        inpData = layer.out.data();
        direction = layer.tangent.data();
    }
    kernels::addColumnSums(numSamples, ensemble->getRowLength(), direction, grads.lastLayer.weight.data());
    if (outGrad != nullptr) {
        const auto numModels = static_cast<std::size_t>(shape.numModels);
        kernels::addWeightedColumnSums(numSamples, numModels, static_cast<std::size_t>(shape.numNodes),
                                       outGrad, inpData, grads.lastLayer.weight.data());
        kernels::addColumnSums(numSamples, numModels, outGrad, grads.lastLayer.bias.data());
    }
}

} // namespace melta
