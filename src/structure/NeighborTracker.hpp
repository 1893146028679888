#pragma once

#include "structure/BinGrid.hpp"
#include "structure/NeighborCollector.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melta {

class Geometry;

// Keeps the neighbour lists of a geometry true while a few of its atoms move at a time. It remembers the
// images of all atoms, bin by bin; a move costs the images of the moved atoms and the lists that they enter,
// leave or move within, however large the cell is. The lists are the same as Geometry::updateNeighbors makes,
// in the same order.
class NeighborTracker {
public:
    // `geometry` is borrowed; gets new lists within `rcut`, Angstrom. Its cell and number of atoms stay, and
    // its atoms move only with followMove. Stops as Geometry::createNeighbors.
    NeighborTracker(Geometry& geometry, float rcut);
    ~NeighborTracker() = default;
    NeighborTracker(const NeighborTracker&) = delete;
    NeighborTracker& operator=(const NeighborTracker&) = delete;
    NeighborTracker(NeighborTracker&&) = delete;
    NeighborTracker& operator=(NeighborTracker&&) = delete;

    // After these atoms, each named once, have got other positions in the geometry, inside the cell: makes
    // the lists new that this changes. The atoms of these lists, ascending, the moved ones among them; valid
    // until the next call.
    std::span<const int> followMove(std::span<const int> movedAtoms);

private:
    // The images in each bin, in the order of atom, ia, ib, ic.
    struct MovingBins {
        std::vector<std::vector<Image>> images; // [totalBins]

        [[nodiscard]] std::span<const Image> bin(std::size_t index) const { return images[index]; }
    };
    struct BinnedImage {
        std::size_t bin;
        Image image;
    };

    [[nodiscard]] std::array<float, 3> positionOf(int atom) const;
    void findImages(int atom, const std::array<float, 3>& p);
    void insertImages(int atom);
    void removeImages(int atom);
    void touchAtomsAround(const std::array<float, 3>& p);
    void touch(int atom);
    void renewLists();

    Geometry& geometry;
    BinGrid grid;
    MovingBins bins;
    NeighborCollector<MovingBins> collector;
    float squareOfReach;                      // Angstrom^2
    std::vector<std::array<float, 3>> places; // [numAtoms], where the bins have the atoms, Angstrom
    std::vector<std::uint8_t> isTouched;      // [numAtoms]
    std::vector<int> touched;                 // atoms whose lists change
    std::vector<BinnedImage> found;           // scratch
    std::vector<Neighbor> list;               // scratch
};

} // namespace melta
