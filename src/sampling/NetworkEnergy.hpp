#pragma once

#include "potential/GeometryAtoms.hpp"
#include "potential/TeamEvaluator.hpp"
#include "sampling/ConfigurationEnergy.hpp"
#include "structure/NeighborTracker.hpp"

#include <cstdint>
#include <vector>

namespace melta {

class BaselinePotential;
class Geometry;

// The energy of a geometry by the trained networks and the baseline potential. An atom's energy depends on
// its surroundings within the cutoff alone: a move costs the neighbour lists, symmetry functions and network
// outputs of the atoms around the old and the new places; the energies of all others are kept. The baseline
// potential is evaluated as a whole.
//
// Energies of atoms are added up anew after each move, in double precision, so that no rounding errors
// collect in a long walk. The reference of an element, almost all of an atom's energy, is no part of the
// networks' single precision, where it would bury small differences.
class NetworkEnergy final : public ConfigurationEnergy {
public:
    // All are borrowed. `model`: restored networks with their histograms. `baseline`: null without one.
    // `geometry`: one of the model's set; gets neighbour lists within `rcut`, the range of the symmetry
    // functions, Angstrom. Stops as GeometryAtoms and NeighborTracker.
    NetworkEnergy(const ModelData& model, BaselinePotential* baseline, Geometry& geometry, float rcut);

    double start() override;
    double evaluateMove(std::span<const int> movedAtoms) override;
    [[nodiscard]] bool isUnknown() override;
    void acceptMove() override;
    void rejectMove() override;

private:
    // What is known of an atom.
    struct AtomResult {
        double energy;
        std::uint8_t novelty; // the training data do not cover the atom's surroundings
    };

    void evaluate(std::span<const int> atoms);
    [[nodiscard]] double sumEnergies();

    BaselinePotential* baseline;
    Geometry& geometry;
    GeometryAtoms source;
    NeighborTracker tracker;
    TeamEvaluator evaluator;

    Evaluation current;            // of all atoms
    std::vector<AtomResult> kept;  // of changedAtoms before the move
    std::vector<int> movedAtoms;   // by the last move
    std::vector<int> changedAtoms; // whose surroundings it has changed
};

} // namespace melta
