#pragma once

#include "base/AlignedBuffer.hpp"
#include "network/NNEnsemble.hpp"
#include "network/SymmPreparation.hpp"
#include "structure/Geometry.hpp"
#include "symmfunc/SymmFunc.hpp"
#include "symmfunc/SymmFuncDistribution.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melta {

// What it takes to evaluate an atom; everything is borrowed.
struct AtomModel {
    const SymmFunc& symmFunc;
    const SymmStatistics& statistics; // prepared
    const SymmFuncDistribution& distribution;
    std::span<const NNEnsemble> ensembles; // [numElems]
};

// Energies of single atoms, from their neighbour lists to the mean over the models, without derivatives: for
// walks that change a few atoms at a time and keep the energies of the others. The threads share the atoms;
// an atom's energy does not depend on which others are evaluated with it. Buffers are kept between calls.
class AtomPass {
public:
    // atoms [n] of the geometry, whose lists must be there; energies [n], eV; outside [n]: whether the atom's
    // symmetry functions lie outside the distributions (SymmFuncDistribution::isOutside). Stops with "maxDist
    // is not positive." and, where symmetry functions are not finite, as calculateSymmRows.
    void evaluate(const AtomModel& model, const Geometry& geometry, std::span<const int> atoms, int maxDist,
                  std::span<float> energies, std::span<std::uint8_t> outside);

private:
    // What one thread owns. Its atoms are sorted by element into columns.
    struct Share {
        std::vector<std::size_t> columns; // [atoms of the share]
        std::vector<EnsembleTile> tiles;  // [numElems]
        AlignedBuffer<float> inpData;     // [atoms of the share][numBasis], by column
        AlignedBuffer<float> outData;     // [atoms of the share][numModels], by column
    };

    static void sortByElement(const AtomModel& model, const Geometry& geometry, std::span<const int> atoms,
                              Share& share);
    static void evaluateShare(const AtomModel& model, const Geometry& geometry, std::span<const int> atoms,
                              int maxDist, Share& share, std::span<float> energies,
                              std::span<std::uint8_t> outside);

    std::vector<Share> shares; // [numThreads]
};

} // namespace melta
