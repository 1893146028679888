#pragma once

#include "structure/BinGrid.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melta {

// The position of an atom in positions [numAtoms][3].
inline std::array<float, 3> positionOf(std::span<const float> positions, std::size_t atom) {
    return {positions[3 * atom], positions[3 * atom + 1], positions[3 * atom + 2]};
}

// The images that lie in the box of a grid, bin by bin, in one array.
class BinTable {
public:
    // Takes the images of atoms at `positions` [numAtoms][3], Angstrom, in the place of those before. Each
    // bin has them in the order in which the grid visits them. Keeps its memory.
    void fill(const BinGrid& grid, std::span<const float> positions);

    [[nodiscard]] std::span<const Image> bin(std::size_t index) const {
        return std::span<const Image>(images).subspan(offsets[index], offsets[index + 1] - offsets[index]);
    }

private:
    std::vector<Image> images;
    std::vector<std::uint32_t> offsets; // [totalBins + 1], first image of each bin
};

} // namespace melta
