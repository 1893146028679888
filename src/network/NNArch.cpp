#include "network/NNArch.hpp"

#include "base/MemoryPurpose.hpp"
#include "base/Reporting.hpp"
#include "config/SymmFuncKind.hpp"
#include "network/InputScales.hpp"
#include "network/NetworkShape.hpp"
#include "symmfunc/SymmFuncFactory.hpp"

#include <algorithm>

namespace melta {
namespace {

constexpr const char* workOfNetworks = "values of the neural networks";

// The part of `values` [numAtoms of the batch][perAtom] that belongs to geometry `index`.
std::span<const float> partOf(std::span<const float> values, const BatchLayout& layout, int index,
                              std::size_t perAtom) {
    const std::vector<std::size_t>& start = layout.getGeometryStart();
    const auto g = static_cast<std::size_t>(index);
    return values.subspan(perAtom * start[g], perAtom * (start[g + 1] - start[g]));
}

} // namespace

NNArch::NNArch(int mode, int elements, const Property* settings, bool isMain, bool withAdam)
    : archMode(mode), numElems(elements), property(settings), isMainArch(isMain), useAdam(withAdam) {
    if (numElems < 1) {
        stopWithMessage("#elements is not positive.");
    }
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
}

void NNArch::initLayers(const GeometrySet* geometrySet) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    makeSymmFunc();
    statistics.symmAve.assign(static_cast<std::size_t>(numElems), 0.0f);
    // Not prepared yet: normalisation refuses to run, and no restored network is rescaled.
    statistics.symmDev.assign(static_cast<std::size_t>(numElems), -1.0f);
    const std::span<const float> weights = symmFunc->getElementWeights();
    statistics.elementWeights.assign(weights.begin(), weights.end());
    if (isMainArch && useAdam && trainsElementWeights()) {
        elementWeightSteps.start(weights.size());
    }
    if (hasEnergyNetworks()) {
        energyEnsembles = makeEnergyNetworks(*geometrySet);
    }
    if (hasChargeNetworks()) {
        chargeEnsembles = makeChargeNetworks(*geometrySet);
    }
}

// Reference energies are measured from the mean of their element, charges are not.
std::vector<NNEnsemble> NNArch::makeEnergyNetworks(const GeometrySet& geometrySet) const {
    const std::vector<float> scales(geometrySet.energyDev.begin(), geometrySet.energyDev.end());
    return makeEnsembles(energyNetwork, scales, std::vector<float>(scales.size(), 0.0f));
}

std::vector<NNEnsemble> NNArch::makeChargeNetworks(const GeometrySet& geometrySet) const {
    return makeEnsembles(chargeNetwork, geometrySet.chargeDev, geometrySet.chargeAve);
}

void NNArch::makeSymmFunc() {
    if (symmFunc) {
        return;
    }
    symmFunc = SymmFuncFactory().requireSymmFunc(numElems, *property);
    numBasis = symmFunc->getNumBasis();
    // With an in-situ test there are two arrangements, and one line is enough.
    if (!hasInsituTest(*property) || isMainArch) {
        printNumBasis(*symmFunc);
    }
}

// Networks of one kind, whose outputs begin around `shifts` with the spread `scales`, [numElems] each.
std::vector<NNEnsemble> NNArch::makeEnsembles(const NetworkFields& fields, const std::vector<float>& scales,
                                              const std::vector<float>& shifts) const {
    const NNShape shape = shapeOfNetworks(*property, fields);
    if (isTooLarge(shape, numBasis, numElems)) {
        stopWithMessage("neural network is too large.");
    }
    std::vector<NNEnsemble> ensembles;
    for (std::size_t e = 0; e < static_cast<std::size_t>(numElems); ++e) {
        if (e >= scales.size()) {
            stopWithMessage("index of element is out of range.");
        }
        allocateFor("neural networks", [&] {
            ensembles.emplace_back(shape, numBasis, isMainArch, useAdam);
            ensembles.back().initWeight(scales[e], shifts[e]);
        });
    }
    return ensembles;
}

// In-core set and batch.

void NNArch::setGeometriesAll(const GeometrySet* geometrySet) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    std::vector<Geometry*> all;
    for (int g = 0; g < geometrySet->numGeoms; ++g) {
        all.push_back(&geometrySet->getGeometry(g));
    }
    setGeometriesAll(all);
}

void NNArch::setGeometriesAll(std::span<Geometry* const> all) {
    geometries.setAll(all);
}

void NNArch::clearGeometriesAll() {
    geometries.clearAll();
}

void NNArch::setGeometries(std::span<Geometry* const> batch) {
    geometries.setBatch(batch);
}

void NNArch::setGeometries(std::span<const int> idxGeoms) {
    geometries.setBatch(idxGeoms);
    layOutBatch();
}

void NNArch::clearGeometries() {
    geometries.clearBatch();
    energyPass.clearBatch();
    chargePass.clearBatch();
}

void NNArch::prepareBatch(std::span<Geometry* const> batch, Derivatives derivatives) {
    setGeometries(batch);
    calculateSymmFuncs(derivatives == Derivatives::yes, false, false);
    renormalizeSymmFuncs(false);
}

void NNArch::prepareBatch(std::span<const int> idxGeoms) {
    setGeometries(idxGeoms);
}

void NNArch::computeAll(Derivatives derivatives, bool isSilent) {
    calculateSymmFuncs(derivatives == Derivatives::yes, true, isSilent);
}

void NNArch::normalizeAll() {
    renormalizeSymmFuncs(true);
}

bool NNArch::storesDerivatives() const {
    return !trainsElementWeights() && (property->storeDerivatives != 0 || !symmFunc->isCheapWithoutDiff());
}

bool NNArch::trainsElementWeights() const {
    return archMode == onlyEnergy && property->withCharge == 0 && property->lbfgs < 1 &&
           !statistics.elementWeights.empty() &&
           symmFuncKindOf(*property).trainsElementWeights(*property, numElems);
}

void NNArch::takeInputScales() {
    inputScales.clear();
    for (std::size_t e = 0; e < static_cast<std::size_t>(numElems); ++e) {
        for (const double scale : scalesInUse(statistics, e, static_cast<std::size_t>(numBasis)).scale) {
            inputScales.push_back(static_cast<float>(scale));
        }
    }
}

// Lays the batch out once its symmetry functions are there.
void NNArch::layOutBatch() {
    const auto cut = isMainArch ? BatchLayout::Cut::geometries : BatchLayout::Cut::atoms;
    if (!storesDerivatives()) {
        takeInputScales();
    }
    const auto viewOf = [&](const std::vector<NNEnsemble>& ensembles) {
        BatchView view{ensembles, geometries.getBatch(), geometries.getRowsOfBatch(), {}};
        if (!storesDerivatives()) {
            view.symmFunc = symmFunc.get();
            view.inputScales = inputScales;
        }
        if (trainsElementWeights()) {
            view.changing = &statistics;
        }
        return view;
    };
    if (hasEnergyNetworks()) {
        energyPass.setBatch(viewOf(energyEnsembles), cut);
    }
    if (hasChargeNetworks()) {
        chargePass.setBatch(viewOf(chargeEnsembles), cut);
    }
}

// Symmetry functions.

void NNArch::printTitleOfSymmFuncs() const {
    if (!hasInsituTest(*property)) {
        printOut("  * Calculate symmetry functions.\n\n");
        return;
    }
    const char* const others = property->insituValid != 0 ? "VALIDATION" : "TESTING";
    printOut("  * Calculate symmetry functions of %s data.\n\n", isMainArch ? "TRAINING" : others);
}

void NNArch::calculateSymmFuncs(bool derive, bool all, bool silent) {
    const auto part = all ? BatchGeometries::Part::all : BatchGeometries::Part::batch;
    geometries.requireSet(part);
    makeSymmFunc();
    const bool isStored = derive && storesDerivatives();
    geometries.requireRoom(part, numBasis, isStored, *property);
    const bool isTold = all && !silent;
    if (isTold) {
        printTitleOfSymmFuncs();
    }
    geometries.calculate(part, *symmFunc, isStored, isTold);
    if (!all) {
        layOutBatch();
    }
}

void NNArch::statisticsSymmFuncs(const GeometrySet* geometrySet) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    const bool useStored = !geometries.getRowsOfAll().empty();
    if (!useStored && geometrySet->numGeoms < 1) {
        stopWithMessage("total number of geometries is not positive.");
    }
    makeSymmFunc();
    printOut("  * Renormalize symmetry functions.\n\n");
    const SymmStatistics old = statistics;
    const bool ofEach = scalesEachFunction(*property);
    statistics = useStored
                     ? statisticsOfRows(geometries.getAll(), geometries.getRowsOfAll(), numElems, ofEach)
                     : statisticsOfSet(*symmFunc, *geometrySet, ofEach);
    statistics.elementWeights = old.elementWeights;
    if (trainsElementWeights()) {
        keepScales();
    }
    printSymmStatistics(*geometrySet);
    forEachEnsemble([&](std::size_t e, NNEnsemble& ensemble) {
        if (old.symmDev[e] > 0.0f) {
            adaptToStatistics(ensemble, e, old);
        }
    });
}

// What makes inputs of raw values stays that of the start, whatever becomes of their ranges.
void NNArch::keepScales() {
    if (statistics.scalesEach()) {
        return;
    }
    for (std::size_t e = 0; e < static_cast<std::size_t>(numElems); ++e) {
        const auto length = static_cast<std::size_t>(numBasis);
        statistics.functionShift.insert(statistics.functionShift.end(), length, statistics.symmAve[e]);
        statistics.functionScale.insert(statistics.functionScale.end(), length, 1.0f / statistics.symmDev[e]);
    }
}

void NNArch::renewSymmRanges(const GeometrySet& geometrySet) {
    if (!trainsElementWeights()) {
        return;
    }
    constexpr bool isSilent = true;
    const SymmStatistics present = statisticsOfSet(*symmFunc, geometrySet, false, isSilent);
    statistics.symmAve = present.symmAve;
    statistics.symmDev = present.symmDev;
    symmDistribution.reset();
    makeSymmDistribution();
    symmDistribution->calcDistribution(&geometrySet, {}, {}, isSilent);
}

void NNArch::adaptToStatistics(NNEnsemble& ensemble, std::size_t element, const SymmStatistics& old) const {
    if (statistics.scalesEach()) {
        const auto length = static_cast<std::size_t>(numBasis);
        rescaleInputs(ensemble, sharedScales(old, element, length), scalesInUse(statistics, element, length));
    } else {
        ensemble.getInterLayers().front().rescaleWeight(old.symmAve[element], old.symmDev[element],
                                                        statistics.symmAve[element],
                                                        statistics.symmDev[element]);
    }
}

void NNArch::printSymmStatistics(const GeometrySet& geometrySet) const {
    for (int e = 0; e < numElems; ++e) {
        const auto index = static_cast<std::size_t>(e);
        const float ave = statistics.symmAve[index];
        const float dev = statistics.symmDev[index];
        printOut("    G (%-6s) = [ %+.3e , %+.3e ]\n", geometrySet.getElementName(e).c_str(),
                 static_cast<double>(ave - dev), static_cast<double>(ave + dev));
    }
    printOut("\n");
}

void NNArch::renormalizeSymmFuncs(bool all) {
    makeSymmFunc();
    requirePrepared(statistics);
    geometries.normalize(all ? BatchGeometries::Part::all : BatchGeometries::Part::batch, statistics);
}

void NNArch::applyElementWeights() {
    makeSymmFunc();
    symmFunc->setElementWeights(statistics.elementWeights);
}

void NNArch::copyElementWeights(const NNArch& arch) {
    if (trainsElementWeights()) {
        statistics.elementWeights = arch.statistics.elementWeights;
        applyElementWeights();
    }
}

void NNArch::copySymmStatistics(const NNArch* arch) {
    if (arch == nullptr) {
        stopWithMessage("arch is null.");
    }
    if (arch->numElems != numElems) {
        stopWithMessage("incorrect #elements of arch.");
    }
    statistics = arch->statistics;
    applyElementWeights();
}

void NNArch::makeSymmDistribution() {
    if (!symmDistribution) {
        symmDistribution = allocateFor("distributions of symmetry functions", [&] {
            return std::make_unique<SymmFuncDistribution>(numElems, statistics.symmAve, statistics.symmDev,
                                                          symmFunc.get());
        });
    }
}

void NNArch::countSymmDistributions(const GeometrySet* geometrySet) {
    printOut("  * Write distributions of symmetry functions.\n\n");
    makeSymmDistribution();
    std::vector<std::span<const float>> values;
    for (const SymmRows& rows : geometries.getRowsOfAll()) {
        values.push_back(rows.allValues());
    }
    symmDistribution->calcDistribution(geometrySet, geometries.getAll(), values);
}

void NNArch::writeSymmDistributions(const std::string& fileName, const GeometrySet* geometrySet) {
    countSymmDistributions(geometrySet);
    symmDistribution->writeDistribution(fileName, geometrySet);
}

void NNArch::printSymmDistributions(std::FILE* stream, const GeometrySet& geometrySet) const {
    if (!symmDistribution) {
        stopWithMessage("distributions of symmetry functions have not been prepared.");
    }
    symmDistribution->printDistribution(stream, geometrySet);
}

// Energy and forces.

void NNArch::requireEnergyBatch() const {
    if (!hasEnergyNetworks()) {
        stopWithMessage("this is not energy-mode.");
    }
    geometries.requireSet(BatchGeometries::Part::batch);
}

void NNArch::requireBatchOf(NetworkTarget target) const {
    if (target == NetworkTarget::charge) {
        requireChargeBatch();
    } else {
        requireEnergyBatch();
    }
}

NetworkPass& NNArch::passOf(NetworkTarget target) {
    return target == NetworkTarget::charge ? chargePass : energyPass;
}

const NetworkPass& NNArch::passOf(NetworkTarget target) const {
    return target == NetworkTarget::charge ? chargePass : energyPass;
}

void NNArch::evaluate(NetworkTarget target, std::span<const DerivativeQuantity* const> quantities) {
    requireBatchOf(target);
    allocateFor(workOfNetworks, [&] { passOf(target).evaluate(quantities); });
}

// Charges have no derivatives in their loss.
ForceGradient NNArch::forceGradientOf(NetworkTarget target) const {
    if (target == NetworkTarget::charge) {
        return ForceGradient::none;
    }
    switch (scheme.getValue()) {
    case EnergyModeScheme::notSet:
        stopWithMessage("energyModeScheme is not set.");
    case EnergyModeScheme::onlyEnergy:
        return ForceGradient::none;
    case EnergyModeScheme::approximateForce:
        return ForceGradient::approximate;
    case EnergyModeScheme::exactForce:
        return ForceGradient::exact;
    default:
        stopWithMessage("incorrect energyModeSchem to derive force.");
    }
}

void NNArch::evaluateLoss(NetworkTarget target, std::span<LossTerm> terms) {
    requireBatchOf(target);
    requireLearnable();
    const ForceGradient forceGradient = forceGradientOf(target);
    std::vector<NNEnsemble>& ensembles = target == NetworkTarget::charge ? chargeEnsembles : energyEnsembles;
    allocateFor(workOfNetworks, [&] {
        passOf(target).evaluateLoss(terms, forceGradient, ensembles, elementWeightSteps.getGradient());
    });
}

void NNArch::squareErrors(std::span<QuantityError> errors) const {
    for (QuantityError& error : errors) {
        const NetworkTarget target = error.quantity->getTarget();
        requireBatchOf(target);
        passOf(target).addSquaredErrors(error);
    }
}

void NNArch::goForwardOnEnergy() {
    evaluate(NetworkTarget::energy, {});
}

void NNArch::goBackwardOnForce() {
    const DerivativeQuantity* const force[] = {&atomicForce()};
    evaluate(NetworkTarget::energy, force);
}

std::span<const float> NNArch::obtainEnergies(int index) const {
    return partOf(energyPass.getOutputs(), energyPass.getLayout(), index, 1);
}

std::span<const float> NNArch::obtainForces(int index) const {
    return partOf(energyPass.obtainForces(), energyPass.getLayout(), index, 3);
}

void NNArch::squareErrorsOfEnergy(std::span<QuantityError> errors) const {
    requireEnergyBatch();
    squareErrors(errors);
}

// Charges.

void NNArch::requireChargeBatch() const {
    if (!hasChargeNetworks()) {
        stopWithMessage("this is not charge-mode.");
    }
    geometries.requireSet(BatchGeometries::Part::batch);
}

void NNArch::goForwardOnCharge() {
    evaluate(NetworkTarget::charge, {});
}

void NNArch::goBackwardOnCharge(std::span<LossTerm> terms) {
    if (std::ranges::none_of(terms, &LossTerm::isInLoss)) {
        stopWithMessage("chargeScale is null.");
    }
    evaluateLoss(NetworkTarget::charge, terms);
}

std::span<const float> NNArch::obtainCharges(int index) const {
    requireChargeBatch();
    return partOf(chargePass.getOutputs(), chargePass.getLayout(), index, 1);
}

void NNArch::squareErrorsOfCharge(std::span<QuantityError> errors) const {
    requireChargeBatch();
    squareErrors(errors);
}

// Scheme and weights.

void NNArch::updateEnergyModeScheme(int epoch) {
    if (hasEnergyNetworks()) {
        scheme.update(*property, epoch);
    }
}

void NNArch::setEnergyModeScheme(int value, bool silent) {
    if (hasEnergyNetworks()) {
        scheme.set(value, silent);
    }
}

template <class Work>
void NNArch::forEachEnsemble(Work&& work) {
    for (std::vector<NNEnsemble>* const ensembles : {&energyEnsembles, &chargeEnsembles}) {
        for (std::size_t e = 0; e < ensembles->size(); ++e) {
            work(e, (*ensembles)[e]);
        }
    }
}

void NNArch::requireLearnable() const {
    if (!isMainArch) {
        stopWithMessage("cannot calculate gradients of weights, because this is not learnable.");
    }
}

void NNArch::clearWeightGrads() {
    forEachEnsemble([](std::size_t, NNEnsemble& ensemble) { ensemble.initWeightGrad(); });
    elementWeightSteps.clearGradient();
}

void NNArch::updateLayers(float learningScale) {
    if (!useAdam) {
        stopWithMessage("cannot use Adam, to update layers.");
    }
    if (!(learningScale > 0.0f)) {
        stopWithMessage("learning scale is not positive.");
    }
    const float alpha = learningScale * property->learnRate;
    forEachEnsemble([&](std::size_t, NNEnsemble& ensemble) {
        ensemble.updateWeight(alpha, property->adamBeta1, property->adamBeta2);
    });
    if (!elementWeightSteps.getGradient().empty()) {
        elementWeightSteps.update(alpha, property->adamBeta1, property->adamBeta2, statistics.elementWeights);
        applyElementWeights();
    }
}

} // namespace melta
