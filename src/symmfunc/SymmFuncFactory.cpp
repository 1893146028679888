#include "symmfunc/SymmFuncFactory.hpp"

#include "base/Reporting.hpp"
#include "config/SymmFuncKind.hpp"

namespace melta {

std::unique_ptr<SymmFunc> SymmFuncFactory::createSymmFunc(int numElems, const Property& property) const {
    if (numElems < 1) {
        stopWithMessage("#elements is not positive.");
    }
    const SymmFuncKind* const kind = findSymmFuncKind(property.symmFuncKind);
    return kind != nullptr ? kind->create(numElems, property) : nullptr;
}

} // namespace melta
