#pragma once

#include "base/AlignedBuffer.hpp"
#include "network/BatchLayout.hpp"
#include "network/DerivativeProducts.hpp"
#include "network/LossTerm.hpp"
#include "network/NNEnsemble.hpp"
#include "network/SymmRows.hpp"
#include "structure/Geometry.hpp"

#include <span>
#include <vector>

namespace melta {

struct SymmStatistics;

// The batch that tiles belong to; everything is borrowed.
struct BatchView {
    std::span<const NNEnsemble> ensembles; // [numElems]
    std::span<Geometry* const> geometries; // [numGeoms]
    std::span<const SymmRows* const> symm; // [numGeoms], normalised
    BatchCounts whole;                     // by which losses are divided; of a shared batch more than this

    // Where derivatives are not stored, the functions that give products with them, and the inputs that a
    // raw value of 1 makes, [numElems][numBasis].
    const SymmFunc* symmFunc = nullptr;
    std::span<const float> inputScales = {};

    // Where the symmetry functions change in the course of a training: how raw values become inputs, which
    // tiles then compute from `symmFunc`, because those in `symm` are of the past. Else null.
    const SymmStatistics* changing = nullptr;
};

// How errors of derivatives act on the weights.
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

    // Loss of a term of the outputs, of each model, added to loss [numModels], and its gradient with respect
    // to them, times factor [numModels]; gradients of several terms add up.
    void goBackwardOnOutput(const LossTerm& term, std::span<const float> factor, std::span<double> loss);

    // Values of quantities of the derivatives, such as forces.
    void goBackwardOnForce(std::span<const DerivativeQuantity* const> quantities);

    // Loss of a term of the derivatives, whose quantity is that of `index` in the last goBackwardOnForce; its
    // gradient replaces the values. For training.
    void differentiate(std::size_t index, const LossTerm& term, std::span<const float> factor,
                       std::span<double> loss);

    // Gradient of the losses of all quantities with respect to dE/dG, which replaces the latter, after
    // differentiate of each of them.
    void goDoubleBackwardOnForce();

    // Adds the gradient of the losses with respect to the weights to grads [numElems]. Without `none` the
    // errors of derivatives take part, after goDoubleBackwardOnForce.
    void addWeightGrads(ForceGradient forceGradient, std::span<EnsembleGrads> grads);

    // Adds the gradient of the same losses with respect to the weights of elements in the symmetry functions
    // to grads, laid out as SymmFunc::getElementWeights; after addWeightGrads, once.
    void addElementWeightGrads(ForceGradient forceGradient, std::span<float> grads);

    // Stores the mean outputs over the models in outputs [numAtoms of the batch], by atoms from
    // geometryStart.
    void storeOutputs(std::span<const std::size_t> geometryStart, std::span<float> outputs) const;

    // Adds mean values over the models of the quantity of `index` to values, those of a geometry from
    // valueStart.
    void addMeanValues(std::size_t index, std::span<const std::size_t> valueStart,
                       std::span<float> values) const;

private:
    // Values of a quantity of the derivatives of the geometries that the pieces belong to, piece after piece,
    // [numValues][lanes]; later the gradient of their loss.
    struct Derived {
        const DerivativeQuantity* quantity = nullptr;
        AlignedBuffer<float> values;
        std::vector<std::size_t> first; // [numPieces + 1]
    };

    void gatherInputs();
    void computeInputs(const BatchTile::Piece& piece, std::size_t atom, std::span<float> inputs);
    void prepareEnsembles();
    void prepareDerived(std::span<const DerivativeQuantity* const> quantities);
    void collectDerived();
    std::size_t columnOf(const BatchTile::Piece& piece, std::size_t atom) const;
    const Geometry& geometryOf(const BatchTile::Piece& piece) const {
        return *batch.geometries[piece.geometry];
    }
    std::span<const float> gatherOutputs(const BatchTile::Piece& piece);
    void addOutputGrads(const BatchTile::Piece& piece, std::span<const float> grads);
    void multiplyByGrads(const BatchTile::Piece& piece, std::size_t atom);
    void multiplyByRows(const BatchTile::Piece& piece, std::size_t atom);
    std::span<const float> bindNeighbors(const Geometry& geometry, std::size_t atom);
    void gatherRowGrads(std::size_t piece, std::size_t atom, std::size_t length);
    void addElementWeightGrads(std::size_t piece, std::size_t atom, bool withSlopes, std::span<float> grads);

    BatchView batch;
    const BatchTile* tile = nullptr;
    bool forTraining = false;
    bool hasBackward = false;   // the networks' backward pass of this tile is done
    bool hasOutputGrad = false; // a term of the outputs has left its gradient
    std::size_t numBasis = 0;
    std::size_t numModels = 0;
    std::size_t numForces = 0; // forces of an atom: one for each model in training, else one
    std::size_t lanes = 0;     // floats of a force component

    std::vector<EnsembleTile> ensembleTiles; // [numElems]
    AlignedBuffer<float> inpData;            // [numAtoms][numBasis], by column
    AlignedBuffer<float> outData;            // [numAtoms][numModels], energies or charges
    AlignedBuffer<float> outGrad;            // [numAtoms][numModels], gradient of their loss
    AlignedBuffer<float> inpGrad;            // [numAtoms][numForces][numBasis], dE/dG, later its coefficients
    AlignedBuffer<float> inpLoss;            // as inpGrad, gradient of the loss with respect to the inputs
    AlignedBuffer<float> columns;            // [numBasis][lanes], scratch of one atom
    NeighborArrays neighbors;                // of one atom, where derivatives are not stored
    DerivativeProducts products;
    AlignedBuffer<float> rows;       // [3 (numNeighbors + 1)][lanes] of one atom
    AlignedBuffer<float> moreRows;   // the same of a further quantity
    std::vector<Derived> derived;    // [numQuantities]
    std::vector<float> atomScratch;  // [numAtoms][numModels] of one geometry
    std::vector<float> valueScratch; // [numValues][numModels] of one geometry
};

} // namespace melta
