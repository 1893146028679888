#include "potential/TileTeam.hpp"

#include "base/ParallelGuard.hpp"
#include "potential/AtomShares.hpp"

#include <algorithm>
#include <functional>

namespace melta {
namespace {

// Copies the rows of `atoms`, which no other thread touches; both arrays have a row for each atom, or none.
template <class T>
void copyRows(const std::vector<T>& from, std::span<const int> atoms, std::size_t numAtoms,
              std::vector<T>& to) {
    const std::size_t width = from.size() / std::max<std::size_t>(numAtoms, 1);
    for (const int atom : atoms) {
        const std::size_t first = static_cast<std::size_t>(atom) * width;
        std::copy_n(from.data() + first, width, to.data() + first);
    }
}

// What belongs to the atoms of a part alone.
void copyOwn(const Evaluation& part, std::span<const int> atoms, Evaluation& result) {
    const std::size_t numAtoms = result.energies.size();
    copyRows(part.energies, atoms, numAtoms, result.energies);
    copyRows(part.atomVirials, atoms, numAtoms, result.atomVirials);
    copyRows(part.charges, atoms, numAtoms, result.charges);
    copyRows(part.energyDeviations, atoms, numAtoms, result.energyDeviations);
    copyRows(part.novelty, atoms, numAtoms, result.novelty);
    copyRows(part.descriptors, atoms, numAtoms, result.descriptors);
}

// Adds one of `numShares` stretches of an array.
void addStretch(const std::vector<double>& values, std::size_t share, std::size_t numShares,
                std::vector<double>& sums) {
    const std::size_t end = sums.size() * (share + 1) / numShares;
    for (std::size_t i = sums.size() * share / numShares; i < end; ++i) {
        sums[i] += values[i];
    }
}

} // namespace

TileTeam::TileTeam(int numThreads)
    : tiles(static_cast<std::size_t>(numThreads)), parts(static_cast<std::size_t>(numThreads) - 1) {}

void TileTeam::evaluate(const ModelData& model, const AtomSource& source, std::span<const int> atoms,
                        Wishes wishes, Evaluation& result) {
    if (parts.empty()) {
        tiles.front().evaluate(model, source, atoms, wishes, result);
        return;
    }
    evaluateShares(model, source, atoms, wishes, result);
    addSums(result);
    addForces(result);
}

void TileTeam::evaluateShares(const ModelData& model, const AtomSource& source, std::span<const int> atoms,
                              Wishes wishes, Evaluation& result) {
    const std::size_t numShares = tiles.size();
    const auto numThreads = static_cast<int>(numShares);
    ParallelGuard guard;
#pragma omp parallel for schedule(static, 1) num_threads(numThreads)
    for (std::size_t s = 0; s < numShares; ++s) {
        guard.run([&] {
            const std::span<const int> mine = partOf(atoms, s, numShares);
            if (s == 0) {
                tiles[s].evaluate(model, source, mine, wishes, result);
                return;
            }
            Evaluation& part = parts[s - 1];
            prepareResult(model, source.getNumAtoms(), wishes, part);
            tiles[s].evaluate(model, source, mine, wishes, part);
            copyOwn(part, mine, result);
        });
    }
    guard.rethrow();
}

void TileTeam::addSums(Evaluation& result) const {
    for (const Evaluation& part : parts) {
        result.energy += part.energy;
        result.numNovel += part.numNovel;
        result.excess = std::max(result.excess, part.excess);
        std::ranges::transform(result.virial, part.virial, result.virial.begin(), std::plus<>());
        std::ranges::transform(result.modelEnergies, part.modelEnergies, result.modelEnergies.begin(),
                               std::plus<>());
    }
}

void TileTeam::addForces(Evaluation& result) const {
    const std::size_t numShares = tiles.size();
    const auto numThreads = static_cast<int>(numShares);
#pragma omp parallel for schedule(static, 1) num_threads(numThreads)
    for (std::size_t s = 0; s < numShares; ++s) {
        for (const Evaluation& part : parts) {
            addStretch(part.forces, s, numShares, result.forces);
            addStretch(part.modelForces, s, numShares, result.modelForces);
        }
    }
}

} // namespace melta
