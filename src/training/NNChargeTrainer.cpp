#include "training/NNChargeTrainer.hpp"

#include "training/LossScales.hpp"

#include <utility>

namespace melta {

// The target counts even where the coefficient is so small that nothing is in the loss.
std::vector<LossTerm> NNChargeTrainer::makeLossTerms() const {
    const Property& property = getProperty();
    auto scales =
        makeLossScales(property, property.coefCharge, getGeometrySet().chargeDev, state.arch->getNumElems());
    if (property.hasChargeCoef == 0) {
        scales.clear();
    }
    std::vector<LossTerm> made{{atomicCharge(), std::move(scales), property.sqrtLoss != 0}};
    made.front().targetError = property.rmseCharge;
    return made;
}

} // namespace melta
