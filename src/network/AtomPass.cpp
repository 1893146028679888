#include "network/AtomPass.hpp"

#include "base/ParallelGuard.hpp"

#include <numeric>
#include <omp.h>

namespace melta {
namespace {

std::size_t elementOf(const Geometry& geometry, int atom) {
    return static_cast<std::size_t>(geometry.elements[static_cast<std::size_t>(atom)]);
}

// Normalised symmetry functions of an atom.
void calculateInput(const AtomModel& model, const Geometry& geometry, int atom, std::span<float> values) {
    model.symmFunc.calculate(geometry, atom, values, {});
    if (!areFinite(values)) {
        stopAtSymmFuncs(0);
    }
    renormalize(values, elementOf(geometry, atom), model.statistics);
}

} // namespace

void AtomPass::evaluate(const AtomModel& model, const Geometry& geometry, std::span<const int> atoms,
                        int maxDist, std::span<float> energies, std::span<std::uint8_t> outside) {
    const auto numShares = static_cast<std::size_t>(omp_get_max_threads());
    shares.resize(numShares);
    ParallelGuard guard;
#pragma omp parallel for schedule(static, 1)
    for (std::size_t s = 0; s < numShares; ++s) {
        const std::size_t first = atoms.size() * s / numShares;
        const std::size_t count = atoms.size() * (s + 1) / numShares - first;
        guard.run([&] {
            evaluateShare(model, geometry, atoms.subspan(first, count), maxDist, shares[s],
                          energies.subspan(first, count), outside.subspan(first, count));
        });
    }
    guard.rethrow();
}

// Gives each atom its column and each element's networks their columns.
void AtomPass::sortByElement(const AtomModel& model, const Geometry& geometry, std::span<const int> atoms,
                             Share& share) {
    const auto numBasis = static_cast<std::size_t>(model.symmFunc.getNumBasis());
    const auto numModels = static_cast<std::size_t>(model.ensembles.front().getNumModels());
    share.inpData.reserve(atoms.size() * numBasis);
    share.outData.reserve(atoms.size() * numModels);
    share.columns.resize(atoms.size());
    share.tiles.resize(model.ensembles.size());
    std::size_t column = 0;
    for (std::size_t e = 0; e < share.tiles.size(); ++e) {
        const std::size_t first = column;
        for (std::size_t k = 0; k < atoms.size(); ++k) {
            if (elementOf(geometry, atoms[k]) == e) {
                share.columns[k] = column++;
            }
        }
        EnsembleTile& tile = share.tiles[e];
        model.ensembles[e].prepareTile(tile, column - first, false);
        tile.inpData = share.inpData.data() + first * numBasis;
        tile.outData = share.outData.data() + first * numModels;
    }
}

void AtomPass::evaluateShare(const AtomModel& model, const Geometry& geometry, std::span<const int> atoms,
                             int maxDist, Share& share, std::span<float> energies,
                             std::span<std::uint8_t> outside) {
    sortByElement(model, geometry, atoms, share);
    const auto numBasis = static_cast<std::size_t>(model.symmFunc.getNumBasis());
    for (std::size_t k = 0; k < atoms.size(); ++k) {
        const std::span<float> values = share.inpData.span().subspan(share.columns[k] * numBasis, numBasis);
        calculateInput(model, geometry, atoms[k], values);
        const auto element = static_cast<int>(elementOf(geometry, atoms[k]));
        outside[k] = model.distribution.isOutside(element, values, maxDist) ? 1 : 0;
    }
    for (std::size_t e = 0; e < share.tiles.size(); ++e) {
        if (share.tiles[e].numSamples > 0) {
            model.ensembles[e].goForward(share.tiles[e], false);
        }
    }
    const auto numModels = static_cast<std::size_t>(model.ensembles.front().getNumModels());
    for (std::size_t k = 0; k < atoms.size(); ++k) {
        const auto outputs = share.outData.span().subspan(share.columns[k] * numModels, numModels);
        energies[k] = std::accumulate(outputs.begin(), outputs.end(), 0.0f) / static_cast<float>(numModels);
    }
}

} // namespace melta
