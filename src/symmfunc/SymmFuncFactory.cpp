#include "symmfunc/SymmFuncFactory.hpp"

#include "config/Property.hpp"
#include "driver/Reporting.hpp"
#include "symmfunc/SymmFuncChebyshev.hpp"

namespace melta {

std::unique_ptr<SymmFunc> SymmFuncFactory::createSymmFunc(int numElems, const Property& property) const {
    if (numElems < 1) {
        stopWithMessage("#elements is not positive.");
    }
    switch (property.symmFuncKind) {
    case SymmFuncKind::chebyshev:
        return std::make_unique<SymmFuncChebyshev>(
            numElems, property.tanhCutoff != 0, property.elemWeight != 0, property.numRadius,
            property.numAngle, property.rcutRadius, property.rcutAngle);
    default:
        return nullptr;
    }
}

} // namespace melta
