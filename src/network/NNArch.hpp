#pragma once

#include "config/NetworkFields.hpp"
#include "config/Property.hpp"
#include "network/BatchGeometries.hpp"
#include "network/ElementWeightSteps.hpp"
#include "network/EnergyModeScheme.hpp"
#include "network/NNEnsemble.hpp"
#include "network/NetworkPass.hpp"
#include "network/SymmPreparation.hpp"
#include "structure/GeometrySet.hpp"
#include "symmfunc/SymmFunc.hpp"
#include "symmfunc/SymmFuncDistribution.hpp"

#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace melta {

// Whether symmetry functions come with their derivatives, which forces need.
enum class Derivatives : bool { no, yes };

// The whole arrangement of networks: for each element an ensemble of networks, the current batch of
// geometries, their symmetry functions, and the passes over them. Training goes through this class, which
// keeps what the gradients of many geometries need; models that do not change any more are evaluated by
// TeamEvaluator.
//
// Stages: constructed; initLayers; then setGeometries and clearGeometries in turn. A training run registers
// an in-core set with setGeometriesAll, whose symmetry functions are computed once, and takes batches from it
// by index; other clients set their geometries directly and let the symmetry functions be computed for each
// batch.
//
// Results are means over the models; losses belong to each model alone. Energies in eV, forces in
// eV/Angstrom. Not for concurrent use: the operations run parallel regions of their own.
class NNArch {
public:
    enum Mode : int { energyAndCharge = 0, onlyEnergy = 1, onlyCharge = 2 };

    // `property` is borrowed. `isMainArch`: the arrangement that is trained. `useAdam`: layers carry Adam's
    // moments. Stops with "#elements is not positive." and "property is null.".
    NNArch(int archMode, int numElems, const Property* property, bool isMainArch, bool useAdam);
    virtual ~NNArch() = default;
    NNArch(const NNArch&) = delete;
    NNArch& operator=(const NNArch&) = delete;
    NNArch(NNArch&&) = delete;
    NNArch& operator=(NNArch&&) = delete;

    // Makes the networks with random start weights. Stops with "geometrySet is null.", "index of element is
    // out of range.", "cannot create symmFunc.", "there are no symmetry functions." and "neural network is
    // too large.".
    void initLayers(const GeometrySet* geometrySet);

    // Networks of one kind with random start weights, [numElems], as initLayers makes them; after it. Stop
    // with "index of element is out of range." and "neural network is too large.".
    std::vector<NNEnsemble> makeEnergyNetworks(const GeometrySet& geometrySet) const;
    std::vector<NNEnsemble> makeChargeNetworks(const GeometrySet& geometrySet) const;

    // In-core set.

    // Registers the geometries; they are borrowed. Stops with "geometrySet is null.", "#all-geometries is not
    // positive.", "geometriesAll have been set, already.".
    void setGeometriesAll(const GeometrySet* geometrySet);
    void setGeometriesAll(std::span<Geometry* const> geometries);

    // Stops with "geometriesAll have not been set.".
    void clearGeometriesAll();

    // Batch.

    // The caller's geometries, borrowed; calculateSymmFuncs and renormalizeSymmFuncs follow. Stops with
    // "#geometries is not positive.", "geometries have been set, already.".
    void setGeometries(std::span<Geometry* const> geometries);

    // Entries of the in-core set with their prepared symmetry functions. Stops with "geometriesAll have not
    // been set.", "geometries have been set, already.", "#geometries is not positive.", "symmDataAll have not
    // been prepared.", "idxGeoms is out of range.".
    void setGeometries(std::span<const int> idxGeoms);

    // Stops with "geometries have not been set.".
    void clearGeometries();

    // A batch that is ready for the passes, until clearGeometries: the caller's geometries, borrowed, with
    // normalised symmetry functions, or entries of the in-core set, which has been prepared. Stop as
    // setGeometries, calculateSymmFuncs and renormalizeSymmFuncs.
    void prepareBatch(std::span<Geometry* const> geometries, Derivatives derivatives);
    void prepareBatch(std::span<const int> idxGeoms);

    // Computes the symmetry functions of the in-core set, with title and bar unless `isSilent`; once the
    // ranges are known, normalizeAll makes them ready for batches. Stop as calculateSymmFuncs and
    // renormalizeSymmFuncs.
    void computeAll(Derivatives derivatives, bool isSilent = false);
    void normalizeAll();

    int getNumGeoms() const { return static_cast<int>(geometries.getBatch().size()); }
    int getNumAtomsBatch() const { return geometries.countAtomsOfBatch(); }

    // Symmetry functions.

    // Computes the symmetry functions of the in-core set (`all`) or of the batch, with `derive` their
    // derivatives. Title and bar are printed for the in-core set unless `silent`. Stops with "geometriesAll
    // have not been set." or "geometries have not been set.", and as requireMemory in SymmMemory.hpp, before
    // anything is computed.
    void calculateSymmFuncs(bool derive, bool all, bool silent);

    // Takes the range of the raw in-core data, or of the whole set where there are none, prints it, and
    // adapts the first layers of a restored network, whose function stays the same. Stops with "geometrySet
    // is null.", "total number of geometries is not positive.", "deviation of symmetry functions is too
    // small.".
    void statisticsSymmFuncs(const GeometrySet* geometrySet);

    // Normalises the in-core data (`all`) or the batch's, once. Stops with "symmDev have not been prepared.",
    // "geometriesAll have not been set.", "symmDataAll have not been prepared.", "geometries have not been
    // set.", "symmData have not been prepared.".
    void renormalizeSymmFuncs(bool all);

    // Takes the ranges of another arrangement. Stops with "arch is null." and "incorrect #elements of arch.".
    void copySymmStatistics(const NNArch* arch);

    // Histograms of the in-core data, or of the whole set, to a file. Stops as SymmFuncDistribution.
    void writeSymmDistributions(const std::string& fileName, const GeometrySet* geometrySet);

    // The two halves of that, for a file that is written later, together with others. The second stops with
    // "distributions of symmetry functions have not been prepared." before the first.
    void countSymmDistributions(const GeometrySet* geometrySet);
    void printSymmDistributions(std::FILE* stream, const GeometrySet& geometrySet) const;

    // Gives the symmetry functions the weights of elements that stand in the statistics, after NNIO has
    // filled them.
    void applyElementWeights();

    // Whether training changes these weights: by Adam, where the settings say so, in a model of energies
    // alone, because networks of charges would share the functions. Inputs are then computed anew in each
    // pass, by the scales of the start.
    [[nodiscard]] bool trainsElementWeights() const;

    // Takes the weights of another arrangement of the same elements, if training changes them.
    void copyElementWeights(const NNArch& arch);

    // Gradient of the losses with respect to them since clearWeightGrads; empty where they are not trained.
    [[nodiscard]] std::span<const float> getElementWeightGrads() const {
        return elementWeightSteps.getGradient();
    }

    // Before a store: if training changes the weights, gives ranges and histograms of the values of the whole
    // set with the present ones. The networks keep their inputs. Stops with "deviation of symmetry functions
    // is too small.".
    void renewSymmRanges(const GeometrySet& geometrySet);

    // By element; NNIO stores and fills them.
    SymmStatistics& getSymmStatistics() { return statistics; }
    const SymmStatistics& getSymmStatistics() const { return statistics; }

    // Both kinds of networks. These operations stop with "this is not energy-mode." ("charge-mode") and
    // "geometries have not been set.".

    // Outputs of the batch, with the given quantities of the derivatives, in one sweep.
    void evaluate(NetworkTarget target, std::span<const DerivativeQuantity* const> quantities);

    // Outputs and losses of the batch, with the values of derivatives that are in the loss, and the gradient
    // of the losses, which is added to the layers. The terms, all of networks of this kind, keep their
    // losses. How the errors of derivatives act follows energyModeScheme. Stops also with "cannot calculate
    // gradients of weights, because this is not learnable.", and for energies with "energyModeScheme is not
    // set." and "incorrect energyModeSchem to derive force.".
    void evaluateLoss(NetworkTarget target, std::span<LossTerm> terms);

    // Adds the squared errors of each quantity over the batch; those of derivatives only where the last
    // evaluation gave them.
    void squareErrors(std::span<QuantityError> errors) const;

    // Energy and forces.

    // Atomic energies of the batch. Stops with "this is not energy-mode." and "geometries have not been
    // set.", like all operations of this group.
    void goForwardOnEnergy();

    // Energies and forces of the batch, which has derivatives, in one sweep.
    void goBackwardOnForce();

    // energies [numAtoms] of geometry `index` of the batch.
    std::span<const float> obtainEnergies(int index) const;

    // forces [numAtoms][3] of geometry `index` of the batch.
    std::span<const float> obtainForces(int index) const;

    // squareErrors of energies and forces.
    void squareErrorsOfEnergy(std::span<QuantityError> errors) const;

    // Charges. No neutrality is imposed: a charge is whatever the network gives.

    // Charges of the batch. Stops with "this is not charge-mode." and "geometries have not been set.", like
    // all operations of this group; it is evaluate of charges.
    void goForwardOnCharge();

    // evaluateLoss of charges. Stops also with "chargeScale is null." when no term is in the loss.
    void goBackwardOnCharge(std::span<LossTerm> terms);

    // charges [numAtoms] of geometry `index` of the batch, e.
    std::span<const float> obtainCharges(int index) const;

    // squareErrors of charges.
    void squareErrorsOfCharge(std::span<QuantityError> errors) const;

    // Scheme.

    // See EnergyModeScheme. Without energy networks neither does anything.
    void updateEnergyModeScheme(int epoch);
    void setEnergyModeScheme(int scheme, bool silent);
    int getEnergyModeScheme() const { return scheme.getValue(); }

    // Weights.

    bool hasEnergyNetworks() const { return archMode != onlyCharge; }
    bool hasChargeNetworks() const { return archMode != onlyEnergy; }
    int getArchMode() const { return archMode; }
    int getNumElems() const { return numElems; }
    int getNumBasis() const { return numBasis; }
    const Property& getProperty() const { return *property; }

    // Ensembles by element; empty without networks of that kind.
    std::vector<NNEnsemble>& getEnergyEnsembles() { return energyEnsembles; }
    const std::vector<NNEnsemble>& getEnergyEnsembles() const { return energyEnsembles; }
    std::vector<NNEnsemble>& getChargeEnsembles() { return chargeEnsembles; }
    const std::vector<NNEnsemble>& getChargeEnsembles() const { return chargeEnsembles; }

    void clearWeightGrads();

    // One Adam step with `learningScale` times the learning rate, also of weights of elements that are
    // trained. Stops with "cannot use Adam, to update layers." and "learning scale is not positive.".
    void updateLayers(float learningScale);

private:
    void makeSymmFunc();
    void makeSymmDistribution();
    std::vector<NNEnsemble> makeEnsembles(const NetworkFields& fields, const std::vector<float>& scales,
                                          const std::vector<float>& shifts) const;
    [[nodiscard]] bool storesDerivatives() const;
    void keepScales();
    void takeInputScales();
    void layOutBatch();
    void requireEnergyBatch() const;
    void requireChargeBatch() const;
    void requireBatchOf(NetworkTarget target) const;
    NetworkPass& passOf(NetworkTarget target);
    const NetworkPass& passOf(NetworkTarget target) const;
    void requireLearnable() const;
    ForceGradient forceGradientOf(NetworkTarget target) const;
    template <class Work>
    void forEachEnsemble(Work&& work);
    void adaptToStatistics(NNEnsemble& ensemble, std::size_t element, const SymmStatistics& old) const;
    void printTitleOfSymmFuncs() const;
    void printSymmStatistics(const GeometrySet& geometrySet) const;

    int archMode;
    int numElems;
    const Property* property; // borrowed
    bool isMainArch;
    bool useAdam;
    EnergyModeScheme scheme;

    std::unique_ptr<SymmFunc> symmFunc; // made at first need
    int numBasis = 0;                   // length of the symmetry functions, inputs of the networks
    SymmStatistics statistics;
    ElementWeightSteps elementWeightSteps;
    std::vector<float> inputScales; // [numElems][numBasis], inputs that a raw value of 1 makes
    std::unique_ptr<SymmFuncDistribution> symmDistribution; // made at first need

    std::vector<NNEnsemble> energyEnsembles; // [numElems]
    std::vector<NNEnsemble> chargeEnsembles; // [numElems]

    BatchGeometries geometries;
    NetworkPass energyPass;
    NetworkPass chargePass;
};

} // namespace melta
