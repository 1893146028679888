#include "training/BestNetworks.hpp"

#include "network/NNArch.hpp"

#include <algorithm>
#include <span>

namespace melta {
namespace {

// Calls work(values) for weights and biases of each model of each layer, and for the weights of elements in
// the symmetry functions, always in the same order.
template <class Arch, class Work>
void forEachBlock(Arch& arch, const Work& work) {
    for (auto* const ensembles : {&arch.getEnergyEnsembles(), &arch.getChargeEnsembles()}) {
        for (auto& ensemble : *ensembles) {
            for (auto* const layer : ensemble.getLayers()) {
                for (int m = 0; m < ensemble.getNumModels(); ++m) {
                    work(layer->weightOf(m));
                    work(layer->biasOf(m));
                }
            }
        }
    }
    work(std::span(arch.getSymmStatistics().elementWeights));
}

} // namespace

void BestNetworks::offer(const NNArch& arch, float measure, Moment now) {
    if (!(measure < leastMeasure)) {
        return;
    }
    leastMeasure = measure;
    moment = now;
    parameters.clear();
    forEachBlock(arch, [this](std::span<const float> block) {
        parameters.insert(parameters.end(), block.begin(), block.end());
    });
}

void BestNetworks::exchangeWith(NNArch& arch) {
    auto next = parameters.begin();
    forEachBlock(
        arch, [&next](std::span<float> block) { next = std::swap_ranges(block.begin(), block.end(), next); });
    arch.applyElementWeights();
}

} // namespace melta
