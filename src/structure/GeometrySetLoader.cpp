#include "structure/GeometrySetLoader.hpp"

#include "config/BaselineKind.hpp"
#include "config/Property.hpp"

namespace melta {

std::unique_ptr<GeometrySet> loadGeometrySet(const std::string& fileName, const Property& property,
                                             const BaselineRemoval& baselineRemoval,
                                             const GeometrySet* trainingSet) {
    const bool withCharge = property.withCharge != 0;
    auto set = std::make_unique<GeometrySet>();
    set->maxForce = property.maxForce;
    set->minEDev = property.minEDev;
    set->maxEDev = property.maxEDev;
    set->minQDev = property.minQDev;
    set->maxQDev = property.maxQDev;
    set->withHDNNP = property.withHDNNP != 0;
    if (const BaselineKind* const kind = baselineKindOf(property)) {
        kind->mark(*set);
    }
    set->regularElem = property.regularElem != 0;
    set->trainingSet = trainingSet;
    set->readGeometrySet(fileName, withCharge);
    set->haveReadGeometrySet(&property, withCharge, baselineRemoval, 1);
    return set;
}

} // namespace melta
