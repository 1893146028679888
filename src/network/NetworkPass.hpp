#pragma once

#include "network/BatchLayout.hpp"
#include "network/LossTerm.hpp"
#include "network/NetworkTile.hpp"

#include <span>
#include <vector>

namespace melta {

// The passes of one kind of networks over a whole batch, tile by tile and shared among threads. A tile stays
// with one thread from its outputs to its weight gradients, so that its arrays are reused while they are in
// the cache and memory does not grow with the batch. Each thread collects gradients of its own, which are
// added up in the order of the threads.
class NetworkPass {
public:
    // Lays the batch out for the present number of threads; everything in `view` is borrowed. Without counts
    // of the whole, the batch is the whole.
    void setBatch(const BatchView& view, BatchLayout::Cut cut);
    void clearBatch();

    // Outputs of all atoms, energies or charges, and the given quantities of the derivatives.
    void evaluate(std::span<const DerivativeQuantity* const> quantities);

    // Outputs, the quantities of the derivatives that are in the loss, the loss of each term, and the
    // gradient of the losses with respect to the weights, which is added to the ensembles. `forceGradient`:
    // how the errors of derivatives act on it; with `none` they have no loss either. That with respect to the
    // weights of elements is added to `elementWeightGrads`, laid out as SymmFunc::getElementWeights, unless
    // it is empty.
    void evaluateLoss(std::span<LossTerm> terms, ForceGradient forceGradient, std::span<NNEnsemble> ensembles,
                      std::span<float> elementWeightGrads = {});

    // Adds the squared errors of the mean values over the models of all geometries of the batch. Quantities
    // of derivatives must have been in the last evaluation.
    void addSquaredErrors(QuantityError& error) const;

    // Mean over the models, [numAtoms of the batch], and forces [numAtoms of the batch][3], 0 where the
    // last evaluation was without.
    std::span<const float> getOutputs() const { return outputs; }
    std::span<const float> obtainForces() const { return means.front().values; }
    const BatchLayout& getLayout() const { return layout; }

private:
    // What one thread owns. Sums run in double precision: the line searches of the fit compare losses that
    // differ in their last digits.
    struct Share {
        NetworkTile tile;
        std::vector<std::vector<double>> loss; // [numTerms][numModels]
        std::vector<EnsembleGrads> grads;
        std::vector<float> elementWeightGrads;  // empty where they are not wanted
        std::vector<std::vector<float>> values; // this thread's part of each quantity, in evaluate
    };

    // Mean values over the models of a quantity of the derivatives.
    struct MeanValues {
        const DerivativeQuantity* quantity;
        std::vector<std::size_t> start; // [numGeoms + 1], first value of each geometry
        std::vector<float> values;
    };

    // What a sweep of evaluateLoss works with.
    struct LossSweep {
        std::span<const LossTerm> terms;
        ForceGradient forceGradient;
        std::vector<std::vector<float>> factors; // [numTerms][numModels]
        bool wantGrads;
    };

    void prepareMeans(std::span<const DerivativeQuantity* const> quantities);
    MeanValues makeMeans(const DerivativeQuantity& quantity) const;
    std::size_t placeOf(const LossQuantity& quantity) const;
    void addDerived(const NetworkTile& tile);
    void sweep(const LossSweep& work);
    void sweepTile(const BatchTile& part, const LossSweep& work, Share& share);
    void sweepDerivatives(const LossSweep& work, Share& share);
    void evaluateShare(int thread);
    void prepareShares(std::size_t numTerms, bool wantGrads, std::size_t numElementWeights);
    void mergeGrads(std::span<NNEnsemble> ensembles, std::span<float> elementWeightGrads) const;
    std::vector<std::vector<float>> mergeLoss(std::span<LossTerm> terms) const;

    BatchView batch;
    BatchLayout layout;
    std::vector<Share> shares; // [numThreads]
    std::vector<float> outputs;
    std::vector<MeanValues> means;                  // forces, and what else evaluations of the batch gave
    std::vector<const DerivativeQuantity*> present; // quantities of the present evaluation
};

} // namespace melta
