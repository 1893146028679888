#include "modelio/InputMap.hpp"

#include "config/Property.hpp"

#include <algorithm>
#include <cstddef>

namespace melta {
namespace {

// All layouts are of one form. The radial block has `numRadial` inputs for each element. The angular block is
// made of packed triangular matrices over combined indices (element, point), with `numPoints` points for each
// element. An entry (u, v), v <= u, of the triangle has `numPerEntry` inputs side by side, and there are
// `numTriangles` triangles behind each other.
//     Chebyshev, Behler: numPoints 1, numPerEntry functions, 1 triangle
//     many-body:         numPoints m3, numPerEntry 1, m3 triangles
struct Layout {
    long long numRadial;
    long long numPoints;
    long long numPerEntry;
    long long numTriangles;

    [[nodiscard]] long long entriesOf(long long numElems) const {
        return numPoints * numElems * (numPoints * numElems + 1) / 2;
    }
};

Layout layoutOf(const Property& property) {
    const long long numAngle = std::max(property.numAngle, 0);
    switch (property.symmFuncKind) {
    case SymmFuncKind::manyBody:
        return {property.m2, std::max(property.m3, 0), 1, std::max(property.m3, 0)};
    case SymmFuncKind::behler:
        return {property.numRadius, 1, 2 * numAngle, 1};
    default:
        return {property.numRadius, 1, numAngle, 1};
    }
}

// The combined index of the target for one of the source, or -1.
long long mapPoint(const Layout& layout, std::span<const int> mapOfElems, long long point) {
    const int element = mapOfElems[static_cast<std::size_t>(point / layout.numPoints)];
    return element < 0 ? -1 : layout.numPoints * element + point % layout.numPoints;
}

void appendRadial(const Layout& layout, std::span<const int> mapOfElems, std::vector<int>& targets) {
    for (const int element : mapOfElems) {
        for (long long k = 0; k < layout.numRadial; ++k) {
            targets.push_back(element < 0 ? -1 : static_cast<int>(layout.numRadial * element + k));
        }
    }
}

// `start`: first input of the triangle in the target.
void appendTriangle(const Layout& layout, std::span<const int> mapOfElems, long long start,
                    std::vector<int>& targets) {
    const long long numCombined = layout.numPoints * static_cast<long long>(mapOfElems.size());
    for (long long u = 0; u < numCombined; ++u) {
        for (long long v = 0; v <= u; ++v) {
            const auto [low, high] =
                std::minmax({mapPoint(layout, mapOfElems, u), mapPoint(layout, mapOfElems, v)});
            const long long entry = low + high * (high + 1) / 2;
            for (long long k = 0; k < layout.numPerEntry; ++k) {
                targets.push_back(low < 0 ? -1 : static_cast<int>(start + entry * layout.numPerEntry + k));
            }
        }
    }
}

} // namespace

double countInputs(const Property& property, int numElems) {
    const Layout layout = layoutOf(property);
    const double numCombined = static_cast<double>(layout.numPoints) * numElems;
    const double numAngular = numCombined * (numCombined + 1.0) / 2.0 *
                              static_cast<double>(layout.numPerEntry * layout.numTriangles);
    return static_cast<double>(layout.numRadial) * numElems + numAngular;
}

InputMap makeInputMap(const Property& property, std::span<const int> mapOfElems, int numElems) {
    const Layout layout = layoutOf(property);
    InputMap map;
    appendRadial(layout, mapOfElems, map.targets);
    for (long long c = 0; c < layout.numTriangles; ++c) {
        const long long start =
            layout.numRadial * numElems + c * layout.entriesOf(numElems) * layout.numPerEntry;
        appendTriangle(layout, mapOfElems, start, map.targets);
    }
    std::vector<bool> isReached(static_cast<std::size_t>(countInputs(property, numElems)), false);
    for (std::size_t i = 0; i < map.targets.size(); ++i) {
        if (map.targets[i] < 0) {
            map.dropped.push_back(static_cast<int>(i));
        } else {
            isReached[static_cast<std::size_t>(map.targets[i])] = true;
        }
    }
    for (std::size_t i = 0; i < isReached.size(); ++i) {
        if (!isReached[i]) {
            map.added.push_back(static_cast<int>(i));
        }
    }
    return map;
}

} // namespace melta
