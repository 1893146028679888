#include "config/Property.hpp"

#include "base/Reporting.hpp"
#include "config/PropertyReader.hpp"

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
    if (property.symmFuncKind == SymmFuncKind::manyBody) {
        requireConsistent(property.rinner < property.router, "router is too small", fileName);
        requireConsistent(property.elemWeight == 0, "symmFunc of many-body does not support elemWeight",
                          fileName);
    }
    requireConsistent(property.hasEnergyCoef != 0 || property.hasForceCoef != 0,
                      "both of coefEnergy and coefForce are zero", fileName);
    requireConsistent(!chargeMode || property.withCharge != 0,
                      "you have to let withCharge be 1, for charge training", fileName);
    requireConsistent(property.withClassical == 0 || property.withReaxFF == 0,
                      "you cannot use withClassical & withReaxFF at the same time", fileName);
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
    if (symmFuncKind == SymmFuncKind::behler) {
        readBehlerFile(behlerFileName);
    }
    if (numAngle <= 0) {
        rcutAngle = 0.0f;
    }
    printBanner(false, chargeMode);
}

float obtainLargestCutoff(const Property& property) {
    if (property.symmFuncKind == SymmFuncKind::manyBody) {
        return property.router;
    }
    const float radial = property.numRadius >= 1 ? property.rcutRadius : 0.0f;
    const float angular = property.numAngle >= 1 ? property.rcutAngle : 0.0f;
    return std::max(radial, angular);
}

} // namespace melta
