#pragma once

#include "base/AlignedBuffer.hpp"
#include "network/BatchLayout.hpp"
#include "network/NNEnsemble.hpp"
#include "network/SymmRows.hpp"
#include "structure/Geometry.hpp"

#include <span>
#include <vector>

namespace melta {

// What the networks are to give for each atom.
enum class NetworkTarget { energy, charge };

// The batch that tiles belong to; everything is borrowed.
struct BatchView {
    std::span<const NNEnsemble> ensembles; // [numElems]
    std::span<Geometry* const> geometries; // [numGeoms]
    std::span<const SymmRows* const> symm; // [numGeoms], normalised
    std::size_t numAtoms = 0;              // atoms of the whole batch, by which loss terms are divided
    NetworkTarget target = NetworkTarget::energy;
};

// What the loss of energies or charges weighs.
struct OutputLossTerm {
    std::span<const float> scale;  // [numElems], factors from the trainer
    std::span<const float> factor; // [numModels], further factor on the gradient of each model
    bool withHDNNP = false;        // total energies are the target, not atomic ones
};

// What the force loss weighs.
struct ForceLossTerm {
    std::span<const float> scale;  // [numElems]
    std::span<const float> factor; // [numModels]
};

// How force errors act on the weights.
enum class ForceGradient { none, approximate, exact };

// The passes of one kind of networks over one tile of a batch: energies or charges, their loss, forces
// (of energy networks), their loss, and the gradient of both with respect to the weights. A tile belongs to
// one thread; its buffers grow to the largest tile and are kept.
class NetworkTile {
public:
    // Takes the next tile and gathers its inputs. `forTraining` makes room for gradients and keeps one force
    // for each model; without it forces are the mean over the models.
    void bind(const BatchView& batch, const BatchTile& tile, bool forTraining);

    // Outputs of all models.
    void goForward(bool wantDerivs);

    // Loss of the outputs of each model, added to loss [numModels], and its gradient with respect to them.
    void goBackwardOnOutput(const OutputLossTerm& term, std::span<double> loss);

    // Forces.
    void goBackwardOnForce();

    // Force loss of each model, added to loss [numModels], and its gradient with respect to dE/dG, which
    // replaces the latter. Whole geometries only, for training.
    void goDoubleBackwardOnForce(const ForceLossTerm& term, std::span<double> loss);

    // Adds the gradient of the losses with respect to the weights to grads [numElems].
    void addWeightGrads(ForceGradient forceGradient, bool withOutput, std::span<EnsembleGrads> grads);

    // Stores the mean outputs over the models in outputs [numAtoms of the batch], by atoms from
    // geometryStart.
    void storeOutputs(std::span<const std::size_t> geometryStart, std::span<float> outputs) const;

    // Adds mean forces over the models to forces [numAtoms of the batch][3].
    void addForces(std::span<const std::size_t> geometryStart, std::span<float> forces) const;

private:
    void gatherInputs();
    void prepareEnsembles();
    void assembleForces();
    std::size_t columnOf(const BatchTile::Piece& piece, std::size_t atom) const;
    float referenceOf(const Geometry& geometry, std::size_t atom) const;
    void addAtomicLoss(const BatchTile::Piece& piece, const OutputLossTerm& term, std::span<double> loss);
    void addTotalLoss(const BatchTile::Piece& piece, const OutputLossTerm& term, std::span<double> loss);
    void differentiateForceLoss(const ForceLossTerm& term, std::span<double> loss);

    BatchView batch;
    const BatchTile* tile = nullptr;
    bool forTraining = false;
    bool hasBackward = false; // the networks' backward pass of this tile is done
    std::size_t numBasis = 0;
    std::size_t numModels = 0;
    std::size_t numForces = 0; // forces of an atom: one for each model in training, else one
    std::size_t lanes = 0;     // floats of a force component

    std::vector<EnsembleTile> ensembleTiles; // [numElems]
    AlignedBuffer<float> inpData;            // [numAtoms][numBasis], by column
    AlignedBuffer<float> outData;            // [numAtoms][numModels], energies or charges
    AlignedBuffer<float> outGrad;            // [numAtoms][numModels], gradient of their loss
    AlignedBuffer<float> inpGrad;            // [numAtoms][numForces][numBasis], dE/dG, later its coefficients
    AlignedBuffer<float> forces;             // [numForceRows][3][lanes]; later the gradient of the force loss
    AlignedBuffer<float> columns;            // [numBasis][lanes], scratch of one atom
    AlignedBuffer<float> rows;               // [3 (numNeighbors + 1)][lanes] of one atom
};

} // namespace melta
