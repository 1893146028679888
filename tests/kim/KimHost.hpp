#pragma once

#include "KIM_SimulatorHeaders.hpp"
#include "melta/NeighborView.hpp"

#include <memory>
#include <string>
#include <vector>

namespace melta::test {

// A simulator with the KIM API, as small as it can be: hands the atoms of a view over to a model.
class KimHost {
public:
    struct Units {
        KIM::LengthUnit length;
        KIM::EnergyUnit energy;
    };

    // What a model gives, in the units of the simulator and KIM's order of components.
    struct Result {
        double energy = 0.0;
        std::vector<double> energies;        // [numParticles]
        std::vector<double> forces;          // [numParticles][3]
        std::vector<double> virial;          // [6]
        std::vector<double> particleVirials; // [numParticles][6]
    };

    // Throws std::runtime_error if KIM cannot make the model; its log tells why.
    KimHost(const std::string& model, const Units& units);

    // The code of a species; -1 if the model does not have it.
    [[nodiscard]] int codeOf(const std::string& species) const;

    [[nodiscard]] double influenceDistance() const;
    [[nodiscard]] std::vector<double> cutoffs() const;

    // Evaluates the atoms of a view, whose positions are in the units of the simulator and whose elements are
    // codes. `particleOf` [numAtoms]: the particle that each atom is to be. False if the model fails.
    [[nodiscard]] bool compute(const NeighborView& view, const std::vector<int>& particleOf, Result& result);

    // Wishes for the energy only.
    [[nodiscard]] bool computeEnergy(const NeighborView& view, const std::vector<int>& particleOf,
                                     double& energy);

private:
    struct ModelCloser {
        void operator()(KIM::Model* closed) const { KIM::Model::Destroy(&closed); }
    };
    struct ArgumentsCloser {
        const KIM::Model* model;
        void operator()(KIM::ComputeArguments* closed) const { model->ComputeArgumentsDestroy(&closed); }
    };

    void takeParticles(const NeighborView& view, const std::vector<int>& particleOf);
    static int findNeighbors(const void* host, int numLists, const double* cutoffs, int index, int particle,
                             int* length, const int** list);

    std::unique_ptr<KIM::Model, ModelCloser> model;
    std::unique_ptr<KIM::ComputeArguments, ArgumentsCloser> arguments;
    int numParticles = 0;
    std::vector<double> coordinates;
    std::vector<int> species;
    std::vector<int> contributing;
    std::vector<std::vector<int>> neighbors; // of each particle
    mutable std::vector<int> answered;       // the last list that was asked for: its place is used again
};

} // namespace melta::test
