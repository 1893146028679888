#pragma once

#include "network/BatchLayout.hpp"
#include "network/EnergyTile.hpp"

#include <span>
#include <vector>

namespace melta {

// Which terms a training step evaluates and how.
struct EnergyLossSettings {
    std::span<const float> energyScale; // [numElems]; empty without an energy term
    std::span<const float> forceScale;  // [numElems]; empty without a force term
    ForceGradient forceGradient = ForceGradient::none;
    bool withHDNNP = false;
    bool sqrtLoss = false;
};

// Loss terms of each model, [numModels].
struct EnergyLoss {
    std::vector<float> energy;
    std::vector<float> force;
};

// The energy networks' passes over a whole batch, tile by tile and shared among threads. A tile stays with
// one thread from its energies to its weight gradients, so that its arrays are reused while they are in the
// cache and memory does not grow with the batch. Each thread collects gradients of its own, which are added
// up in the order of the threads.
class EnergyPass {
public:
    // Lays the batch out for the present number of threads; everything in `view` is borrowed.
    void setBatch(const BatchView& view, BatchLayout::Cut cut);
    void clearBatch();

    // Energies of all atoms. The networks' state is kept for goBackwardOnForce.
    void goForwardOnEnergy();

    // Forces, after goForwardOnEnergy.
    void goBackwardOnForce();

    // Both in one sweep that keeps no state; forces on demand.
    void evaluate(bool wantForces);

    // Energies, forces (with a force term), losses, and the gradient of the losses with respect to the
    // weights, which is added to the ensembles.
    void evaluateLoss(const EnergyLossSettings& settings, std::span<NNEnsemble> ensembles, EnergyLoss& loss);

    // Mean over the models, [numAtoms of the batch], and forces [numAtoms of the batch][3].
    std::span<const float> obtainEnergies() const { return energies; }
    std::span<const float> obtainForces() const { return forces; }
    const BatchLayout& getLayout() const { return layout; }

private:
    // What one thread owns. Sums run in double precision: the line searches of the fit compare losses that
    // differ in their last digits.
    struct Share {
        EnergyTile tile;
        std::vector<double> energyLoss; // [numModels]
        std::vector<double> forceLoss;  // [numModels]
        std::vector<EnsembleGrads> grads;
        std::vector<float> forces; // [numAtoms of the batch][3], this thread's part, in evaluate
    };

    struct Factors {
        std::vector<float> energy;
        std::vector<float> force;
    };

    void sweep(const EnergyLossSettings& settings, const Factors& factors, bool wantGrads);
    void sweepTile(const BatchTile& tile, const EnergyLossSettings& settings, const Factors& factors,
                   bool wantGrads, Share& share);
    void prepareShares(bool wantGrads);
    void mergeLoss(EnergyLoss& loss) const;

    BatchView batch;
    BatchLayout layout;
    std::vector<Share> shares;     // [numThreads]
    std::vector<EnergyTile> tiles; // kept between goForwardOnEnergy and goBackwardOnForce
    std::vector<float> energies;
    std::vector<float> forces;
};

} // namespace melta
