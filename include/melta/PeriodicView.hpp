// Neighbour lists for a periodic cell, for hosts that have none of their own.
#pragma once

#include "melta/Export.hpp"
#include "melta/NeighborView.hpp"

#include <array>
#include <memory>
#include <span>
#include <vector>

namespace melta {

// A NeighborView of a periodic cell: the atoms of the cell are local, the images that stand in their lists
// are ghosts. Cells may be smaller than the distance that lists reach to; an atom then meets its own images.
class MELTA_API PeriodicView {
public:
    // cell [3][3]: row k is cell vector k, Angstrom. positions [n][3], Cartesian, Angstrom, inside the cell
    // or not. elements [n], as NeighborView::elements has them. Lists hold the neighbours nearer than `reach`
    // (Angstrom): Potential::cutoff, or Potential::influenceDistance where that is larger. Throws Error for
    // arrays of other lengths, without atoms, and for a cell or reach that is not usable.
    PeriodicView(std::span<const double> cell, std::span<const double> positions,
                 std::span<const int> elements, double reach);

    ~PeriodicView() = default;
    PeriodicView(const PeriodicView&) = delete;
    PeriodicView& operator=(const PeriodicView&) = delete;
    PeriodicView(PeriodicView&&) = default;
    PeriodicView& operator=(PeriodicView&&) = default;

    // Valid as long as this object; it moves with it.
    [[nodiscard]] const NeighborView& view() const { return neighborView; }

    // The atom of the cell that each atom of the view is or is an image of, [numAtoms of the view].
    [[nodiscard]] const std::vector<int>& owners() const { return ownerOf; }

    // Adds up the rows of three numbers of each atom and its images: rows [numAtoms of the view][3] to sums
    // [n][3], overwritten. Turns Evaluation::forces into the forces on the atoms of the cell. Throws Error
    // for arrays of other lengths.
    void fold(std::span<const double> rows, std::span<double> sums) const;

private:
    std::vector<double> places;    // [numAtoms of the view][3]
    std::vector<int> elementOf;    // [numAtoms of the view]
    std::vector<int> ownerOf;      // [numAtoms of the view]
    std::vector<int> entries;      // all lists behind each other
    std::vector<const int*> lists; // [n]
    std::vector<int> lengths;      // [n]
    NeighborView neighborView;
};

} // namespace melta
