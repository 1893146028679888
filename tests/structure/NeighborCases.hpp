#pragma once

#include "structure/LiteralNeighborSearch.hpp"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace melta::test {

// A cell and a cutoff for a neighbour search.
struct Case {
    const char* name;
    std::array<float, 9> lattice;
    int numAtoms;
    float rcut;
};

inline const std::vector<Case> cases = {
    {"cube of water's size", {12.4f, 0, 0, 0, 12.4f, 0, 0, 0, 12.4f}, 96, 6.0f},
    {"one atom in a small cube", {3, 0, 0, 0, 3, 0, 0, 0, 3}, 1, 6.0f},
    {"one atom in a tiny cube", {1.1f, 0, 0, 0, 1.2f, 0, 0, 0, 1.3f}, 1, 7.5f},
    {"triclinic", {14.2f, 5.6f, 15.6f, 0, 9.1f, 0.3f, 0, 0, 9.2f}, 40, 5.0f},
    {"highly skewed", {10, 0, 0, 9.8f, 1.1f, 0, 0.3f, -0.7f, 4}, 5, 4.0f},
    {"left-handed with negative vectors", {-4, 1, 0, 1, 5, -2, 0, -1, 6}, 7, 6.5f},
    {"much larger than the cutoff", {60, 0, 0, 3, 55, 0, -7, 4, 50}, 150, 4.0f},
    {"slab", {4, 0, 0, 0, 4, 0, 0, 0, 40}, 12, 6.0f},
};

// Atoms anywhere in and around the cell, up to one and a half cells away.
inline Geometry makeGeometry(const Case& c, unsigned seed) {
    Geometry geometry(c.lattice, c.numAtoms, false);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> fraction(-1.5f, 2.5f);
    for (int i = 0; i < c.numAtoms; ++i) {
        const float a = fraction(random);
        const float b = fraction(random);
        const float d = fraction(random);
        const auto along = [&](std::size_t axis) {
            return a * c.lattice[axis] + b * c.lattice[3 + axis] + d * c.lattice[6 + axis];
        };
        geometry.setAtom(i, 0, 1, along(0), along(1), along(2), 0, 0, 0, 0.0, 0);
    }
    return geometry;
}

inline std::vector<NeighborList> listsOf(const Geometry& geometry) {
    std::vector<NeighborList> lists;
    for (int i = 0; i < geometry.numAtoms; ++i) {
        const auto list = geometry.getNeighbors(i);
        EXPECT_EQ(geometry.numNeighbors(i), static_cast<int>(list.size()));
        lists.emplace_back(list.begin(), list.end());
    }
    return lists;
}

} // namespace melta::test
