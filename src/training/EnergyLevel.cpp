#include "training/EnergyLevel.hpp"

#include "network/NNArch.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <numeric>
#include <vector>

namespace melta {

double meanEnergyError(NNArch& arch, const GeometrySet& geometrySet, int batchSize) {
    double sum = 0.0;
    for (int first = 0; first < geometrySet.numGeoms; first += batchSize) {
        std::vector<int> batch(static_cast<std::size_t>(std::min(batchSize, geometrySet.numGeoms - first)));
        std::iota(batch.begin(), batch.end(), first);
        arch.prepareBatch(batch);
        arch.evaluate(NetworkTarget::energy, {});
        for (std::size_t i = 0; i < batch.size(); ++i) {
            const Geometry& geometry = geometrySet.getGeometry(batch[i]);
            const std::span<const float> energies = arch.obtainEnergies(static_cast<int>(i));
            const double total = std::accumulate(energies.begin(), energies.end(), 0.0);
            sum += (total - geometry.energyTotal) / geometry.numAtoms;
        }
        arch.clearGeometries();
    }
    return sum / geometrySet.numGeoms;
}

void shiftEnergies(NNArch& arch, double shift) {
    for (NNEnsemble& ensemble : arch.getEnergyEnsembles()) {
        for (int model = 0; model < ensemble.getNumModels(); ++model) {
            ensemble.getLastLayer().biasOf(model).front() += static_cast<float>(shift);
        }
    }
}

} // namespace melta
