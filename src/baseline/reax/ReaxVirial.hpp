#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace melta {

// Adds the virial of a pair of atoms, half of it to each: xx, yy, zz, xy, xz, yz of factor d d^T, with
// factor d the force on the second atom and d the vector from the first to it. virials [numAtoms][6].
inline void addVirial(std::size_t first, std::size_t second, const std::array<double, 3>& d, double factor,
                      std::span<double> virials) {
    const std::array<double, 6> products{d[0] * d[0], d[1] * d[1], d[2] * d[2],
                                         d[0] * d[1], d[0] * d[2], d[1] * d[2]};
    for (std::size_t c = 0; c < products.size(); ++c) {
        const double half = 0.5 * factor * products[c];
        virials[6 * first + c] += half;
        virials[6 * second + c] += half;
    }
}

} // namespace melta
