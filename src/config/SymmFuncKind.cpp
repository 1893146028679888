#include "config/SymmFuncKind.hpp"

#include "base/Reporting.hpp"

#include <algorithm>

namespace melta {
namespace {

template <class Predicate>
const SymmFuncKind* findKind(Predicate isWanted) {
    const auto kinds = symmFuncKinds();
    const auto found = std::ranges::find_if(kinds, isWanted);
    return found == kinds.end() ? nullptr : *found;
}

} // namespace

void SymmFuncKind::setDefaults(Property& /*property*/) const {}

void SymmFuncKind::fitToElements(Property& /*property*/, int /*numElems*/) const {}

bool SymmFuncKind::trainsElementWeights(const Property& /*property*/, int /*numElems*/) const {
    return false;
}

void SymmFuncKind::checkSettings(const Property& /*property*/, const std::string& /*fileName*/) const {}

void SymmFuncKind::proposeTraining(Property& /*property*/) const {}

std::string SymmFuncKind::trainingText(const Property& /*property*/) const {
    return {};
}

void SymmFuncKind::readFunctions(Property& /*property*/, const std::string& /*functionFile*/) const {}

const SymmFuncKind* findSymmFuncKind(int code) {
    return findKind([code](const SymmFuncKind* kind) { return kind->getCode() == code; });
}

const SymmFuncKind* findSymmFuncKind(std::string_view word) {
    return findKind([word](const SymmFuncKind* kind) { return kind->getWord() == word; });
}

const SymmFuncKind& symmFuncKindOf(const Property& property) {
    const SymmFuncKind* const kind = findSymmFuncKind(property.symmFuncKind);
    if (kind == nullptr) {
        stopWithMessage("unknown symmetry function.");
    }
    return *kind;
}

bool scalesEachFunction(const Property& property) {
    return property.symmScale == SymmScale::byKind ? symmFuncKindOf(property).scalesEachByDefault()
                                                   : property.symmScale == SymmScale::each;
}

} // namespace melta
