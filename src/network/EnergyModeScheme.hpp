#pragma once

#include "config/Property.hpp"

namespace melta {

// How far a training has got with its force term: energies only at first, then forces with an approximate
// gradient, which is cheap and robust far from the minimum, then the exact gradient. The scheme only goes up.
class EnergyModeScheme {
public:
    enum Value : int { notSet = 0, onlyEnergy = 1, approximateForce = 2, exactForce = 3 };

    int getValue() const { return value; }

    // Before the first epoch with epoch 0, then after each epoch: moves on as the settings say and prints a
    // line when the value changes.
    void update(const Property& property, int epoch);

    // Stores a value and, unless `silent`, prints its line when it changes. A printed value outside 1 to 3
    // stops with "incorrect energyModeScheme.".
    void set(int newValue, bool silent);

private:
    int nextValue(const Property& property, int epoch) const;

    int value = notSet;
};

} // namespace melta
