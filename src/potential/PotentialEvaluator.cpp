#include "potential/PotentialEvaluator.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>

namespace melta {
namespace {

void addTo(std::vector<double>& sums, std::span<const double> values, std::size_t first) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        sums[first + i] += values[i];
    }
}

// Root of the mean square distance of the models' forces on each atom from the mean force.
void findForceDeviations(Evaluation& result, std::size_t numModels) {
    const std::size_t length = result.modelForces.size() / numModels;
    for (std::size_t atom = 0; atom < result.forceDeviations.size(); ++atom) {
        double sum = 0.0;
        for (std::size_t c = 3 * atom; c < 3 * atom + 3; ++c) {
            double mean = 0.0;
            for (std::size_t m = 0; m < numModels; ++m) {
                mean += result.modelForces[m * length + c];
            }
            mean /= static_cast<double>(numModels);
            for (std::size_t m = 0; m < numModels; ++m) {
                const double deviation = result.modelForces[m * length + c] - mean;
                sum += deviation * deviation;
            }
        }
        result.forceDeviations[atom] = std::sqrt(sum / static_cast<double>(numModels));
    }
}

} // namespace

void PotentialEvaluator::evaluate(const std::shared_ptr<const ModelData>& model, const NeighborView& view,
                                  Wishes wishes, Evaluation& result) {
    if (wishes.has(Wish::charges) && model->chargeNetworks.empty()) {
        stopWithMessage("this model has no charges.");
    }
    atoms.update(view, model->atomNumbers, findLargestCutoff(model->settings));
    prepareResult(*model, atoms.getNumAtoms(), wishes, result);
    tiles.evaluate(*model, atoms, atoms.atoms(), wishes, result);
    if (model->baseline) {
        addBaseline(*model, view, wishes, result);
    }
    if (wishes.has(Wish::modelForces)) {
        findForceDeviations(result, static_cast<std::size_t>(model->settings.modelsEnergy));
    }
}

// All models share the baseline.
void PotentialEvaluator::addBaseline(const ModelData& data, const NeighborView& view, Wishes wishes,
                                     Evaluation& result) {
    if (baseline != data.baseline) {
        baselineEvaluator = data.baseline->makeEvaluator();
        baseline = data.baseline;
    }
    const auto numAtoms = static_cast<std::size_t>(view.numAtoms);
    const bool withVirials = wishes.has(Wish::virial) || wishes.has(Wish::atomVirials);
    energies.assign(numAtoms, 0.0);
    forces.assign(result.forces.empty() ? 0 : 3 * numAtoms, 0.0);
    virials.assign(withVirials ? 6 * numAtoms : 0, 0.0);
    baselineEvaluator->add(view, {energies, forces, virials});
    const double total = std::accumulate(energies.begin(), energies.end(), 0.0);
    result.energy += total;
    addTo(result.energies, energies, 0);
    addTo(result.forces, forces, 0);
    for (double& ofModel : result.modelEnergies) {
        ofModel += total;
    }
    for (std::size_t row = 0; row < result.modelForces.size(); row += forces.size()) {
        addTo(result.modelForces, forces, row);
    }
    for (std::size_t i = 0; i < virials.size(); ++i) {
        result.virial[i % 6] += virials[i];
    }
    if (wishes.has(Wish::atomVirials)) {
        addTo(result.atomVirials, virials, 0);
    }
}

} // namespace melta
