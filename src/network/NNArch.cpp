#include "network/NNArch.hpp"

#include "driver/Reporting.hpp"
#include "symmfunc/SymmFuncFactory.hpp"

#include <algorithm>

namespace melta {
namespace {

double squareOf(float error) {
    return static_cast<double>(error * error);
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
    if (hasEnergyNetworks()) {
        makeEnsembles(*geometrySet);
    }
}

void NNArch::makeSymmFunc() {
    if (symmFunc) {
        return;
    }
    symmFunc = SymmFuncFactory().createSymmFunc(numElems, *property);
    if (!symmFunc) {
        stopWithMessage("cannot create symmFunc.");
    }
    numBasis = symmFunc->getNumBasis();
    if (numBasis < 1) {
        stopWithMessage("there are no symmetry functions.");
    }
    // With an in-situ test there are two arrangements, and one line is enough.
    if (property->insituTest == 0 || isMainArch) {
        printOut("  * There are %d symmetry functions.\n\n", numBasis);
    }
}

void NNArch::makeEnsembles(const GeometrySet& geometrySet) {
    // A network file may claim fewer than no models; its reader refuses that later.
    const NNShape shape{std::max(property->modelsEnergy, 0), property->layersEnergy, property->nodesEnergy,
                        property->activEnergy};
    // So many weights are a slip of the pen in the settings, not a network.
    constexpr double limit = 1.0e9;
    const double perModel = static_cast<double>(shape.numNodes) *
                            (static_cast<double>(numBasis) + static_cast<double>(shape.numLayers) *
                                                                 (static_cast<double>(shape.numNodes) + 1.0));
    if (perModel * shape.numModels * numElems > limit) {
        stopWithMessage("neural network is too large.");
    }
    for (int e = 0; e < numElems; ++e) {
        if (e >= geometrySet.numElems) {
            stopWithMessage("index of element is out of range.");
        }
        energyEnsembles.emplace_back(shape, numBasis, isMainArch, useAdam);
        energyEnsembles.back().initWeight(
            static_cast<float>(geometrySet.energyDev[static_cast<std::size_t>(e)]), 0.0f);
    }
}

// In-core set and batch.

void NNArch::setGeometriesAll(const GeometrySet* geometrySet) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    std::vector<Geometry*> all;
    for (int g = 0; g < geometrySet->numGeoms; ++g) {
        all.push_back(&geometrySet->obtainGeometry(g));
    }
    setGeometriesAll(all);
}

void NNArch::setGeometriesAll(std::span<Geometry* const> all) {
    if (all.empty()) {
        stopWithMessage("#all-geometries is not positive.");
    }
    if (!geometriesAll.empty()) {
        stopWithMessage("geometriesAll have been set, already.");
    }
    geometriesAll.assign(all.begin(), all.end());
}

void NNArch::clearGeometriesAll() {
    if (geometriesAll.empty()) {
        stopWithMessage("geometriesAll have not been set.");
    }
    geometriesAll.clear();
    symmAll.clear();
}

void NNArch::setGeometries(std::span<Geometry* const> batch) {
    if (batch.empty()) {
        stopWithMessage("#geometries is not positive.");
    }
    if (!geometries.empty()) {
        stopWithMessage("geometries have been set, already.");
    }
    geometries.assign(batch.begin(), batch.end());
}

void NNArch::setGeometries(std::span<const int> idxGeoms) {
    if (geometriesAll.empty()) {
        stopWithMessage("geometriesAll have not been set.");
    }
    if (!geometries.empty()) {
        stopWithMessage("geometries have been set, already.");
    }
    if (idxGeoms.empty()) {
        stopWithMessage("#geometries is not positive.");
    }
    if (symmAll.empty()) {
        stopWithMessage("symmDataAll have not been prepared.");
    }
    for (const int index : idxGeoms) {
        if (index < 0 || static_cast<std::size_t>(index) >= geometriesAll.size()) {
            stopWithMessage("idxGeoms is out of range.");
        }
        geometries.push_back(geometriesAll[static_cast<std::size_t>(index)]);
        symmOfBatch.push_back(&symmAll[static_cast<std::size_t>(index)]);
    }
    prepareBatch();
}

void NNArch::clearGeometries() {
    if (geometries.empty()) {
        stopWithMessage("geometries have not been set.");
    }
    energyPass.clearBatch();
    geometries.clear();
    symmOfBatch.clear();
    symmOwned.clear();
}

// Lays the batch out once its symmetry functions are there.
void NNArch::prepareBatch() {
    if (hasEnergyNetworks()) {
        const BatchView view{energyEnsembles, geometries, symmOfBatch, 0};
        energyPass.setBatch(view, isMainArch ? BatchLayout::Cut::geometries : BatchLayout::Cut::atoms);
    }
}

int NNArch::getNumAtomsBatch() const {
    int numAtoms = 0;
    for (const Geometry* const geometry : geometries) {
        numAtoms += geometry->numAtoms;
    }
    return numAtoms;
}

// Symmetry functions.

void NNArch::printTitleOfSymmFuncs() const {
    if (property->insituTest == 0) {
        printOut("  * Calculate symmetry functions.\n\n");
    } else if (isMainArch) {
        printOut("  * Calculate symmetry functions of TRAINING data.\n\n");
    } else {
        printOut("  * Calculate symmetry functions of TESTING data.\n\n");
    }
}

void NNArch::calculateSymmFuncs(bool derive, bool all, bool silent) {
    const std::vector<Geometry*>& list = all ? geometriesAll : geometries;
    if (list.empty()) {
        stopWithMessage("%s have not been set.", all ? "geometriesAll" : "geometries");
    }
    makeSymmFunc();
    const bool isTold = all && !silent;
    if (isTold) {
        printTitleOfSymmFuncs();
    }
    std::vector<SymmRows> rows = calculateSymmRows(*symmFunc, list, derive, isTold);
    if (all) {
        symmAll = std::move(rows);
        return;
    }
    symmOwned = std::move(rows);
    symmOfBatch.clear();
    for (const SymmRows& row : symmOwned) {
        symmOfBatch.push_back(&row);
    }
    prepareBatch();
}

void NNArch::statisticsSymmFuncs(const GeometrySet* geometrySet) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    const bool useStored = !symmAll.empty();
    if (!useStored && geometrySet->numGeoms < 1) {
        stopWithMessage("total number of geometries is not positive.");
    }
    makeSymmFunc();
    printOut("  * Renormalize symmetry functions.\n\n");
    const SymmStatistics old = statistics;
    statistics = useStored ? statisticsOfRows(geometriesAll, symmAll, numElems)
                           : statisticsOfSet(*symmFunc, *geometrySet);
    printSymmStatistics(*geometrySet);
    for (std::size_t e = 0; e < energyEnsembles.size(); ++e) {
        if (old.symmDev[e] > 0.0f) {
            energyEnsembles[e].getInterLayers().front().rescaleWeight(
                old.symmAve[e], old.symmDev[e], statistics.symmAve[e], statistics.symmDev[e]);
        }
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
    for (const float dev : statistics.symmDev) {
        if (!(dev > 0.0f)) {
            stopWithMessage("symmDev have not been prepared.");
        }
    }
    const std::vector<Geometry*>& list = all ? geometriesAll : geometries;
    std::vector<SymmRows>& rows = all ? symmAll : symmOwned;
    if (list.empty()) {
        stopWithMessage("%s have not been set.", all ? "geometriesAll" : "geometries");
    }
    if (rows.empty()) {
        stopWithMessage("%s have not been prepared.", all ? "symmDataAll" : "symmData");
    }
    renormalizeSymmRows(list, rows, statistics);
}

void NNArch::copySymmStatistics(const NNArch* arch) {
    if (arch == nullptr) {
        stopWithMessage("arch is null.");
    }
    if (arch->numElems != numElems) {
        stopWithMessage("incorrect #elements of arch.");
    }
    statistics = arch->statistics;
}

void NNArch::writeSymmDistributions(const std::string& fileName, const GeometrySet* geometrySet) {
    printOut("  * Write distributions of symmetry functions.\n\n");
    if (!symmDistribution) {
        symmDistribution = std::make_unique<SymmFuncDistribution>(numElems, statistics.symmAve,
                                                                  statistics.symmDev, symmFunc.get());
    }
    std::vector<std::span<const float>> values;
    for (const SymmRows& rows : symmAll) {
        values.push_back(rows.allValues());
    }
    symmDistribution->calcDistribution(geometrySet, geometriesAll, values);
    symmDistribution->writeDistribution(fileName, geometrySet);
}

// Energy and forces.

void NNArch::requireEnergyBatch() const {
    if (!hasEnergyNetworks()) {
        stopWithMessage("this is not energy-mode.");
    }
    if (geometries.empty()) {
        stopWithMessage("geometries have not been set.");
    }
}

void NNArch::goForwardOnEnergy() {
    requireEnergyBatch();
    energyPass.goForwardOnEnergy();
}

void NNArch::goBackwardOnForce() {
    requireEnergyBatch();
    energyPass.goBackwardOnForce();
}

void NNArch::evaluateEnergy(bool wantForces) {
    requireEnergyBatch();
    energyPass.evaluate(wantForces);
}

void NNArch::evaluateEnergyLoss(std::span<const float> energyScale, std::span<const float> forceScale) {
    requireEnergyBatch();
    if (!isMainArch) {
        stopWithMessage("cannot calculate gradients of weights, because this is not learnable.");
    }
    ForceGradient forceGradient = ForceGradient::none;
    switch (scheme.getValue()) {
    case EnergyModeScheme::notSet:
        stopWithMessage("energyModeScheme is not set.");
    case EnergyModeScheme::onlyEnergy:
        break;
    case EnergyModeScheme::approximateForce:
        forceGradient = ForceGradient::approximate;
        break;
    case EnergyModeScheme::exactForce:
        forceGradient = ForceGradient::exact;
        break;
    default:
        stopWithMessage("incorrect energyModeSchem to derive force.");
    }
    const EnergyLossSettings settings{energyScale, forceScale, forceGradient, property->withHDNNP != 0,
                                      property->sqrtLoss != 0};
    energyPass.evaluateLoss(settings, energyEnsembles, loss);
}

std::span<const float> NNArch::obtainEnergies(int index) const {
    const std::vector<std::size_t>& start = energyPass.getLayout().getGeometryStart();
    const auto g = static_cast<std::size_t>(index);
    return energyPass.obtainEnergies().subspan(start[g], start[g + 1] - start[g]);
}

std::span<const float> NNArch::obtainForces(int index) const {
    const std::vector<std::size_t>& start = energyPass.getLayout().getGeometryStart();
    const auto g = static_cast<std::size_t>(index);
    return energyPass.obtainForces().subspan(3 * start[g], 3 * (start[g + 1] - start[g]));
}

void NNArch::squareErrorsOfEnergy(float& etotError, float& eatomError, float* forceError) const {
    requireEnergyBatch();
    double etotSum = 0.0;
    double eatomSum = 0.0;
    double forceSum = 0.0;
    const int count = getNumGeoms();
#pragma omp parallel for schedule(static) reduction(+ : etotSum, eatomSum, forceSum)
    for (int g = 0; g < count; ++g) {
        const Geometry& geometry = *geometries[static_cast<std::size_t>(g)];
        const std::span<const float> energies = obtainEnergies(g);
        float sum = 0.0f;
        for (std::size_t a = 0; a < energies.size(); ++a) {
            sum += energies[a];
            eatomSum += squareOf(energies[a] - static_cast<float>(geometry.energies[a]));
        }
        const float error = sum - static_cast<float>(geometry.energyTotal);
        etotSum += squareOf(error / static_cast<float>(geometry.numAtoms));
        if (forceError != nullptr) {
            const std::span<const float> forces = obtainForces(g);
            for (std::size_t i = 0; i < forces.size(); ++i) {
                forceSum += squareOf(forces[i] - geometry.forces[i]);
            }
        }
    }
    etotError += static_cast<float>(etotSum);
    eatomError += static_cast<float>(eatomSum);
    if (forceError != nullptr) {
        *forceError += static_cast<float>(forceSum);
    }
}

float NNArch::obtainOutputBias(int element) const {
    if (element < 0 || static_cast<std::size_t>(element) >= energyEnsembles.size()) {
        return 0.0f;
    }
    const NNLayer& lastLayer = energyEnsembles[static_cast<std::size_t>(element)].getLastLayer();
    float sum = 0.0f;
    for (int m = 0; m < lastLayer.getNumModels(); ++m) {
        sum += lastLayer.biasOf(m).front();
    }
    return sum / static_cast<float>(lastLayer.getNumModels());
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

void NNArch::clearWeightGrads() {
    for (NNEnsemble& ensemble : energyEnsembles) {
        ensemble.initWeightGrad();
    }
}

void NNArch::updateLayers(float learningScale) {
    if (!useAdam) {
        stopWithMessage("cannot use Adam, to update layers.");
    }
    if (!(learningScale > 0.0f)) {
        stopWithMessage("learning scale is not positive.");
    }
    const float alpha = learningScale * property->learnRate;
    for (NNEnsemble& ensemble : energyEnsembles) {
        ensemble.updateWeight(alpha, property->adamBeta1, property->adamBeta2);
    }
}

} // namespace melta
