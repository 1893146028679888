// The pairs of a view, for potentials that are sums over them.
#pragma once

#include "structure/ViewBaseline.hpp"

#include <array>
#include <cmath>
#include <cstddef>

namespace melta {

// A local atom and one of its neighbours.
struct ViewPair {
    std::size_t atom;
    std::size_t other;
    std::size_t element; // of the atom
    std::size_t otherElement;
    std::array<double, 3> d; // neighbour minus atom, Angstrom
    double r;                // Angstrom
};

// Calls work(pair) for each local atom with each neighbour in its list that is nearer than `cutoff`
// (Angstrom), where both elements are known.
template <class Work>
void forEachPair(const NeighborView& view, double cutoff, const Work& work) {
    for (int l = 0; l < view.numLists; ++l) {
        const int atom = view.atoms == nullptr ? l : view.atoms[l];
        for (int n = 0; view.elements[atom] >= 0 && n < view.lengths[l]; ++n) {
            const int other = view.neighbors[l][n] & view.entryMask;
            ViewPair pair{static_cast<std::size_t>(atom),
                          static_cast<std::size_t>(other),
                          static_cast<std::size_t>(view.elements[atom]),
                          static_cast<std::size_t>(view.elements[other]),
                          {},
                          0.0};
            double square = 0.0;
            for (std::size_t c = 0; c < 3; ++c) {
                pair.d[c] = view.positions[3 * pair.other + c] - view.positions[3 * pair.atom + c];
                square += pair.d[c] * pair.d[c];
            }
            if (view.elements[other] >= 0 && square < cutoff * cutoff) {
                pair.r = std::sqrt(square);
                work(pair);
            }
        }
    }
}

// Adds the force of this size on the neighbour, away from the atom, that the energy of the atom gives it,
// with its counterpart and its virial.
inline void addPairForce(const ViewPair& pair, double size, const BaselineSums& sums) {
    std::array<double, 3> force{};
    for (std::size_t c = 0; c < 3; ++c) {
        force[c] = size * pair.d[c] / pair.r;
        if (!sums.forces.empty()) {
            sums.forces[3 * pair.other + c] += force[c];
            sums.forces[3 * pair.atom + c] -= force[c];
        }
    }
    constexpr std::array<std::array<std::size_t, 2>, 6> axes{
        {{0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}}};
    for (std::size_t v = 0; v < axes.size() && !sums.virials.empty(); ++v) {
        sums.virials[6 * pair.atom + v] += pair.d[axes[v][0]] * force[axes[v][1]];
    }
}

} // namespace melta
