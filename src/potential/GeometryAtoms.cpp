#include "potential/GeometryAtoms.hpp"

#include "base/Reporting.hpp"
#include "network/SymmPreparation.hpp"
#include "structure/Geometry.hpp"

#include <algorithm>
#include <numeric>

namespace melta {

GeometryAtoms::GeometryAtoms(const Geometry& source, int numElems)
    : geometry(source), all(geometry.elements.size()) {
    const auto isKnown = [numElems](int element) { return element >= 0 && element < numElems; };
    if (!std::ranges::all_of(geometry.elements, isKnown)) {
        stopWithMessage("index of element is out of range.");
    }
    std::iota(all.begin(), all.end(), 0);
}

std::size_t GeometryAtoms::elementOf(int atom) const {
    return static_cast<std::size_t>(geometry.elements[static_cast<std::size_t>(atom)]);
}

void GeometryAtoms::gather(int atom, NeighborArrays& neighbors) const {
    neighbors.update(geometry, atom);
}

void GeometryAtoms::stopAtDescriptors(int /*atom*/) const {
    stopAtSymmFuncs(0);
}

} // namespace melta
