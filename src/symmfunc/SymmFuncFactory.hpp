#pragma once

#include "symmfunc/SymmFunc.hpp"

#include <memory>

namespace melta {

class Property;

// Makes the kind of symmetry function that the settings ask for.
class SymmFuncFactory {
public:
    virtual ~SymmFuncFactory() = default;

    // Null when `symmFuncKind` names no kind that can be made. Stops with "#elements is not positive." below
    // one element and with whatever the kind's constructor refuses.
    [[nodiscard]] std::unique_ptr<SymmFunc> createSymmFunc(int numElems, const Property& property) const;
};

} // namespace melta
