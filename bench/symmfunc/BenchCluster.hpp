// What the benchmarks of the symmetry functions share.
#pragma once

#include "structure/Geometry.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <random>

namespace melta::bench {

constexpr int numNeighbors = 72;
constexpr float rcut = 6.0f;

// An atom in the middle of a large cell, with 72 neighbours at random inside the cutoff.
inline std::unique_ptr<Geometry> makeCluster(int numElems, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> cubed(8.0f, 205.0f);
    std::normal_distribution<float> normal;
    const std::array<float, 9> lattice{40.0f, 0.0f, 0.0f, 0.0f, 40.0f, 0.0f, 0.0f, 0.0f, 40.0f};
    auto geometry = std::make_unique<Geometry>(lattice, numNeighbors + 1, false);
    geometry->setAtom(0, 0, 14, 20.0f, 20.0f, 20.0f, 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    for (int i = 1; i <= numNeighbors; ++i) {
        const float x = normal(random);
        const float y = normal(random);
        const float z = normal(random);
        const float scale = std::cbrt(cubed(random)) / std::sqrt(x * x + y * y + z * z);
        const int element = i % numElems;
        geometry->setAtom(i, element, 14 + 18 * element, 20.0f + scale * x, 20.0f + scale * y,
                          20.0f + scale * z, 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    geometry->haveSetAtoms(rcut, false);
    return geometry;
}

// Keeps the shortest of many times, which is what the machine can do when nobody disturbs it.
class Stopwatch {
public:
    template <class Work>
    double time(Work&& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double> lapse = std::chrono::steady_clock::now() - start;
        best = std::min(best, lapse.count());
        return lapse.count();
    }
    [[nodiscard]] double shortest() const { return best; }

private:
    double best = std::numeric_limits<double>::infinity();
};

} // namespace melta::bench
