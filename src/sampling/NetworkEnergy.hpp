#pragma once

#include "sampling/ConfigurationEnergy.hpp"

namespace melta {

class BaselinePotential;
class Geometry;
class GeometrySet;
class NNArch;

// The energy of a geometry by the trained networks and the baseline potential, computed anew for all atoms
// after each move.
//
// Almost all of an atom's energy is a constant of its element, the mean over the models of their output bias.
// It is taken out of the networks and added in double precision, so that small differences of large total
// energies are not lost in the digits of a float.
class NetworkEnergy final : public ConfigurationEnergy {
public:
    // All are borrowed. `arch`: restored energy networks without a batch; their output biases change.
    // `baseline`: null without one. `geometry`: one of `set`, with its neighbour lists. `rcut`: range of the
    // symmetry functions, Angstrom. Stops with "index of element is out of range.".
    NetworkEnergy(NNArch& arch, BaselinePotential* baseline, const GeometrySet& set, Geometry& geometry,
                  float rcut);

    double start() override;
    double evaluateMove(std::span<const int> movedAtoms) override;
    [[nodiscard]] bool isUnknown() override;
    void acceptMove() override;
    void rejectMove() override;

private:
    void separateConstant(const GeometrySet& set);
    [[nodiscard]] double evaluate();

    NNArch& arch;
    BaselinePotential* baseline;
    Geometry& geometry;
    float rcut;
    double constantEnergy = 0.0; // eV
};

} // namespace melta
