#pragma once

#include "structure/Neighbor.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace melta {

// A periodic image of an atom: who it is and where. The place is kept so that a pair costs one distance and
// no more.
struct Image {
    float x, y, z; // Angstrom
    Neighbor record;
};

// The division of space for a neighbour search: the box around the cell, wider by the cutoff on all sides,
// cut into bins that are at least as wide as the cutoff, and the images that have to be looked at.
class BinGrid {
public:
    // `lattice`, `invLattice` [3][3], Angstrom and 1/Angstrom; `rcut` in Angstrom. Stops as
    // Geometry::createNeighbors, but for the number of neighbours.
    BinGrid(std::span<const float, 9> lattice, std::span<const float, 9> invLattice, std::size_t numAtoms,
            float rcut);

    // For atoms without images: the box from `lowest` to `highest` (Angstrom), where they all are. Stops with
    // "too many bins for detecting neighbors.".
    BinGrid(const std::array<float, 3>& lowest, const std::array<float, 3>& highest, float rcut);

    // Whether a position, Angstrom, lies in the box.
    [[nodiscard]] bool contains(const std::array<float, 3>& p) const {
        return lower[0] <= p[0] && p[0] <= upper[0] && lower[1] <= p[1] && p[1] <= upper[1] &&
               lower[2] <= p[2] && p[2] <= upper[2];
    }

    // Bin of a coordinate along an axis, limited to the first and the last one, wherever the coordinate lies.
    [[nodiscard]] int binAlong(std::size_t axis, float coordinate) const {
        const float bin = (coordinate - lower[axis]) / width[axis];
        if (!(bin > 0.0f)) {
            return 0;
        }
        return bin < static_cast<float>(numBins[axis]) ? static_cast<int>(bin) : numBins[axis] - 1;
    }

    [[nodiscard]] std::size_t indexOf(const std::array<float, 3>& p) const {
        return indexOf(binAlong(0, p[0]), binAlong(1, p[1]), binAlong(2, p[2]));
    }

    [[nodiscard]] std::size_t totalBins() const { return total; }

    // Calls visit(bin) for the bins around that of a position, its own among them, in the order of x, y, z
    // (the last the fastest). They hold all images nearer than the cutoff.
    template <class Visit>
    void forEachBinAround(const std::array<float, 3>& p, const Visit& visit) const {
        const std::array<int, 3> own{binAlong(0, p[0]), binAlong(1, p[1]), binAlong(2, p[2])};
        for (int x = first(own, 0); x <= last(own, 0); ++x) {
            for (int y = first(own, 1); y <= last(own, 1); ++y) {
                for (int z = first(own, 2); z <= last(own, 2); ++z) {
                    visit(indexOf(x, y, z));
                }
            }
        }
    }

    // Calls visit(bin, image) for the images of atom `atom` at `p` that lie in the box, in the order of ia,
    // ib, ic (the last the fastest).
    template <class Visit>
    void forEachImage(std::int32_t atom, const std::array<float, 3>& p, const Visit& visit) const {
        for (int ia = -numImages[0]; ia <= numImages[0]; ++ia) {
            const auto pa = shifted(p, ia, 0);
            for (int ib = -numImages[1]; ib <= numImages[1]; ++ib) {
                const auto pb = shifted(pa, ib, 1);
                for (int ic = -numImages[2]; ic <= numImages[2]; ++ic) {
                    const auto pc = shifted(pb, ic, 2);
                    if (contains(pc)) {
                        visit(indexOf(pc), Image{pc[0], pc[1], pc[2], Neighbor{atom, ia, ib, ic}});
                    }
                }
            }
        }
    }

private:
    void divide(std::size_t axis, float count);
    void setImages(const std::array<float, 3>& counts, std::size_t numAtoms);

    [[nodiscard]] std::size_t indexOf(int bx, int by, int bz) const {
        const auto numX = static_cast<std::size_t>(numBins[0]);
        const auto numY = static_cast<std::size_t>(numBins[1]);
        return static_cast<std::size_t>(bx) +
               numX * (static_cast<std::size_t>(by) + numY * static_cast<std::size_t>(bz));
    }
    [[nodiscard]] static int first(const std::array<int, 3>& own, std::size_t axis) {
        return own[axis] > 0 ? own[axis] - 1 : 0;
    }
    [[nodiscard]] int last(const std::array<int, 3>& own, std::size_t axis) const {
        return own[axis] + 1 < numBins[axis] ? own[axis] + 1 : numBins[axis] - 1;
    }

    // A shift by no vectors adds zeros, which leave a coordinate as it is.
    [[nodiscard]] std::array<float, 3> shifted(const std::array<float, 3>& p, int count,
                                               std::size_t row) const {
        const auto times = static_cast<float>(count);
        return {p[0] + times * cell[3 * row], p[1] + times * cell[3 * row + 1],
                p[2] + times * cell[3 * row + 2]};
    }

    std::array<float, 9> cell{};    // [3][3], Angstrom
    std::array<float, 3> lower{};   // Angstrom
    std::array<float, 3> upper{};   // Angstrom
    std::array<float, 3> width{};   // of a bin, Angstrom
    std::array<int, 3> numBins{};   //
    std::array<int, 3> numImages{}; // on either side
    std::size_t total = 1;
};

} // namespace melta
