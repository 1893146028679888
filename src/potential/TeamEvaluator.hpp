#pragma once

#include "potential/AtomSource.hpp"
#include "potential/ModelData.hpp"
#include "potential/TileEvaluator.hpp"

#include <span>
#include <vector>

namespace melta {

// Evaluates atoms with all threads, each of which takes a part of them: for modes, which own the process and
// its threads. The baseline potential of the model takes no part.
//
// What belongs to an atom depends neither on the number of threads nor on which other atoms are evaluated
// with it; forces, which many atoms give to one, are added up in the order of the threads. Work memory is
// kept from call to call.
class TeamEvaluator {
public:
    // The model is borrowed.
    explicit TeamEvaluator(const ModelData& trained) : model(trained) {}

    // Energies and, where `wishes` ask for them, charges and novelty of `atoms`, whose places in the arrays
    // [numAtoms of the source] are set; those of other atoms stay. Sums, forces and virial are those of
    // `atoms` alone. No other wishes are known here. Stops with "symmDev have not been prepared.", as
    // AtomSource::stopAtDescriptors, there also for derivatives that are not finite where they spoil forces,
    // and with "cannot allocate memory: %s".
    void evaluate(const AtomSource& source, std::span<const int> atoms, Wishes wishes, Evaluation& result);

private:
    // What one thread owns.
    struct Share {
        TileEvaluator tiles;
        Evaluation result;
    };

    void evaluateShares(const AtomSource& source, std::span<const int> atoms, Wishes wishes);
    void collect(const AtomSource& source, std::span<const int> atoms, Wishes wishes,
                 Evaluation& result) const;
    void requireFiniteDerivatives(const AtomSource& source, std::span<const int> atoms) const;

    const ModelData& model;
    std::vector<Share> shares; // [numThreads]
};

} // namespace melta
