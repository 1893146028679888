#include "baseline/zbl/ZblPot.hpp"

#include "structure/Geometry.hpp"

#include <array>
#include <cmath>

namespace melta {
namespace {

// What the neighbours of an atom give it.
struct AtomValue {
    double energy = 0.0;
    std::array<double, 3> force{};
};

// The lists hold both directions of each pair, so that an atom takes half of the energy and all of its force.
AtomValue evaluateAtom(const ZblTable& table, const Geometry& geometry, int iatom) {
    const auto i = static_cast<std::size_t>(iatom);
    const float* const p = geometry.positions.data() + 3 * i;
    const double squareOfReach = table.getReach() * table.getReach();
    AtomValue sum;
    for (const Neighbor& neighbor : geometry.getNeighbors(iatom)) {
        const std::array<float, 3> image = geometry.computeNeighborPosition(neighbor);
        std::array<double, 3> d{};
        double square = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            d[c] = static_cast<double>(image[c]) - static_cast<double>(p[c]);
            square += d[c] * d[c];
        }
        if (!(square < squareOfReach)) {
            continue;
        }
        const double r = std::sqrt(square);
        const auto other = static_cast<std::size_t>(neighbor.atom);
        const ZblValue value = evaluateZbl(table.pairOf(static_cast<std::size_t>(geometry.elements[i]),
                                                        static_cast<std::size_t>(geometry.elements[other])),
                                           r);
        sum.energy += 0.5 * value.energy;
        for (std::size_t c = 0; c < 3; ++c) {
            sum.force[c] += value.slope * d[c] / r;
        }
    }
    return sum;
}

} // namespace

void ZblPot::removeFromGeometry(Geometry* geometry) {
    for (int iatom = 0; geometry != nullptr && iatom < geometry->numAtoms; ++iatom) {
        const auto i = static_cast<std::size_t>(iatom);
        const AtomValue value = evaluateAtom(table, *geometry, iatom);
        geometry->energyTotal -= value.energy;
        geometry->energies[i] -= value.energy;
        for (std::size_t c = 0; c < 3; ++c) {
            geometry->forces[3 * i + c] -= static_cast<float>(value.force[c]);
        }
    }
}

float ZblPot::obtainEnergy(const Geometry* geometry) {
    double energy = 0.0;
    for (int iatom = 0; geometry != nullptr && iatom < geometry->numAtoms; ++iatom) {
        energy += evaluateAtom(table, *geometry, iatom).energy;
    }
    return static_cast<float>(energy);
}

float ZblPot::obtainEnergiesAndForces(const Geometry* geometry, std::span<float> energies,
                                      std::span<float> forces) {
    double total = 0.0;
    for (int iatom = 0; geometry != nullptr && iatom < geometry->numAtoms; ++iatom) {
        const auto i = static_cast<std::size_t>(iatom);
        const AtomValue value = evaluateAtom(table, *geometry, iatom);
        total += value.energy;
        energies[i] = static_cast<float>(value.energy);
        for (std::size_t c = 0; c < 3; ++c) {
            forces[3 * i + c] = static_cast<float>(value.force[c]);
        }
    }
    return static_cast<float>(total);
}

} // namespace melta
