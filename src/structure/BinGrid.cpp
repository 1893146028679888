#include "structure/BinGrid.hpp"

#include "base/Reporting.hpp"
#include "structure/NeighborSearch.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

// Distance between the two faces of the cell that the vectors other than `axis` span, Angstrom.
float projectedLength(std::span<const float, 9> invLattice, std::size_t axis) {
    const float x = invLattice[axis];
    const float y = invLattice[3 + axis];
    const float z = invLattice[6 + axis];
    const float square = x * x + y * y + z * z;
    if (!(square > 0.0f)) {
        stopWithMessage("projected lattice length is incorrect.");
    }
    // One Newton step evens out how the machine rounds the root and the quotient.
    const float estimate = 1.0f / std::sqrt(square);
    return -0.5f * estimate * (square * estimate * estimate - 3.0f);
}

// Numbers of images on either side, as floats: they come out huge, or no numbers, for absurd cells.
std::array<float, 3> measureImages(std::span<const float, 9> invLattice, float rcut) {
    std::array<float, 3> counts{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        counts[axis] = std::ceil(rcut / projectedLength(invLattice, axis));
    }
    return counts;
}

} // namespace

BinGrid::BinGrid(std::span<const float, 9> lattice, std::span<const float, 9> invLattice,
                 std::size_t numAtoms, float rcut) {
    if (!(rcut > 0.0f)) {
        stopWithMessage("cutoff radius is not positive for detecting neighbors.");
    }
    const std::array<float, 3> counts = measureImages(invLattice, rcut);
    std::ranges::copy(lattice, cell.begin());
    lower.fill(-rcut);
    upper.fill(rcut);
    for (std::size_t i = 0; i < 9; ++i) {
        (lattice[i] > 0.0f ? upper : lower)[i % 3] += lattice[i];
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const float count = (upper[axis] - lower[axis]) / rcut;
        if (!(count >= 1.0f)) {
            stopWithMessage("%c-dimension of binning table is not positive.", "xyz"[axis]);
        }
        divide(axis, count);
    }
    setImages(counts, numAtoms);
}

BinGrid::BinGrid(const std::array<float, 3>& lowest, const std::array<float, 3>& highest, float rcut)
    : lower(lowest), upper(highest) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        divide(axis, std::max(1.0f, (upper[axis] - lower[axis]) / rcut));
    }
}

// Cuts the box along an axis into the whole number of bins below `count`, which is at least 1.
void BinGrid::divide(std::size_t axis, float count) {
    if (!(count <= static_cast<float>(maxSearchBins / total))) {
        stopWithMessage("too many bins for detecting neighbors.");
    }
    numBins[axis] = static_cast<int>(count);
    total *= static_cast<std::size_t>(numBins[axis]);
    width[axis] = (upper[axis] - lower[axis]) / static_cast<float>(numBins[axis]);
}

// Takes the numbers of images, unless all images of all atoms together are too many.
void BinGrid::setImages(const std::array<float, 3>& counts, std::size_t numAtoms) {
    double totalImages = static_cast<double>(numAtoms);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        totalImages *= 2.0 * static_cast<double>(counts[axis]) + 1.0;
        if (!(totalImages <= static_cast<double>(maxSearchImages))) {
            stopWithMessage("too many periodic images for detecting neighbors.");
        }
        numImages[axis] = static_cast<int>(counts[axis]);
    }
}

} // namespace melta
