#pragma once

#include "network/BatchLayout.hpp"
#include "network/NetworkTile.hpp"

#include <span>
#include <vector>

namespace melta {

// Which terms a training step evaluates and how.
struct LossSettings {
    std::span<const float> outputScale; // [numElems]; empty without a term of energies or charges
    std::span<const float> forceScale;  // [numElems]; empty without a force term
    ForceGradient forceGradient = ForceGradient::none;
    bool withHDNNP = false;
    bool sqrtLoss = false;
};

// Loss terms of each model, [numModels].
struct NetworkLoss {
    std::vector<float> output; // of energies or charges
    std::vector<float> force;
};

// The passes of one kind of networks over a whole batch, tile by tile and shared among threads. A tile stays
// with one thread from its outputs to its weight gradients, so that its arrays are reused while they are in
// the cache and memory does not grow with the batch. Each thread collects gradients of its own, which are
// added up in the order of the threads.
class NetworkPass {
public:
    // Lays the batch out for the present number of threads; everything in `view` is borrowed.
    void setBatch(const BatchView& view, BatchLayout::Cut cut);
    void clearBatch();

    // Outputs of all atoms: energies or charges. The networks' state is kept for goBackwardOnForce.
    void goForward();

    // Forces, after goForward.
    void goBackwardOnForce();

    // Both in one sweep that keeps no state; forces on demand.
    void evaluate(bool wantForces);

    // Outputs, forces (with a force term), losses, and the gradient of the losses with respect to the
    // weights, which is added to the ensembles.
    void evaluateLoss(const LossSettings& settings, std::span<NNEnsemble> ensembles, NetworkLoss& loss);

    // Mean over the models, [numAtoms of the batch], and forces [numAtoms of the batch][3].
    std::span<const float> obtainOutputs() const { return outputs; }
    std::span<const float> obtainForces() const { return forces; }
    const BatchLayout& getLayout() const { return layout; }

private:
    // What one thread owns. Sums run in double precision: the line searches of the fit compare losses that
    // differ in their last digits.
    struct Share {
        NetworkTile tile;
        std::vector<double> outputLoss; // [numModels]
        std::vector<double> forceLoss;  // [numModels]
        std::vector<EnsembleGrads> grads;
        std::vector<float> forces; // [numAtoms of the batch][3], this thread's part, in evaluate
    };

    struct Factors {
        std::vector<float> output;
        std::vector<float> force;
    };

    void sweep(const LossSettings& settings, const Factors& factors, bool wantGrads);
    void evaluateShare(int thread, bool wantForces);
    void sweepTile(const BatchTile& tile, const LossSettings& settings, const Factors& factors,
                   bool wantGrads, Share& share);
    void prepareShares(bool wantGrads);
    void mergeLoss(NetworkLoss& loss) const;

    BatchView batch;
    BatchLayout layout;
    std::vector<Share> shares;      // [numThreads]
    std::vector<NetworkTile> tiles; // kept between goForward and goBackwardOnForce
    std::vector<float> outputs;
    std::vector<float> forces;
};

} // namespace melta
