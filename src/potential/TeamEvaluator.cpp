#include "potential/TeamEvaluator.hpp"

#include "base/MemoryPurpose.hpp"
#include "base/ParallelGuard.hpp"
#include "potential/AtomShares.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <omp.h>

namespace melta {
namespace {

bool areFinite(std::span<const double> values) {
    return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

} // namespace

void TeamEvaluator::evaluate(const AtomSource& source, std::span<const int> atoms, Wishes wishes,
                             Evaluation& result) {
    requirePrepared(model.statistics);
    allocateFor("values of the neural networks", [&] {
        evaluateShares(source, atoms, wishes);
        collect(source, atoms, wishes, result);
        if (!areFinite(result.forces)) {
            requireFiniteDerivatives(source, atoms);
        }
    });
}

void TeamEvaluator::evaluateShares(const AtomSource& source, std::span<const int> atoms, Wishes wishes) {
    const auto numShares = static_cast<std::size_t>(omp_get_max_threads());
    shares.resize(numShares);
    ParallelGuard guard;
#pragma omp parallel for schedule(static, 1)
    for (std::size_t s = 0; s < numShares; ++s) {
        guard.run([&] {
            Share& share = shares[s];
            prepareResult(model, source.getNumAtoms(), wishes, share.result);
            share.tiles.evaluate(model, source, partOf(atoms, s, numShares), wishes, share.result);
        });
    }
    guard.rethrow();
}

void TeamEvaluator::collect(const AtomSource& source, std::span<const int> atoms, Wishes wishes,
                            Evaluation& result) const {
    const std::size_t numAtoms = source.getNumAtoms();
    result.energy = 0.0;
    result.numNovel = 0;
    result.excess = 0.0;
    result.virial = {};
    result.energies.resize(numAtoms);
    result.charges.resize(wishes.has(Wish::charges) ? numAtoms : 0);
    result.novelty.resize(wishes.has(Wish::novelty) ? numAtoms : 0);
    result.forces.assign(wishes.has(Wish::forces) ? 3 * numAtoms : 0, 0.0);
    for (std::size_t s = 0; s < shares.size(); ++s) {
        const Evaluation& part = shares[s].result;
        for (const int atom : partOf(atoms, s, shares.size())) {
            const auto a = static_cast<std::size_t>(atom);
            result.energies[a] = part.energies[a];
            result.energy += part.energies[a];
            if (!result.charges.empty()) {
                result.charges[a] = part.charges[a];
            }
            if (!result.novelty.empty()) {
                result.novelty[a] = part.novelty[a];
            }
        }
        result.numNovel += part.numNovel;
        result.excess = std::max(result.excess, part.excess);
        std::ranges::transform(result.virial, part.virial, result.virial.begin(), std::plus<>());
        std::ranges::transform(result.forces, part.forces, result.forces.begin(), std::plus<>());
    }
}

// Where the networks alone spoil the forces, these are shown as they are.
void TeamEvaluator::requireFiniteDerivatives(const AtomSource& source, std::span<const int> atoms) const {
    std::vector<float> values(static_cast<std::size_t>(model.symmFunc->getNumBasis()));
    std::vector<float> derivatives;
    NeighborArrays neighbors;
    for (const int atom : atoms) {
        source.gather(atom, neighbors);
        derivatives.resize(3 * (neighbors.size() + 1) * values.size());
        model.symmFunc->calculateAtom(neighbors, values, derivatives);
        if (!areFinite(derivatives)) {
            source.stopAtDescriptors(atom);
        }
    }
}

} // namespace melta
