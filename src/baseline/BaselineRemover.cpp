#include "baseline/BaselineRemover.hpp"

#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "structure/GeometrySet.hpp"

namespace melta {

BaselineRemoval makeBaselineRemoval(const std::string& baselineFile) {
    return [baselineFile](const GeometrySet& set, const Property& property, std::span<const int> order) {
        for (const BaselineKind* const kind : baselineKinds()) {
            if (kind->isMarked(set)) {
                return kind->removeFrom(set, property, order, baselineFile);
            }
        }
    };
}

std::unique_ptr<BaselinePotential> makeBaseline(const GeometrySet* set, const Property* property,
                                                const std::string& baselineFile) {
    const BaselineKind* const kind = baselineKindOf(*property);
    if (kind == nullptr) {
        return nullptr;
    }
    flushOut();
    return kind->make(set, property, baselineFile);
}

} // namespace melta
