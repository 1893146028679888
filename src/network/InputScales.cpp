#include "network/InputScales.hpp"

#include <span>

namespace melta {

InputScales sharedScales(const SymmStatistics& statistics, std::size_t element, std::size_t numBasis) {
    return {std::vector<double>(numBasis, static_cast<double>(statistics.symmAve[element])),
            std::vector<double>(numBasis, 1.0 / static_cast<double>(statistics.symmDev[element]))};
}

InputScales scalesInUse(const SymmStatistics& statistics, std::size_t element, std::size_t numBasis) {
    if (!statistics.scalesEach()) {
        return sharedScales(statistics, element, numBasis);
    }
    const auto shifts = statistics.ofElement(statistics.functionShift, element);
    const auto scales = statistics.ofElement(statistics.functionScale, element);
    return {{shifts.begin(), shifts.end()}, {scales.begin(), scales.end()}};
}

void rescaleInputs(NNEnsemble& ensemble, const InputScales& old, const InputScales& next) {
    NNLayer& layer = ensemble.getInterLayers().front();
    const std::size_t numInputs = old.shift.size();
    for (int m = 0; m < ensemble.getNumModels(); ++m) {
        const std::span<float> weights = layer.weightOf(m);
        const std::span<float> biases = layer.biasOf(m);
        for (std::size_t o = 0; o < biases.size(); ++o) {
            auto bias = static_cast<double>(biases[o]);
            for (std::size_t i = 0; i < numInputs; ++i) {
                float& weight = weights[o * numInputs + i];
                weight = static_cast<float>(static_cast<double>(weight) * old.scale[i] / next.scale[i]);
                // With the weight as it has been rounded, so that nothing changes where the function is
                // at its old shift.
                bias += static_cast<double>(weight) * next.scale[i] * (next.shift[i] - old.shift[i]);
            }
            biases[o] = static_cast<float>(bias);
        }
    }
}

std::vector<NNEnsemble> withSharedScales(const SymmStatistics& statistics,
                                         const std::vector<NNEnsemble>& ensembles) {
    std::vector<NNEnsemble> result;
    for (std::size_t e = 0; e < ensembles.size(); ++e) {
        const int numInputs = ensembles[e].getNumInp();
        const auto numBasis = static_cast<std::size_t>(numInputs);
        result.emplace_back(ensembles[e].getShape(), numInputs, false, false);
        result.back().copyParameters(ensembles[e]);
        rescaleInputs(result.back(), scalesInUse(statistics, e, numBasis),
                      sharedScales(statistics, e, numBasis));
    }
    return result;
}

} // namespace melta
