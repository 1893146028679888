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
    // one element, with whatever the kind's constructor refuses, and with what
    // SymmFuncBehler::checkParameters says. Behler functions borrow their parameters from `property`.
    [[nodiscard]] std::unique_ptr<SymmFunc> createSymmFunc(int numElems, const Property& property) const;

    // The same, never null. Stops also with "cannot create symmFunc.", "there are no symmetry functions." and
    // "cannot allocate memory: %s".
    [[nodiscard]] std::unique_ptr<SymmFunc> requireSymmFunc(int numElems, const Property& property) const;
};

} // namespace melta
