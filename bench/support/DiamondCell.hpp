#pragma once

#include "structure/Geometry.hpp"

#include <memory>
#include <random>
#include <vector>

namespace melta::bench {

// A diamond cell of silicon with `cubes` cubes of 8 atoms along each side, its atoms displaced at random by
// 0.1 Angstrom along each axis; without forces and energies.
inline std::unique_ptr<Geometry> makeDiamondCell(int cubes, std::mt19937& random) {
    constexpr float side = 5.43f; // Angstrom
    constexpr float corners[8][3] = {{0.0f, 0.0f, 0.0f},    {0.0f, 0.5f, 0.5f},    {0.5f, 0.0f, 0.5f},
                                     {0.5f, 0.5f, 0.0f},    {0.25f, 0.25f, 0.25f}, {0.25f, 0.75f, 0.75f},
                                     {0.75f, 0.25f, 0.75f}, {0.75f, 0.75f, 0.25f}};
    std::normal_distribution<float> normal(0.0f, 0.1f);
    const float edge = static_cast<float>(cubes) * side;
    const std::vector<float> lattice{edge, 0, 0, 0, edge, 0, 0, 0, edge};
    const int numAtoms = 8 * cubes * cubes * cubes;
    auto geometry = std::make_unique<Geometry>(lattice, numAtoms, false);
    for (int i = 0; i < numAtoms; ++i) {
        const int cube = i / 8;
        const float* const corner = corners[i % 8];
        const float x = side * (static_cast<float>(cube / cubes / cubes) + corner[0]) + normal(random);
        const float y = side * (static_cast<float>(cube / cubes % cubes) + corner[1]) + normal(random);
        const float z = side * (static_cast<float>(cube % cubes) + corner[2]) + normal(random);
        geometry->setAtom(i, 0, 14, x, y, z, 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    return geometry;
}

} // namespace melta::bench
