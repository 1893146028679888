#include "symmfunc/SymmFuncFactory.hpp"

#include "base/Reporting.hpp"
#include "config/Property.hpp"
#include "symmfunc/behler/SymmFuncBehler.hpp"
#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"
#include "symmfunc/manybody/SymmFuncManyBody.hpp"

namespace melta {
namespace {

std::unique_ptr<SymmFunc> createBehler(int numElems, const Property& property) {
    auto symmFunc = std::make_unique<SymmFuncBehler>(
        numElems, property.tanhCutoff != 0, property.elemWeight != 0, property.numRadius, property.numAngle,
        property.rcutRadius, property.rcutAngle);
    symmFunc->radiusEta = property.radiusEta;
    symmFunc->radiusShift = property.radiusShift;
    if (property.numAngle >= 1) {
        symmFunc->angleEta = property.angleEta;
        symmFunc->angleZeta = property.angleZeta;
        symmFunc->angleShift = property.angleShift;
        symmFunc->behlerG4 = property.behlerG4 != 0;
    }
    symmFunc->checkParameters();
    return symmFunc;
}

} // namespace

std::unique_ptr<SymmFunc> SymmFuncFactory::createSymmFunc(int numElems, const Property& property) const {
    if (numElems < 1) {
        stopWithMessage("#elements is not positive.");
    }
    switch (property.symmFuncKind) {
    case SymmFuncKind::manyBody:
        return std::make_unique<SymmFuncManyBody>(numElems, false, property.m2, property.m3, property.rinner,
                                                  property.router);
    case SymmFuncKind::behler:
        return createBehler(numElems, property);
    case SymmFuncKind::chebyshev:
        return std::make_unique<SymmFuncChebyshev>(
            numElems, property.tanhCutoff != 0, property.elemWeight != 0, property.numRadius,
            property.numAngle, property.rcutRadius, property.rcutAngle);
    default:
        return nullptr;
    }
}

} // namespace melta
