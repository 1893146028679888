#pragma once

#include "structure/GeometrySet.hpp"

#include <array>
#include <memory>
#include <span>

namespace melta::test {

// An atom of a set with the elements Si (0), O (1) and H (2).
struct ZblSite {
    int element;
    std::array<float, 3> position; // Angstrom
};

inline void addZblElements(GeometrySet& set) {
    set.numElems = 3;
    set.elemNames = {"Si", "O", "H"};
    set.elemAtomNumbers = {14, 8, 1};
}

// A geometry of these elements in a cubic cell of 8 Angstrom, with lists up to `rcut`.
inline std::unique_ptr<Geometry> makeZblGeometry(std::span<const ZblSite> sites, float rcut) {
    constexpr std::array<std::int32_t, 3> atomNumbers{14, 8, 1};
    const std::array<float, 9> lattice{8.0f, 0.0f, 0.0f, 0.0f, 8.0f, 0.0f, 0.0f, 0.0f, 8.0f};
    auto geometry = std::make_unique<Geometry>(lattice, static_cast<int>(sites.size()), true);
    int i = 0;
    for (const ZblSite& site : sites) {
        geometry->setAtom(i++, site.element, atomNumbers[static_cast<std::size_t>(site.element)],
                          site.position[0], site.position[1], site.position[2], 0.1f, 0.2f, 0.3f, 1.0, 0.0f);
    }
    geometry->energyTotal = 5.0;
    geometry->haveSetAtoms(rcut, false);
    return geometry;
}

} // namespace melta::test
