#include "baseline/BaselineRemover.hpp"

#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "baseline/BaselineStress.hpp"
#include "config/BaselineKind.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>

namespace melta {
namespace {

void removeStress(const BaselineKind& kind, const GeometrySet& set, const Property& property,
                  std::span<const int> order, const std::string& baselineFile) {
    if (!set.hasStress()) {
        return;
    }
    const BaselineStress baseline(kind, set, property, baselineFile);
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (const int index : order) {
        guard.run([&] { baseline.removeFromGeometry(set.getGeometry(index)); });
    }
    guard.rethrow();
}

// The kind that a set is marked for; null without.
const BaselineKind* markedKindOf(const GeometrySet& set) {
    const auto kinds = baselineKinds();
    const auto found =
        std::ranges::find_if(kinds, [&](const BaselineKind* kind) { return kind->isMarked(set); });
    return found == kinds.end() ? nullptr : *found;
}

void removeAll(const BaselineKind& kind, const GeometrySet& set, const Property& property,
               std::span<const int> order, const std::string& baselineFile) {
    kind.removeFrom(set, property, order, baselineFile);
    removeStress(kind, set, property, order, baselineFile);
}

} // namespace

BaselineRemoval makeBaselineRemoval(const std::string& baselineFile) {
    return [baselineFile](const GeometrySet& set, const Property& property, std::span<const int> order) {
        if (const BaselineKind* const kind = markedKindOf(set)) {
            removeAll(*kind, set, property, order, baselineFile);
        }
    };
}

BaselineRemoval makeTrainingRemoval(const std::string& baselineFile) {
    return [baselineFile](const GeometrySet& set, const Property& property, std::span<const int> order) {
        if (const BaselineKind* const kind = markedKindOf(set)) {
            kind->completeParameters(set, property, baselineFile);
            removeAll(*kind, set, property, order, baselineFile);
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
