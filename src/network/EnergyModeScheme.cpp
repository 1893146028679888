#include "network/EnergyModeScheme.hpp"

#include "base/Reporting.hpp"

namespace melta {
namespace {

void printScheme(int value) {
    switch (value) {
    case EnergyModeScheme::onlyEnergy:
        printOut("  >>> Only energy-gradient is used.\n");
        break;
    case EnergyModeScheme::approximateForce:
        printOut("  >>> Energy-gradient and APPROXIMATE force-gradient are used.\n");
        break;
    case EnergyModeScheme::exactForce:
        printOut("  >>> Energy-gradient and EXACT force-gradient are used.\n");
        break;
    default:
        stopWithMessage("incorrect energyModeScheme.");
    }
    flushOut();
}

} // namespace

void EnergyModeScheme::set(int newValue, bool silent) {
    if (newValue == value) {
        return;
    }
    value = newValue;
    if (!silent) {
        printScheme(value);
    }
}

void EnergyModeScheme::update(const Property& property, int epoch) {
    set(nextValue(property, epoch), false);
}

int EnergyModeScheme::nextValue(const Property& property, int epoch) const {
    const bool hasForce = property.hasDerivativeCoef();
    const bool isApproximate = property.approxForce != 0;
    if (value == exactForce || (value == approximateForce && isApproximate) ||
        (value == onlyEnergy && !hasForce)) {
        return value;
    }
    if (property.restart != 0) {
        if (!hasForce) {
            return onlyEnergy;
        }
        return isApproximate ? approximateForce : exactForce;
    }
    int next = value;
    if (next == notSet) {
        next = property.hasEnergyCoef != 0 ? onlyEnergy : approximateForce;
    }
    if (next == onlyEnergy && epoch >= property.epochsOnlyE && hasForce) {
        next = approximateForce;
    }
    if (next == approximateForce && epoch >= property.epochsApproxF && !isApproximate) {
        next = exactForce;
    }
    return next;
}

} // namespace melta
