#pragma once

#include "potential/TileTeam.hpp"
#include "potential/ViewAtoms.hpp"

#include <memory>
#include <vector>

namespace melta {

// One evaluation after the other of views, with all the work memory that this takes; one caller at a time.
// The networks work on `numThreads` threads, all else on that of the caller.
class PotentialEvaluator {
public:
    explicit PotentialEvaluator(int numThreads) : tiles(numThreads) {}

    // As Potential::evaluate. Stops where that throws.
    void evaluate(const std::shared_ptr<const ModelData>& model, const NeighborView& view, Wishes wishes,
                  Evaluation& result);

private:
    void addBaseline(const ModelData& data, const NeighborView& view, Wishes wishes, Evaluation& result);

    ViewAtoms atoms;
    TileTeam tiles;
    std::shared_ptr<const ViewBaseline> baseline; // that `baselineEvaluator` belongs to
    std::unique_ptr<ViewBaseline::Evaluator> baselineEvaluator;
    std::vector<double> energies; // of the baseline: [numAtoms]
    std::vector<double> forces;   // [numAtoms][3]
    std::vector<double> virials;  // [numAtoms][6]
};

} // namespace melta
