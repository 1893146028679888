#pragma once

#include "baseline/classical/PairCutoff.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace melta {

// Number of pairs of elements, each element with itself included.
constexpr std::size_t numPairsOf(std::size_t numElems) {
    return numElems * (numElems + 1) / 2;
}

// Place of a pair of elements in all arrays over pairs: by the larger index, then by the smaller one.
constexpr std::size_t pairIndexOf(std::size_t i, std::size_t j) {
    const std::size_t larger = std::max(i, j);
    return std::min(i, j) + larger * (larger + 1) / 2;
}

// What the Lennard-Jones-like potential consists of: the factors of r^-12, r^-10, r^-8 and r^-6 for each pair
// of elements, in eV and powers of Angstrom, and an additive energy for each atom of an element, eV, which
// only the fit uses. All zero after construction.
struct ClassicalParameters {
    std::vector<float> coefA; // [pairs]
    std::vector<float> coefB;
    std::vector<float> coefC;
    std::vector<float> coefD;
    std::vector<float> elemEnergy; // [numElems]

    explicit ClassicalParameters(std::size_t numElems);

    [[nodiscard]] std::size_t numElems() const { return elemEnergy.size(); }
    [[nodiscard]] std::size_t numPairs() const { return coefA.size(); }
    [[nodiscard]] std::array<float, numPowers> coefsOf(std::size_t pair) const {
        return {coefA[pair], coefB[pair], coefC[pair], coefD[pair]};
    }

    // Sets all pairs to one A and everything else to zero.
    void reset(float a);

    // Whether no parameter is NaN or infinite.
    [[nodiscard]] bool isFinite() const;
};

// The gradient of a loss by the parameters, of the same shapes.
struct ClassicalGradients {
    std::vector<float> gradA; // [pairs]
    std::vector<float> gradB;
    std::vector<float> gradC;
    std::vector<float> gradD;
    std::vector<float> gradElem; // [numElems]

    explicit ClassicalGradients(std::size_t numElems);
};

// The variables of the fit stand in one vector, element by element: for element i the pairs with elements 0
// to i, each with sqrt(A), B, C, D, and then the element's energy. The root keeps A from getting negative.
constexpr std::size_t numVariablesOf(std::size_t numElems) {
    return numPowers * numPairsOf(numElems) + numElems;
}
void packVariables(const ClassicalParameters& parameters, std::span<float> variables);
void unpackVariables(std::span<const float> variables, ClassicalParameters& parameters);

// The gradient by the variables at `variables`.
void packGradients(const ClassicalGradients& gradients, std::span<const float> variables,
                   std::span<float> result);

} // namespace melta
