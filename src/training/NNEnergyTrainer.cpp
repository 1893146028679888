#include "training/NNEnergyTrainer.hpp"

#include "base/Reporting.hpp"
#include "training/EnergyLevel.hpp"
#include "training/LossScales.hpp"

#include <cmath>
#include <limits>
#include <utility>

namespace melta {
namespace {

constexpr float anyError = std::numeric_limits<float>::infinity();

} // namespace

void NNEnergyTrainer::performTraining(const std::string& nnFile, const std::string& distrFile,
                                      const std::string& stopFile) {
    requireUsableData();
    NNTrainer::performTraining(nnFile, distrFile, stopFile);
}

void NNEnergyTrainer::performDebug(const std::string& nnFile, float shift) {
    requireUsableData();
    NNTrainer::performDebug(nnFile, shift);
}

// The loss in the form in which a training ends.
void NNEnergyTrainer::debugGradients(float shift) {
    const Property& property = getProperty();
    int scheme = EnergyModeScheme::onlyEnergy;
    if (property.hasDerivativeCoef()) {
        scheme =
            property.approxForce != 0 ? EnergyModeScheme::approximateForce : EnergyModeScheme::exactForce;
    }
    state.arch->setEnergyModeScheme(scheme, false);
    NNTrainer::debugGradients(shift);
}

void NNEnergyTrainer::requireUsableData() const {
    const bool withHDNNP = getProperty().withHDNNP != 0;
    for (const auto& geometry : getGeometrySet().geometries) {
        if (!withHDNNP && !geometry->hasAtomEnergy) {
            stopWithMessage("this training data does not support MELTA, please set \"withHDNNP 1\".");
        }
    }
    if (withHDNNP && getProperty().renormLoss != 0) {
        stopWithMessage("HDNNP does not support \"renormLoss 1\".");
    }
    if (getProperty().hasStressCoef != 0 && !getGeometrySet().hasStress()) {
        stopWithMessage("this training data has no stress, please set \"coefStress 0\".");
    }
}

std::vector<LossTerm> NNEnergyTrainer::makeLossTerms() const {
    const Property& property = getProperty();
    const std::vector<float> deviations(getGeometrySet().energyDev.begin(), getGeometrySet().energyDev.end());
    const int numElems = state.arch->getNumElems();
    const bool isRoot = property.sqrtLoss != 0;
    std::vector<LossTerm> made;
    const auto add = [&](const auto& quantity, bool isInLoss, float coefficient, float targetError) {
        auto scales = makeLossScales(property, coefficient, deviations, numElems);
        made.emplace_back(quantity, isInLoss ? std::move(scales) : std::vector<float>(), isRoot);
        if (isInLoss) {
            made.back().targetError = targetError;
        }
    };
    add(property.withHDNNP != 0 ? totalEnergy() : atomicEnergy(), property.hasEnergyCoef != 0,
        weightNow(property.coefEnergy, property.coefEnergyFinal), property.rmseEnergy);
    add(atomicForce(), property.hasForceCoef != 0, property.coefForce, property.rmseForce);
    const bool isStressTested =
        property.hasDerivativeCoef() && state.testSet != nullptr && state.testSet->hasStress();
    if (property.hasStressCoef != 0 || isStressTested) {
        add(cellStress(), property.hasStressCoef != 0,
            weightNow(property.coefStress, property.coefStressFinal), anyError);
        made.back().isWatched = isStressTested;
    }
    return made;
}

// The networks of the best epoch are stored as they were tested.
void NNEnergyTrainer::settle(int batchSize) {
    const Property& property = getProperty();
    if (property.coefFromData == 0 || property.hasEnergyCoef == 0 || property.lbfgs > 0 ||
        property.withHDNNP == 0 || property.keepBest != 0) {
        return;
    }
    const double error = meanEnergyError(*state.arch, getGeometrySet(), batchSize);
    if (!std::isfinite(error)) {
        return;
    }
    shiftEnergies(*state.arch, -error);
    printOut("\n  * Mean Error of Energy taken away: %+.3e eV/atom\n", error);
}

bool NNEnergyTrainer::updateScheme(int epoch) {
    const int before = state.arch->getEnergyModeScheme();
    if (epoch < 0) {
        // Further super epochs start from weights that have seen the exact gradient.
        state.arch->setEnergyModeScheme(EnergyModeScheme::exactForce, false);
    } else {
        state.arch->updateEnergyModeScheme(epoch);
    }
    return state.arch->getEnergyModeScheme() != before;
}

bool NNEnergyTrainer::advanceScheme() {
    const Property& property = getProperty();
    const int scheme = state.arch->getEnergyModeScheme();
    const bool isApproximate = property.approxForce != 0;
    const bool isAtEnd = scheme == EnergyModeScheme::exactForce ||
                         (scheme == EnergyModeScheme::approximateForce && isApproximate) ||
                         (scheme == EnergyModeScheme::onlyEnergy && !property.hasDerivativeCoef());
    if (isAtEnd) {
        return NNTrainer::advanceScheme();
    }
    state.arch->setEnergyModeScheme(
        isApproximate ? EnergyModeScheme::approximateForce : EnergyModeScheme::exactForce, false);
    return false;
}

} // namespace melta
