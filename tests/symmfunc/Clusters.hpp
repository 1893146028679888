// Small configurations for the tests of the symmetry functions.
#pragma once

#include "structure/Geometry.hpp"

#include <array>
#include <memory>
#include <random>
#include <vector>

namespace melta::test {

struct TestAtom {
    int element;
    std::array<float, 3> position;
};

inline std::unique_ptr<Geometry> makeGeometry(const std::array<float, 9>& lattice,
                                              const std::vector<TestAtom>& atoms, float rcut) {
    auto geometry = std::make_unique<Geometry>(lattice, static_cast<int>(atoms.size()), false);
    int index = 0;
    for (const auto& atom : atoms) {
        const auto [x, y, z] = atom.position;
        geometry->setAtom(index++, atom.element, 6 + 8 * atom.element, x, y, z, 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    geometry->haveSetAtoms(rcut, false);
    return geometry;
}

// A cell so large that no atom meets an image.
inline std::array<float, 9> openCell() {
    return {60.0f, 0.0f, 0.0f, 0.0f, 60.0f, 0.0f, 0.0f, 0.0f, 60.0f};
}

// An atom of element 0 in the middle of an open cell, and others at these places relative to it.
inline std::unique_ptr<Geometry> makeStar(const std::vector<TestAtom>& others, float rcut) {
    std::vector<TestAtom> atoms{{0, {30.0f, 30.0f, 30.0f}}};
    for (const auto& other : others) {
        const auto [x, y, z] = other.position;
        atoms.push_back({other.element, {30.0f + x, 30.0f + y, 30.0f + z}});
    }
    return makeGeometry(openCell(), atoms, rcut);
}

// Fractional coordinates away from the faces of the cell, elements in turn. No two atoms closer than 1
// Angstrom.
inline std::unique_ptr<Geometry> makeRandomCell(const std::array<float, 9>& lattice, int numAtoms,
                                                int numElems, float rcut, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(0.05f, 0.95f);
    std::vector<TestAtom> atoms;
    while (static_cast<int>(atoms.size()) < numAtoms) {
        const std::array fractional{uniform(random), uniform(random), uniform(random)};
        TestAtom atom{static_cast<int>(atoms.size()) % numElems, {}};
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t k = 0; k < 3; ++k) {
                atom.position[c] += fractional[k] * lattice[3 * k + c];
            }
        }
        bool isFree = true;
        for (const auto& other : atoms) {
            float squared = 0.0f;
            for (std::size_t c = 0; c < 3; ++c) {
                squared += (atom.position[c] - other.position[c]) * (atom.position[c] - other.position[c]);
            }
            isFree = isFree && squared > 1.0f;
        }
        if (isFree) {
            atoms.push_back(atom);
        }
    }
    return makeGeometry(lattice, atoms, rcut);
}

// A small cell far from orthogonal, in which every atom meets images of itself.
inline std::array<float, 9> skewedCell() {
    return {4.1f, 0.2f, 0.1f, 1.7f, 3.7f, 0.4f, -1.2f, 1.3f, 4.3f};
}

} // namespace melta::test
