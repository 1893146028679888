#include "potential/PotentialEvaluator.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>

namespace melta {
namespace {

// A bin of the histograms that is empty lies outside.
constexpr int leastCounts = 1;

template <class T>
void resetIf(bool isWanted, std::vector<T>& values, std::size_t size) {
    values.assign(isWanted ? size : 0, T());
}

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
    const AtomSource source(view, model->atomNumbers, obtainLargestCutoff(model->settings));
    prepare(*model, view, wishes, result);
    tiles.evaluate(*model, source, source.atoms(), wishes, leastCounts, result);
    if (model->baseline) {
        addBaseline(*model, view, wishes, result);
    }
    if (wishes.has(Wish::modelForces)) {
        findForceDeviations(result, static_cast<std::size_t>(model->settings.modelsEnergy));
    }
}

void PotentialEvaluator::prepare(const ModelData& data, const NeighborView& view, Wishes wishes,
                                 Evaluation& result) const {
    const auto numAtoms = static_cast<std::size_t>(view.numAtoms);
    const auto numModels = static_cast<std::size_t>(data.settings.modelsEnergy);
    const bool withModelEnergies = wishes.has(Wish::modelEnergies);
    const bool withModelForces = wishes.has(Wish::modelForces);
    result.energy = 0.0;
    result.virial = {};
    result.numNovel = 0;
    result.energies.assign(numAtoms, 0.0);
    resetIf(wishes.has(Wish::forces) || withModelForces, result.forces, 3 * numAtoms);
    resetIf(wishes.has(Wish::atomVirials), result.atomVirials, 6 * numAtoms);
    resetIf(wishes.has(Wish::charges), result.charges, numAtoms);
    resetIf(withModelEnergies, result.modelEnergies, numModels);
    resetIf(withModelEnergies, result.energyDeviations, numAtoms);
    resetIf(withModelForces, result.modelForces, 3 * numModels * numAtoms);
    resetIf(withModelForces, result.forceDeviations, numAtoms);
    resetIf(wishes.has(Wish::novelty), result.novelty, numAtoms);
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
    resetIf(!result.forces.empty(), forces, 3 * numAtoms);
    resetIf(withVirials, virials, 6 * numAtoms);
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
