#pragma once

#include "sampling/ConfigurationEnergy.hpp"
#include "structure/NeighborTracker.hpp"

#include <cstdint>
#include <vector>

namespace melta {

class BaselinePotential;
class Geometry;
class GeometrySet;
class NNArch;

// Lowers the output biases of the energy networks by their mean over the models, element by element, and
// gives their sum over the atoms of a geometry of `set`, eV. Stops with "index of element is out of range.".
//
// Almost all of an atom's energy is this constant of its element. Apart from the networks and added in double
// precision it does not bury small differences of large total energies in the digits of a float.
[[nodiscard]] double separateConstantEnergy(NNArch& arch, const GeometrySet& set, const Geometry& geometry);

// The energy of a geometry by the trained networks and the baseline potential. An atom's energy depends on
// its surroundings within the cutoff alone: a move costs the neighbour lists, symmetry functions and network
// outputs of the atoms around the old and the new places; the energies of all others are kept. The baseline
// potential is evaluated as a whole.
//
// Energies of atoms are added up anew after each move, so that no rounding errors collect in a long walk.
class NetworkEnergy final : public ConfigurationEnergy {
public:
    // All are borrowed. `arch`: restored energy networks with their distributions; their output biases
    // change. `baseline`: null without one. `geometry`: one of `set`; gets neighbour lists within `rcut`, the
    // range of the symmetry functions, Angstrom. Stops as separateConstantEnergy and NeighborTracker.
    NetworkEnergy(NNArch& arch, BaselinePotential* baseline, const GeometrySet& set, Geometry& geometry,
                  float rcut);

    double start() override;
    double evaluateMove(std::span<const int> movedAtoms) override;
    [[nodiscard]] bool isUnknown() override;
    void acceptMove() override;
    void rejectMove() override;

private:
    // What is known of atoms: of all of them, or of those that a move has changed.
    struct AtomResults {
        std::vector<float> energies;       // eV, without the constant
        std::vector<std::uint8_t> outside; // the training data do not cover the atom's surroundings

        void resize(std::size_t count);
    };

    void evaluateChanged();
    [[nodiscard]] double sumEnergies();

    NNArch& arch;
    BaselinePotential* baseline;
    Geometry& geometry;
    double constantEnergy; // eV
    NeighborTracker tracker;

    AtomResults current;           // of all atoms
    AtomResults fresh;             // of changedAtoms, scratch
    AtomResults kept;              // of changedAtoms before the move
    std::vector<int> movedAtoms;   // by the last move
    std::vector<int> changedAtoms; // whose surroundings it has changed
};

} // namespace melta
