#include "symmfunc/SymmFuncFactory.hpp"

#include "base/MemoryPurpose.hpp"
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

std::unique_ptr<SymmFunc> SymmFuncFactory::requireSymmFunc(int numElems, const Property& property) const {
    auto symmFunc = allocateFor("symmetry functions", [&] { return createSymmFunc(numElems, property); });
    if (!symmFunc) {
        stopWithMessage("cannot create symmFunc.");
    }
    if (symmFunc->getNumBasis() < 1) {
        stopWithMessage("there are no symmetry functions.");
    }
    return symmFunc;
}

} // namespace melta
