#pragma once

#include "evaluation/FrameResults.hpp"
#include "melta/Potential.hpp"
#include "structure/io/ExtxyzFrame.hpp"

#include <span>

namespace melta {

class PeriodicView;

// Evaluates one frame after the other, with memory that is kept. One thread; the potential is shared.
class FrameEvaluator {
public:
    explicit FrameEvaluator(const Potential& potential);

    // All that the model says. Directions that are not periodic get so much vacuum that no atom acts on an
    // image. `elements` [n], indices among those of the potential. Throws as PeriodicView and
    // Potential::evaluate.
    [[nodiscard]] FrameResults evaluate(const ExtxyzFrame& frame, std::span<const int> elements);

private:
    void takeAtoms(std::size_t numAtoms, FrameResults& results) const;
    void takeForces(const PeriodicView& view, std::size_t numAtoms, FrameResults& results) const;
    void takeSpread(const PeriodicView& view, std::size_t numAtoms, FrameResults& results) const;
    void takeStress(double volume, FrameResults& results) const;

    Potential potential;
    Wishes wishes;
    Potential::Workspace workspace;
    Evaluation evaluation;
};

} // namespace melta
