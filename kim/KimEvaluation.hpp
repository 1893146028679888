#pragma once

#include "KimAtoms.hpp"
#include "KimModel.hpp"

namespace melta {

// What belongs to one set of compute arguments: the work memory of evaluations, and the way of their results
// to the simulator. One thread at a time.
class KimEvaluation {
public:
    // Evaluates the model for the particles of the arguments and overwrites what the simulator has given
    // places for: energy, energies, forces, virial (plus the derivative of the energy by the strain, as KIM
    // counts it) and the virials of the particles. Throws Error as KimAtoms::update and Potential::evaluate
    // do.
    void compute(const KimModel& model, const KIM::ModelComputeArguments& arguments);

private:
    // The places of the simulator, null where a quantity is not wanted.
    struct Places {
        double* energy = nullptr;
        double* energies = nullptr;        // [numParticles]
        double* forces = nullptr;          // [numParticles][3]
        double* virial = nullptr;          // [6], xx, yy, zz, yz, xz, xy
        double* particleVirials = nullptr; // [numParticles][6], likewise
    };

    static Places findPlaces(const KIM::ModelComputeArguments& arguments);
    static Wishes wishesOf(const Places& places);
    void give(const Places& places, const KimModel::Units& units) const;

    KimAtoms atoms;
    Potential::Workspace workspace;
    Evaluation result;
};

} // namespace melta
