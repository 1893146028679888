#pragma once

#include "structure/Geometry.hpp"
#include "symmfunc/SymmFunc.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace melta::test {

// Powers of a smooth cutoff, summed over the neighbours with a weight of their element: symmetry functions
// that can be worked out by hand.
//
//     G_b = sum over neighbours with r < rcut of (element + 1) (1 - (r / rcut)^2)^(b + 3)
class ToySymmFunc final : public SymmFunc {
public:
    ToySymmFunc(int elems, int size, float cutoff) : SymmFunc(elems, false, true), rcut(cutoff) {
        numBasis = size;
    }

    void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                   std::span<float> symmDiff) const override {
        checkArguments(geometry, iatom, symmData, symmDiff);
        const auto basis = static_cast<std::size_t>(numBasis);
        std::fill(symmData.begin(), symmData.end(), 0.0f);
        std::fill(symmDiff.begin(), symmDiff.end(), 0.0f);
        std::size_t row = 3;
        for (const Neighbor& neighbor : geometry.getNeighbors(iatom)) {
            const std::array<float, 3> place = geometry.computeNeighborPosition(neighbor);
            std::array<float, 3> bond{};
            float square = 0.0f;
            for (std::size_t c = 0; c < 3; ++c) {
                bond[c] = place[c] - geometry.positions[3 * static_cast<std::size_t>(iatom) + c];
                square += bond[c] * bond[c];
            }
            float rest = 1.0f - square / (rcut * rcut);
            if (rest < 0.0f) { // NaN stays
                rest = 0.0f;
            }
            const auto kind = geometry.elements[static_cast<std::size_t>(neighbor.atom)];
            for (std::size_t b = 0; b < basis; ++b) {
                const auto power = static_cast<float>(b + 3);
                const float weight = static_cast<float>(kind + 1) * std::pow(rest, power - 1.0f);
                symmData[b] += weight * rest;
                for (std::size_t c = 0; c < 3 && !symmDiff.empty(); ++c) {
                    const float slope = -2.0f * power * weight * bond[c] / (rcut * rcut);
                    symmDiff[(row + c) * basis + b] = slope;
                    symmDiff[c * basis + b] -= slope;
                }
            }
            row += 3;
        }
    }

    void calculateAtom(const NeighborArrays& /*neighbors*/, std::span<float> /*symmData*/,
                       std::span<float> /*symmDiff*/) const override {}

private:
    float rcut; // Angstrom
};

} // namespace melta::test
