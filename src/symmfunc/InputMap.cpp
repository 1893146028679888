#include "symmfunc/InputMap.hpp"

#include <algorithm>
#include <cstddef>

namespace melta {
namespace {

// The combined index of the target for one of the source, or -1.
long long mapPoint(const InputBlocks& layout, std::span<const int> mapOfElems, long long point) {
    const int element = mapOfElems[static_cast<std::size_t>(point / layout.numPoints)];
    return element < 0 ? -1 : layout.numPoints * element + point % layout.numPoints;
}

void appendRadial(const InputBlocks& layout, std::span<const int> mapOfElems, std::vector<int>& targets) {
    for (const int element : mapOfElems) {
        for (long long k = 0; k < layout.numRadial; ++k) {
            targets.push_back(element < 0 ? -1 : static_cast<int>(layout.numRadial * element + k));
        }
    }
}

// `start`: first input of the triangle in the target.
void appendTriangle(const InputBlocks& layout, std::span<const int> mapOfElems, long long start,
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

double InputBlocks::countInputs(int numElems) const {
    const double numCombined = static_cast<double>(numPoints) * numElems;
    const double numAngular =
        numCombined * (numCombined + 1.0) / 2.0 * static_cast<double>(numPerEntry * numTriangles);
    return static_cast<double>(numRadial) * numElems + numAngular;
}

InputMap InputBlocks::map(std::span<const int> mapOfElems, int numElems) const {
    InputMap map;
    appendRadial(*this, mapOfElems, map.targets);
    for (long long c = 0; c < numTriangles; ++c) {
        appendTriangle(*this, mapOfElems, numRadial * numElems + c * sizeOfTriangle(numElems), map.targets);
    }
    std::vector<bool> isReached(static_cast<std::size_t>(countInputs(numElems)), false);
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
