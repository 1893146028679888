#pragma once

#include <span>

namespace melta {

class Geometry;

// A physical potential that stands under the networks: its energies and forces are taken out of the reference
// data before a training, so that the networks learn the remainder, and are added back wherever physical
// values are reported. Energies in eV, forces in eV/Angstrom.
//
// An object may keep work data between calls: one thread at a time.
class BaselinePotential {
public:
    BaselinePotential() = default;
    virtual ~BaselinePotential() = default;
    BaselinePotential(const BaselinePotential&) = delete;
    BaselinePotential& operator=(const BaselinePotential&) = delete;
    BaselinePotential(BaselinePotential&&) = delete;
    BaselinePotential& operator=(BaselinePotential&&) = delete;

    // Subtracts the potential from the geometry's reference data: energyTotal, energies, forces. The
    // neighbour lists must be there. Null: does nothing.
    virtual void removeFromGeometry(Geometry* geometry) = 0;

    // Energy of the geometry; null: 0.
    virtual float obtainEnergy(const Geometry* geometry) = 0;

    // Fills energies [numAtoms] and forces [numAtoms][3] and gives the energy of the geometry; null: 0, and
    // the arrays are left alone.
    virtual float obtainEnergiesAndForces(const Geometry* geometry, std::span<float> energies,
                                          std::span<float> forces) = 0;
};

} // namespace melta
