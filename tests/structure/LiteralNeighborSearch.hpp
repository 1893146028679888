#pragma once

#include "structure/Geometry.hpp"

#include <array>
#include <cmath>
#include <span>
#include <vector>

namespace melta::test {

using NeighborList = std::vector<Neighbor>;

// The neighbour search in its plainest form, bin by bin and with a list for each atom: the order that the
// fast search has to keep. Single precision throughout, as the bins depend on the last digits.
inline std::vector<NeighborList> searchLiterally(const Geometry& geometry, float rcut) {
    const auto& lattice = geometry.lattice;
    const auto& inverse = geometry.invLattice;
    std::array<int, 3> images{};
    for (std::size_t k = 0; k < 3; ++k) {
        const float s =
            inverse[k] * inverse[k] + inverse[3 + k] * inverse[3 + k] + inverse[6 + k] * inverse[6 + k];
        const float y = 1.0f / std::sqrt(s);
        const float length = -0.5f * y * (s * y * y - 3.0f);
        images[k] = static_cast<int>(std::ceil(rcut / length));
    }
    std::array<float, 3> lower{};
    std::array<float, 3> width{};
    std::array<float, 3> upper{};
    std::array<int, 3> bins{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        lower[axis] = -rcut;
        upper[axis] = rcut;
        for (std::size_t row = 0; row < 3; ++row) {
            const float component = lattice[3 * row + axis];
            if (component > 0.0f) {
                upper[axis] += component;
            } else {
                lower[axis] += component;
            }
        }
        bins[axis] = static_cast<int>((upper[axis] - lower[axis]) / rcut);
        width[axis] = (upper[axis] - lower[axis]) / static_cast<float>(bins[axis]);
    }
    const auto binOf = [&](const std::array<float, 3>& p) {
        std::array<int, 3> bin{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const int number = static_cast<int>((p[axis] - lower[axis]) / width[axis]);
            bin[axis] = std::min(std::max(number, 0), bins[axis] - 1);
        }
        return bin;
    };
    const auto indexOf = [&](int bx, int by, int bz) {
        return static_cast<std::size_t>(bx + bins[0] * (by + bins[1] * bz));
    };
    std::vector<NeighborList> table(indexOf(0, 0, bins[2]));
    for (int i = 0; i < geometry.numAtoms; ++i) {
        for (int ia = -images[0]; ia <= images[0]; ++ia) {
            for (int ib = -images[1]; ib <= images[1]; ++ib) {
                for (int ic = -images[2]; ic <= images[2]; ++ic) {
                    const Neighbor record{i, ia, ib, ic};
                    const auto p = geometry.computeNeighborPosition(record);
                    bool isInside = true;
                    for (std::size_t axis = 0; axis < 3; ++axis) {
                        isInside = isInside && p[axis] >= lower[axis] && p[axis] <= upper[axis];
                    }
                    if (isInside) {
                        const auto bin = binOf(p);
                        table[indexOf(bin[0], bin[1], bin[2])].push_back(record);
                    }
                }
            }
        }
    }
    std::vector<NeighborList> lists(static_cast<std::size_t>(geometry.numAtoms));
    for (int i = 0; i < geometry.numAtoms; ++i) {
        const auto own = geometry.computeNeighborPosition({i, 0, 0, 0});
        const auto bin = binOf(own);
        for (int x = std::max(bin[0] - 1, 0); x <= std::min(bin[0] + 1, bins[0] - 1); ++x) {
            for (int y = std::max(bin[1] - 1, 0); y <= std::min(bin[1] + 1, bins[1] - 1); ++y) {
                for (int z = std::max(bin[2] - 1, 0); z <= std::min(bin[2] + 1, bins[2] - 1); ++z) {
                    for (const Neighbor& record : table[indexOf(x, y, z)]) {
                        const auto p = geometry.computeNeighborPosition(record);
                        const float dx = p[0] - own[0];
                        const float dy = p[1] - own[1];
                        const float dz = p[2] - own[2];
                        const float r2 = dx * dx + dy * dy + dz * dz;
                        if (r2 < rcut * rcut && !(r2 < 0.010000001f)) {
                            lists[static_cast<std::size_t>(i)].push_back(record);
                        }
                    }
                }
            }
        }
    }
    return lists;
}

} // namespace melta::test
