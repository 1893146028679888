#pragma once

#include <span>

namespace melta {

// Where a Monte Carlo walk takes the energy of its configuration from. The walk moves atoms; an
// implementation that keeps data of single atoms need only follow what it is told has moved.
//
// Calls come in this order: start; then in turn evaluateMove, any number of isUnknown, and one of acceptMove
// and rejectMove.
class ConfigurationEnergy {
public:
    ConfigurationEnergy() = default;
    virtual ~ConfigurationEnergy() = default;
    ConfigurationEnergy(const ConfigurationEnergy&) = delete;
    ConfigurationEnergy& operator=(const ConfigurationEnergy&) = delete;
    ConfigurationEnergy(ConfigurationEnergy&&) = delete;
    ConfigurationEnergy& operator=(ConfigurationEnergy&&) = delete;

    // Energy of the configuration that the walk begins with, eV.
    virtual double start() = 0;

    // Energy of the configuration after these atoms have got new positions, eV. Takes the atoms back into the
    // cell.
    virtual double evaluateMove(std::span<const int> movedAtoms) = 0;

    // Whether the training data do not cover the configuration of the last evaluateMove.
    [[nodiscard]] virtual bool isUnknown() = 0;

    // The configuration of the last evaluateMove stays.
    virtual void acceptMove() = 0;

    // It does not: the walk has put the atoms back.
    virtual void rejectMove() = 0;
};

} // namespace melta
