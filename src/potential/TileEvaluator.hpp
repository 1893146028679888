#pragma once

#include "base/AlignedBuffer.hpp"
#include "melta/Evaluation.hpp"
#include "network/DerivativeProducts.hpp"
#include "potential/AtomSource.hpp"
#include "potential/ModelData.hpp"
#include "structure/NeighborArrays.hpp"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace melta {

// Gives a result the sizes and start values that an evaluation of `wishes` begins with. `numAtoms`: of the
// source.
void prepareResult(const ModelData& model, std::size_t numAtoms, Wishes wishes, Evaluation& result);

// Evaluates a few atoms after the other, about as many at once as the caches hold: descriptors, networks, and
// back through the descriptors to the neighbours. Derivatives of descriptors are made only for the forces of
// each model, and for one atom at a time, so that they stay in the cache.
//
// Work memory of one thread, kept from call to call; it may serve one model after the other.
class TileEvaluator {
public:
    // Atoms that are evaluated together.
    static constexpr std::size_t tileSize = 96;

    // Adds what `wishes` ask for to `result`, whose arrays have their sizes and start values; energies,
    // charges, energyDeviations, novelty and descriptors of the atoms are set. Deviations of forces are not
    // made here. Stops as AtomSource::stopAtDescriptors.
    void evaluate(const ModelData& model, const AtomSource& source, std::span<const int> atoms, Wishes wishes,
                  Evaluation& result);

private:
    struct Job {
        const ModelData& model;
        const AtomSource& source;
        Wishes wishes;
        Evaluation& result;
        bool withForces;      // anything that needs the neighbours' shares
        bool withModelForces; // of each model
    };

    void evaluateTile(const Job& job, std::span<const int> atoms);
    void sortByElement(const Job& job, std::span<const int> atoms);
    void evaluateDescriptors(const Job& job, std::span<const int> atoms);
    void noteNovelty(const Job& job, int atom, std::size_t element, std::span<const float> values) const;
    void runNetworks(const std::vector<NNEnsemble>& ensembles, std::vector<EnsembleTile>& tiles,
                     bool withGradients, bool perModel);
    void storeEnergies(const Job& job, std::span<const int> atoms) const;
    void storeCharges(const Job& job, std::span<const int> atoms) const;
    void scaleGradients(const Job& job, std::size_t element, std::span<float> columns) const;
    void spreadForces(const Job& job, std::span<const int> atoms);
    void addForces(const Job& job, std::size_t atom, const NeighborArrays& list,
                   std::span<const float> byValues);
    void computeModelRows(const Job& job, const NeighborArrays& list, std::span<const float> byValues);
    void addModelForces(const Job& job, std::size_t atom, const NeighborArrays& list,
                        std::span<const float> byValues);
    [[nodiscard]] static std::size_t columnsOf(const Job& job);

    std::vector<NeighborArrays> neighbors; // [atoms of the tile]
    std::vector<std::size_t> columnOf;     // [atoms of the tile], sorted by element
    std::vector<std::size_t> nexts;        // [numElems], next free column of each element
    std::vector<std::size_t> starts;       // [numElems + 1], first column of each element
    std::vector<EnsembleTile> energyTiles; // [numElems]
    std::vector<EnsembleTile> chargeTiles; // [numElems]
    AlignedBuffer<float> inputs;           // [atoms of the tile][numBasis], by column
    AlignedBuffer<float> outputs;          // [atoms of the tile][numModels], by column
    AlignedBuffer<float> chargeOutputs;    // the same of the charge networks
    AlignedBuffer<float> gradients;        // [atoms of the tile][columns][numBasis]
    AlignedBuffer<float> symmDiff;         // of one atom, [3 (neighbours + 1)][numBasis]
    AlignedBuffer<float> values;           // of the same atom, [numBasis]
    AlignedBuffer<float> work;             // [numBasis][lanes]
    DerivativeProducts products;
    AlignedBuffer<float> rows; // gradients by the positions: [3][neighbours] or, of each model,
                               // [3 (neighbours + 1)][lanes]
};

} // namespace melta
