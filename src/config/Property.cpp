#include "config/Property.hpp"

#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "config/PropertyReader.hpp"
#include "config/SymmFuncKind.hpp"

#include <algorithm>

namespace melta {
namespace {

void requireConsistent(bool isConsistent, const char* complaint, const std::string& fileName) {
    if (!isConsistent) {
        stopWithMessage("%s: %s", complaint, fileName.c_str());
    }
}

// Settings that fit each by itself, but not together.
void checkCombinations(const Property& property, const std::string& fileName, bool chargeMode) {
    requireConsistent(property.minEDev <= property.maxEDev, "minEDev > maxEDev", fileName);
    requireConsistent(property.minQDev <= property.maxQDev, "minQDev > maxQDev", fileName);
    symmFuncKindOf(property).checkSettings(property, fileName);
    requireConsistent(property.hasEnergyCoef != 0 || property.hasForceCoef != 0,
                      "both of coefEnergy and coefForce are zero", fileName);
    requireConsistent(!chargeMode || property.withCharge != 0,
                      "you have to let withCharge be 1, for charge training", fileName);
    requireConsistent(property.hasStressCoef == 0 || property.withCharge == 0,
                      "coefStress does not support withCharge", fileName);
    requireConsistent(property.hasStressCoef == 0 || property.renormLoss == 0,
                      "coefStress does not support renormLoss", fileName);
    requireOneBaseline(property, fileName);
    requireConsistent(property.keepBest == 0 || hasInsituTest(property),
                      "keepBest needs insituTest or insituValid", fileName);
    requireConsistent(property.coefEnergyFinal <= 0.0f || property.hasEnergyCoef != 0,
                      "coefEnergyFinal needs a coefEnergy above zero", fileName);
    requireConsistent(property.coefStressFinal <= 0.0f || property.hasStressCoef != 0,
                      "coefStressFinal needs a coefStress above zero", fileName);
    const bool hasCosine = property.lbfgs < 1 && property.learnRateSchedule == LearnRateSchedule::cosine;
    requireConsistent(!hasCosine || property.learnRateFinal < property.learnRate,
                      "learnRateSchedule cosine needs a learnRateFinal below learnRate", fileName);
}

} // namespace

Property::Property(bool withForcedLbfgs) : forceLbfgs(withForcedLbfgs) {
    if (forceLbfgs) {
        lineSearch = LineSearch::wolfe;
    }
}

void Property::readProperty(const std::string& fileName, const std::string& behlerFileName, bool chargeMode) {
    writeTemplate(fileName, chargeMode, false);
    readPropertyKeys(*this, fileName, chargeMode);
    checkCombinations(*this, fileName, chargeMode);
    learnRateFinal = std::min(learnRate, learnRateFinal);
    symmFuncKindOf(*this).readFunctions(*this, behlerFileName);
    if (numAngle <= 0) {
        rcutAngle = 0.0f;
    }
    printBanner(false, chargeMode);
}

bool hasMovingWeights(const Property& property) {
    return property.lbfgs < 1 && (property.coefEnergyFinal > 0.0f || property.coefStressFinal > 0.0f);
}

bool hasInsituTest(const Property& property) {
    return property.insituTest != 0 || property.insituValid != 0;
}

float findLargestCutoff(const Property& property) {
    return symmFuncKindOf(property).findLargestCutoff(property);
}

} // namespace melta
