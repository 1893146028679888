#include "training/NNEnergyTrainer.hpp"

#include "base/Reporting.hpp"
#include "training/LossScales.hpp"

#include <cmath>
#include <numeric>

namespace melta {

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
    if (property.hasForceCoef != 0) {
        scheme =
            property.approxForce != 0 ? EnergyModeScheme::approximateForce : EnergyModeScheme::exactForce;
    }
    session.arch->setEnergyModeScheme(scheme, false);
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
}

void NNEnergyTrainer::setLossScales() {
    const std::vector<float> deviations(getGeometrySet().energyDev.begin(), getGeometrySet().energyDev.end());
    const int numElems = session.arch->getNumElems();
    energyScale = makeLossScales(getProperty(), getProperty().coefEnergy, deviations, numElems);
    forceScale = makeLossScales(getProperty(), getProperty().coefForce, deviations, numElems);
}

bool NNEnergyTrainer::evaluateTraining() {
    const Property& property = getProperty();
    using Scale = std::span<const float>;
    session.arch->clearWeightGrads();
    session.arch->evaluateEnergyLoss(property.hasEnergyCoef != 0 ? Scale(energyScale) : Scale(),
                                     property.hasForceCoef != 0 ? Scale(forceScale) : Scale());
    trainErrors = obtainErrors(*session.arch);
    return meetsTargets(trainErrors);
}

bool NNEnergyTrainer::evaluateTest() {
    if (!session.testArch) {
        return false;
    }
    session.testArch->evaluateEnergy(getProperty().hasForceCoef != 0);
    testErrors = obtainErrors(*session.testArch);
    return meetsTargets(testErrors);
}

NNEnergyTrainer::Errors NNEnergyTrainer::obtainErrors(const NNArch& arch) const {
    float etotError = 0.0f;
    float eatomError = 0.0f;
    float forceError = 0.0f;
    arch.squareErrorsOfEnergy(etotError, eatomError, getProperty().hasForceCoef != 0 ? &forceError : nullptr);
    const auto numAtoms = static_cast<float>(arch.getNumAtomsBatch());
    Errors errors;
    errors.energy = getProperty().withHDNNP != 0
                        ? std::sqrt(etotError / static_cast<float>(arch.getNumGeoms()))
                        : std::sqrt(eatomError / numAtoms);
    errors.force = std::sqrt(forceError / (3.0f * numAtoms));
    return errors;
}

bool NNEnergyTrainer::meetsTargets(const Errors& errors) const {
    const Property& property = getProperty();
    return (property.hasEnergyCoef == 0 || errors.energy <= property.rmseEnergy) &&
           (property.hasForceCoef == 0 || errors.force <= property.rmseForce);
}

float NNEnergyTrainer::lossValue() const {
    const auto sumOf = [](std::span<const float> terms) {
        return std::accumulate(terms.begin(), terms.end(), 0.0f);
    };
    float loss = 0.0f;
    if (getProperty().hasEnergyCoef != 0) {
        loss += sumOf(session.arch->getLossEnergy());
    }
    if (getProperty().hasForceCoef != 0) {
        loss += sumOf(session.arch->getLossForce());
    }
    return loss;
}

void NNEnergyTrainer::printProgress(int epoch) const {
    printOut("  #.%6d  RMSE(E):%10.3e  RMSE(F):%10.3e  Loss:%10.3e  Time[ wall=%s epoch=%s ]\n", epoch,
             static_cast<double>(trainErrors.energy), static_cast<double>(trainErrors.force),
             static_cast<double>(lossValue()), session.wallTimer.getTime().c_str(),
             session.epochTimer.getTime().c_str());
    if (session.testArch) {
        printOut("  @         RMSE(E):%10.3e  RMSE(F):%10.3e  (for test data)\n",
                 static_cast<double>(testErrors.energy), static_cast<double>(testErrors.force));
    }
    flushOut();
}

bool NNEnergyTrainer::updateScheme(int epoch) {
    const int before = session.arch->getEnergyModeScheme();
    if (epoch < 0) {
        // Further super epochs start from weights that have seen the exact gradient.
        session.arch->setEnergyModeScheme(EnergyModeScheme::exactForce, false);
    } else {
        session.arch->updateEnergyModeScheme(epoch);
    }
    return session.arch->getEnergyModeScheme() != before;
}

bool NNEnergyTrainer::advanceScheme() {
    const Property& property = getProperty();
    const int scheme = session.arch->getEnergyModeScheme();
    const bool isApproximate = property.approxForce != 0;
    const bool isAtEnd = scheme == EnergyModeScheme::exactForce ||
                         (scheme == EnergyModeScheme::approximateForce && isApproximate) ||
                         (scheme == EnergyModeScheme::onlyEnergy && property.hasForceCoef == 0);
    if (isAtEnd) {
        return NNTrainer::advanceScheme();
    }
    session.arch->setEnergyModeScheme(
        isApproximate ? EnergyModeScheme::approximateForce : EnergyModeScheme::exactForce, false);
    return false;
}

} // namespace melta
