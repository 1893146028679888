#include "network/ParameterPacking.hpp"

#include "base/Reporting.hpp"

#include <algorithm>

namespace melta {
namespace {

void requireOneKind(const NNArch& arch) {
    switch (arch.getArchMode()) {
    case NNArch::energyAndCharge:
        stopWithMessage("total-data does not support energy-mode and charge-mode, simultaneously.");
    case NNArch::onlyEnergy:
    case NNArch::onlyCharge:
        return;
    default:
        stopWithMessage("incorrect mode for total-data.");
    }
}

// The ensembles of the one kind that the arrangement has.
template <class Arch>
auto& ensemblesOf(Arch& arch) {
    requireOneKind(arch);
    return arch.hasEnergyNetworks() ? arch.getEnergyEnsembles() : arch.getChargeEnsembles();
}

// Calls work(layer, model, offset) for each layer of each model in the order of the vector, offset being
// where the layer begins, and gives the length of the whole.
template <class Ensembles, class Work>
std::size_t forEachLayer(Ensembles& ensembles, Work&& work) {
    std::size_t offset = 0;
    for (auto& ensemble : ensembles) {
        const auto layers = ensemble.getLayers();
        for (int m = 0; m < ensemble.getNumModels(); ++m) {
            for (auto* const layer : layers) {
                work(*layer, m, offset);
                offset += layer->weightOf(m).size() + layer->biasOf(m).size();
            }
        }
    }
    return offset;
}

void requireSameShape(const NNEnsemble& target, const NNEnsemble& source) {
    if (target.getShape().numModels != source.getShape().numModels) {
        stopWithMessage("incorrect #models of arch.");
    }
    if (target.getShape().numLayers != source.getShape().numLayers) {
        stopWithMessage("incorrect #layers of arch.");
    }
    const auto requireNodes = [](const NNLayer& a, const NNLayer& b, const char* kind) {
        if (a.getNumInp() != b.getNumInp()) {
            stopWithMessage("incorrect #nodes(INP) of %s-layer.", kind);
        }
        if (a.getNumOut() != b.getNumOut()) {
            stopWithMessage("incorrect #nodes(OUT) of %s-layer.", kind);
        }
    };
    for (std::size_t l = 0; l < target.getInterLayers().size(); ++l) {
        requireNodes(target.getInterLayers()[l], source.getInterLayers()[l], "inter");
    }
    requireNodes(target.getLastLayer(), source.getLastLayer(), "last");
}

} // namespace

std::size_t getTotalDataSize(const NNArch& arch) {
    return forEachLayer(ensemblesOf(arch), [](const NNLayer&, int, std::size_t) {});
}

void convertToTotalData(const NNArch& arch, std::span<float> x, bool wantGrad) {
    forEachLayer(ensemblesOf(arch), [&](const NNLayer& layer, int m, std::size_t offset) {
        const float scale = wantGrad ? layer.getWeightScale() : 1.0f / layer.getWeightScale();
        const float shift = wantGrad ? 0.0f : layer.getBiasShift();
        const auto weights = wantGrad ? layer.weightGradOf(m) : layer.weightOf(m);
        const auto biases = wantGrad ? layer.biasGradOf(m) : layer.biasOf(m);
        float* const start = x.data() + offset;
        std::ranges::transform(weights, start, [=](float w) { return w * scale; });
        std::ranges::transform(biases, start + weights.size(), [=](float b) { return (b - shift) * scale; });
    });
}

void convertFromTotalData(NNArch& arch, std::span<const float> x) {
    forEachLayer(ensemblesOf(arch), [&](NNLayer& layer, int m, std::size_t offset) {
        const float scale = layer.getWeightScale();
        const float shift = layer.getBiasShift();
        const std::span<float> weights = layer.weightOf(m);
        const std::span<float> biases = layer.biasOf(m);
        std::ranges::transform(x.subspan(offset, weights.size()), weights.begin(),
                               [=](float v) { return v * scale; });
        std::ranges::transform(x.subspan(offset + weights.size(), biases.size()), biases.begin(),
                               [=](float v) { return v * scale + shift; });
    });
}

void copyLayers(NNArch& target, const NNArch* source) {
    if (source == nullptr) {
        stopWithMessage("arch is null.");
    }
    if (target.getNumElems() != source->getNumElems()) {
        stopWithMessage("incorrect #elements of arch.");
    }
    std::vector<NNEnsemble>& targets = ensemblesOf(target);
    const std::vector<NNEnsemble>& sources = ensemblesOf(*source);
    if (target.getArchMode() != source->getArchMode()) {
        stopWithMessage("incorrect mode of arch.");
    }
    for (std::size_t e = 0; e < targets.size(); ++e) {
        NNEnsemble& to = targets[e];
        const NNEnsemble& from = sources[e];
        requireSameShape(to, from);
        to.copyParameters(from);
    }
    target.copyElementWeights(*source);
}

} // namespace melta
