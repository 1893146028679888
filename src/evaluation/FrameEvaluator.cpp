#include "evaluation/FrameEvaluator.hpp"

#include "melta/PeriodicView.hpp"
#include "structure/VacuumBox.hpp"

#include <cmath>

namespace melta {
namespace {

Wishes wishesFor(const Potential& potential) {
    Wishes wishes = Wish::energy | Wish::forces | Wish::virial | Wish::novelty;
    if (potential.hasCharges()) {
        wishes = wishes | Wish::charges;
    }
    if (potential.numModels() > 1) {
        wishes = wishes | Wish::modelEnergies | Wish::modelForces;
    }
    return wishes;
}

// Of the values at `first`, `first` + `step` and so on.
double varianceOf(std::span<const double> values, std::size_t first, std::size_t step) {
    double mean = 0.0;
    double squares = 0.0;
    double count = 0.0;
    for (std::size_t i = first; i < values.size(); i += step) {
        // Welford's update: no large numbers are subtracted from each other.
        count += 1.0;
        const double difference = values[i] - mean;
        mean += difference / count;
        squares += difference * (values[i] - mean);
    }
    return squares / count;
}

// The part of an array of all atoms of a view that belongs to the cell's own.
template <class Value>
std::vector<Value> localPart(const std::vector<Value>& values, std::size_t length) {
    return values.empty()
               ? values
               : std::vector<Value>(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(length));
}

} // namespace

FrameEvaluator::FrameEvaluator(const Potential& model) : potential(model), wishes(wishesFor(model)) {}

FrameResults FrameEvaluator::evaluate(const ExtxyzFrame& frame, std::span<const int> elements) {
    const double reach = potential.influenceDistance();
    const std::array<double, 9> cell =
        addVacuum(frame.lattice.value_or(std::array<double, 9>{}), frame.isPeriodic, frame.positions, reach);
    const PeriodicView view(cell, frame.positions, elements, reach);
    potential.evaluate(view.view(), wishes, evaluation, workspace);
    FrameResults results;
    const std::size_t numAtoms = frame.numAtoms();
    takeAtoms(numAtoms, results);
    takeForces(view, numAtoms, results);
    if (frame.isCrystal()) {
        takeStress(volumeOf(cell), results);
    }
    if (wishes.has(Wish::modelForces)) {
        takeSpread(view, numAtoms, results);
    }
    return results;
}

void FrameEvaluator::takeAtoms(std::size_t numAtoms, FrameResults& results) const {
    results.energy = evaluation.energy;
    results.energies = localPart(evaluation.energies, numAtoms);
    results.charges = localPart(evaluation.charges, numAtoms);
    results.novelty = localPart(evaluation.novelty, numAtoms);
    results.excess = evaluation.excess;
}

void FrameEvaluator::takeForces(const PeriodicView& view, std::size_t numAtoms, FrameResults& results) const {
    results.forces.resize(3 * numAtoms);
    view.fold(evaluation.forces, results.forces);
}

// The force on an atom is the sum over its images, so that the spread can be taken only behind that.
void FrameEvaluator::takeSpread(const PeriodicView& view, std::size_t numAtoms, FrameResults& results) const {
    const std::size_t numModels = evaluation.modelEnergies.size();
    const std::size_t rowLength = evaluation.modelForces.size() / numModels;
    std::vector<double> forces(3 * numAtoms * numModels);
    for (std::size_t m = 0; m < numModels; ++m) {
        view.fold(std::span(evaluation.modelForces).subspan(m * rowLength, rowLength),
                  std::span(forces).subspan(3 * numAtoms * m, 3 * numAtoms));
    }
    results.energyDeviation = std::sqrt(varianceOf(evaluation.modelEnergies, 0, 1));
    results.energyDeviations = localPart(evaluation.energyDeviations, numAtoms);
    for (std::size_t i = 0; i < numAtoms; ++i) {
        double squares = 0.0;
        for (std::size_t c = 3 * i; c < 3 * i + 3; ++c) {
            squares += varianceOf(forces, c, 3 * numAtoms);
        }
        results.forceDeviations.push_back(std::sqrt(squares));
    }
}

void FrameEvaluator::takeStress(double volume, FrameResults& results) const {
    constexpr std::array<std::size_t, 9> places{0, 3, 4, 3, 1, 5, 4, 5, 2}; // in Evaluation::virial
    std::array<double, 9>& stress = results.stress.emplace();
    for (std::size_t i = 0; i < places.size(); ++i) {
        stress[i] = -evaluation.virial[places[i]] / volume;
    }
}

} // namespace melta
