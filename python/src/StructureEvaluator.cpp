#include "StructureEvaluator.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <exception>
#include <thread>
#include <utility>

namespace melta::python {
namespace {

// Order of the components here, as places in Evaluation::virial.
constexpr std::array<std::size_t, 6> voigtOrder = {0, 1, 2, 5, 4, 3};

double checkedSkin(double skin) {
    if (!(std::isfinite(skin) && skin >= 0.0)) {
        throw Error("skin is negative or not finite.");
    }
    return skin;
}

double deviationOf(std::span<const double> values) {
    double mean = 0.0;
    for (const double value : values) {
        mean += value / static_cast<double>(values.size());
    }
    double squares = 0.0;
    for (const double value : values) {
        squares += (value - mean) * (value - mean);
    }
    return values.empty() ? 0.0 : std::sqrt(squares / static_cast<double>(values.size()));
}

// Results::forceDeviations from Results::modelForces.
std::vector<double> forceDeviationsOf(std::span<const double> modelForces, std::size_t numAtoms) {
    std::vector<double> deviations(numAtoms);
    const std::size_t numModels = modelForces.size() / (3 * numAtoms);
    std::vector<double> values(numModels);
    for (std::size_t i = 0; i < 3 * numAtoms; ++i) {
        for (std::size_t m = 0; m < numModels; ++m) {
            values[m] = modelForces[3 * numAtoms * m + i];
        }
        const double deviation = deviationOf(values);
        deviations[i / 3] += deviation * deviation;
    }
    std::ranges::transform(deviations, deviations.begin(), [](double square) { return std::sqrt(square); });
    return deviations;
}

// The part of an array of all atoms of a view that belongs to the cell's own.
template <class Value>
std::vector<Value> localPart(const std::vector<Value>& values, std::size_t length) {
    return {values.begin(), values.begin() + static_cast<std::ptrdiff_t>(std::min(length, values.size()))};
}

std::vector<double> localVirials(const std::vector<double>& virials, std::size_t numAtoms) {
    std::vector<double> ordered;
    if (!virials.empty()) {
        ordered.reserve(6 * numAtoms);
        for (std::size_t i = 0; i < numAtoms; ++i) {
            for (const std::size_t place : voigtOrder) {
                ordered.push_back(virials[6 * i + place]);
            }
        }
    }
    return ordered;
}

} // namespace

StructureEvaluator::StructureEvaluator(Potential model, double skin)
    : potential(std::move(model)),
      lists(std::max(potential.cutoff(), potential.influenceDistance()), checkedSkin(skin)) {}

int StructureEvaluator::numBuilds() const {
    const std::scoped_lock lock(mutex);
    return lists.numBuilds();
}

Results StructureEvaluator::evaluate(const Structure& structure, Wishes wishes) {
    const std::scoped_lock lock(mutex);
    const std::size_t numAtoms = structure.elements.size();
    lists.update(structure);
    potential.evaluate(lists.view(), wishes, evaluation, workspace);
    Results results;
    results.energy = evaluation.energy;
    results.energies = localPart(evaluation.energies, numAtoms);
    for (std::size_t k = 0; k < voigtOrder.size(); ++k) {
        results.virial[k] = evaluation.virial[voigtOrder[k]];
    }
    results.virials = localVirials(evaluation.atomVirials, numAtoms);
    results.charges = localPart(evaluation.charges, numAtoms);
    results.modelEnergies = evaluation.modelEnergies;
    results.energyDeviation = deviationOf(results.modelEnergies);
    results.novelty = localPart(evaluation.novelty, numAtoms);
    results.excess = evaluation.excess;
    results.descriptors =
        localPart(evaluation.descriptors, numAtoms * static_cast<std::size_t>(potential.numDescriptors()));
    foldForces(numAtoms, results);
    foldModels(numAtoms, results);
    return results;
}

void StructureEvaluator::foldForces(std::size_t numAtoms, Results& results) const {
    if (!evaluation.forces.empty()) {
        results.forces.resize(3 * numAtoms);
        lists.lists().fold(evaluation.forces, results.forces);
    }
}

void StructureEvaluator::foldModels(std::size_t numAtoms, Results& results) const {
    if (evaluation.modelForces.empty()) {
        return;
    }
    const auto rowLength = 3 * static_cast<std::size_t>(lists.view().numAtoms);
    const std::size_t numModels = evaluation.modelForces.size() / rowLength;
    results.modelForces.resize(3 * numAtoms * numModels);
    const std::span<const double> rows(evaluation.modelForces);
    const std::span<double> sums(results.modelForces);
    for (std::size_t m = 0; m < numModels; ++m) {
        lists.lists().fold(rows.subspan(rowLength * m, rowLength),
                           sums.subspan(3 * numAtoms * m, 3 * numAtoms));
    }
    results.forceDeviations = forceDeviationsOf(results.modelForces, numAtoms);
}

std::vector<Results> evaluateAll(const Potential& potential, const std::vector<Structure>& structures,
                                 Wishes wishes, int numThreads) {
    std::vector<Results> results(structures.size());
    std::vector<std::exception_ptr> failures(structures.size());
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> hasFailed = false;
    const auto work = [&] {
        StructureEvaluator evaluator(potential, 0.0);
        while (!hasFailed) {
            const std::size_t i = next++;
            if (i >= structures.size()) {
                break;
            }
            try {
                results[i] = evaluator.evaluate(structures[i], wishes);
            } catch (...) {
                failures[i] = std::current_exception();
                hasFailed = true;
            }
        }
    };
    {
        std::vector<std::jthread> others;
        const std::size_t numOthers = std::min(static_cast<std::size_t>(numThreads), structures.size());
        for (std::size_t t = 1; t < numOthers; ++t) {
            others.emplace_back(work);
        }
        work();
    }
    const auto failed =
        std::ranges::find_if(failures, [](const auto& failure) { return failure != nullptr; });
    if (failed != failures.end()) {
        std::rethrow_exception(*failed);
    }
    return results;
}

} // namespace melta::python
