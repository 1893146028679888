#pragma once

#include "config/Property.hpp"
#include "network/LossTerm.hpp"

#include <span>
#include <vector>

namespace melta::test {

// Terms of energies and forces, as a training with these settings has them; an empty scale leaves its term
// out of the loss.
inline std::vector<LossTerm> makeEnergyTerms(const Property& property, std::span<const float> energyScale,
                                             std::span<const float> forceScale) {
    const bool isRoot = property.sqrtLoss != 0;
    return {{property.withHDNNP != 0 ? totalEnergy() : atomicEnergy(),
             {energyScale.begin(), energyScale.end()},
             isRoot},
            {atomicForce(), {forceScale.begin(), forceScale.end()}, isRoot}};
}

inline std::vector<LossTerm> makeChargeTerms(const Property& property, std::span<const float> chargeScale) {
    return {{atomicCharge(), {chargeScale.begin(), chargeScale.end()}, property.sqrtLoss != 0}};
}

} // namespace melta::test
