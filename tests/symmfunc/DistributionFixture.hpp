// A set whose symmetry values can be read off its atoms.
#pragma once

#include "structure/GeometrySet.hpp"
#include "symmfunc/SymmFunc.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace melta::test {

// Two functions: the x and the y coordinate of the atom.
class CoordinateFunc : public SymmFunc {
public:
    explicit CoordinateFunc(int elems = 2) : SymmFunc(elems, false, false) { numBasis = 2; }

    void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                   std::span<float> symmDiff) const override {
        checkArguments(geometry, iatom, symmData, symmDiff);
        symmData[0] = geometry.positions[3 * static_cast<std::size_t>(iatom)];
        symmData[1] = geometry.positions[3 * static_cast<std::size_t>(iatom) + 1];
    }
    void calculateAtom(const NeighborArrays& /*neighbors*/, std::span<float> /*symmData*/,
                       std::span<float> /*symmDiff*/) const override {}
};

// No functions at all.
class EmptyFunc : public SymmFunc {
public:
    EmptyFunc() : SymmFunc(1, false, false) {}
    void calculate(const Geometry& /*geometry*/, int /*iatom*/, std::span<float> /*symmData*/,
                   std::span<float> /*symmDiff*/) const override {}
    void calculateAtom(const NeighborArrays& /*neighbors*/, std::span<float> /*symmData*/,
                       std::span<float> /*symmDiff*/) const override {}
};

struct CoordinateAtom {
    int element;
    float x;
    float y;
};

inline std::unique_ptr<Geometry> makeFlatGeometry(const std::vector<CoordinateAtom>& atoms) {
    const std::array<float, 9> lattice{10.0f, 0.0f, 0.0f, 0.0f, 10.0f, 0.0f, 0.0f, 0.0f, 10.0f};
    auto geometry = std::make_unique<Geometry>(lattice, static_cast<int>(atoms.size()), false);
    int index = 0;
    for (const auto& atom : atoms) {
        geometry->setAtom(index++, atom.element, 1, atom.x, atom.y, 0.0f, 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    return geometry;
}

inline void fillSet(GeometrySet& set, std::vector<std::string> names,
                    const std::vector<std::vector<CoordinateAtom>>& geometries) {
    set.numElems = static_cast<int>(names.size());
    set.elemNames = std::move(names);
    for (const auto& atoms : geometries) {
        set.geometries.push_back(makeFlatGeometry(atoms));
    }
    set.numGeoms = static_cast<int>(set.geometries.size());
}

} // namespace melta::test
