#pragma once

#include "SkinView.hpp"
#include "Structure.hpp"

#include <melta/Potential.hpp>

#include <mutex>
#include <vector>

namespace melta::python {

// Evaluates one structure after the other and keeps lists and memory between them. Several threads may call
// one object; they wait for each other.
class StructureEvaluator {
public:
    // skin: Angstrom, 0 or more, see SkinView. Throws Error for one that is not.
    StructureEvaluator(Potential model, double skin);

    // Throws what SkinView and Potential::evaluate throw.
    [[nodiscard]] Results evaluate(const Structure& structure, Wishes wishes);

    // How often neighbour lists were built so far.
    [[nodiscard]] int numBuilds() const;

    // As Potential::numDescriptors.
    [[nodiscard]] int numDescriptors() const { return potential.numDescriptors(); }

private:
    void foldForces(std::size_t numAtoms, Results& results) const;
    void foldModels(std::size_t numAtoms, Results& results) const;

    mutable std::mutex mutex;
    Potential potential;
    SkinView lists;
    Potential::Workspace workspace;
    Evaluation evaluation;
};

// Evaluates structures [any number] on `numThreads` threads, 1 or more. Results are in the order of the
// structures and do not depend on the number of threads. Throws what the first structure that fails throws.
[[nodiscard]] std::vector<Results> evaluateAll(const Potential& potential,
                                               const std::vector<Structure>& structures, Wishes wishes,
                                               int numThreads);

} // namespace melta::python
