#pragma once

#include "potential/TileEvaluator.hpp"
#include "potential/ViewAtoms.hpp"

#include <memory>
#include <vector>

namespace melta {

// One evaluation after the other of views, with all the work memory that this takes; one thread.
class PotentialEvaluator {
public:
    // As Potential::evaluate. Stops where that throws.
    void evaluate(const std::shared_ptr<const ModelData>& model, const NeighborView& view, Wishes wishes,
                  Evaluation& result);

private:
    void addBaseline(const ModelData& data, const NeighborView& view, Wishes wishes, Evaluation& result);

    ViewAtoms atoms;
    TileEvaluator tiles;
    std::shared_ptr<const ViewBaseline> baseline; // that `baselineEvaluator` belongs to
    std::unique_ptr<ViewBaseline::Evaluator> baselineEvaluator;
    std::vector<double> energies; // of the baseline: [numAtoms]
    std::vector<double> forces;   // [numAtoms][3]
    std::vector<double> virials;  // [numAtoms][6]
};

} // namespace melta
