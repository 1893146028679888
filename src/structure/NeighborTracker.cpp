#include "structure/NeighborTracker.hpp"

#include "structure/Geometry.hpp"

#include <algorithm>
#include <tuple>

namespace melta {
namespace {

bool isBefore(const Image& a, const Image& b) {
    const auto keyOf = [](const Neighbor& n) { return std::tie(n.atom, n.ia, n.ib, n.ic); };
    return keyOf(a.record) < keyOf(b.record);
}

// A little more than the cutoff: a pair right at it may count as neighbours from one end only, as the two
// distances round differently.
float reachOf(float rcut) {
    return rcut * 1.0001f;
}

} // namespace

NeighborTracker::NeighborTracker(Geometry& cell, float rcut)
    : geometry(cell), grid(cell.lattice, cell.invLattice, static_cast<std::size_t>(cell.numAtoms), rcut),
      collector(grid, bins, rcut), squareOfReach(reachOf(rcut) * reachOf(rcut)) {
    geometry.updateNeighbors(rcut);
    const auto numAtoms = static_cast<std::size_t>(geometry.numAtoms);
    bins.images.resize(grid.totalBins());
    places.resize(numAtoms);
    isTouched.assign(numAtoms, 0);
    for (int atom = 0; atom < geometry.numAtoms; ++atom) {
        insertImages(atom);
    }
}

std::span<const int> NeighborTracker::followMove(std::span<const int> movedAtoms) {
    touched.clear();
    for (const int atom : movedAtoms) {
        touchAtomsAround(places[static_cast<std::size_t>(atom)]);
        removeImages(atom);
    }
    for (const int atom : movedAtoms) {
        insertImages(atom);
        touchAtomsAround(places[static_cast<std::size_t>(atom)]);
    }
    renewLists();
    return touched;
}

std::array<float, 3> NeighborTracker::positionOf(int atom) const {
    const std::size_t first = 3 * static_cast<std::size_t>(atom);
    return {geometry.positions[first], geometry.positions[first + 1], geometry.positions[first + 2]};
}

// The only place that computes them, so that an image is removed from where it has been inserted.
void NeighborTracker::findImages(int atom, const std::array<float, 3>& p) {
    found.clear();
    grid.forEachImage(atom, p, [&](std::size_t bin, const Image& image) { found.push_back({bin, image}); });
}

void NeighborTracker::insertImages(int atom) {
    std::array<float, 3>& place = places[static_cast<std::size_t>(atom)];
    place = positionOf(atom);
    findImages(atom, place);
    for (const BinnedImage& entry : found) {
        std::vector<Image>& bin = bins.images[entry.bin];
        bin.insert(std::ranges::upper_bound(bin, entry.image, isBefore), entry.image);
    }
}

void NeighborTracker::removeImages(int atom) {
    findImages(atom, places[static_cast<std::size_t>(atom)]);
    for (const BinnedImage& entry : found) {
        std::erase_if(bins.images[entry.bin], [&](const Image& image) { return image.record.atom == atom; });
    }
}

// An atom has an image of another one as a neighbour if the other one has an image of the first. An atom at
// `p` itself is touched as well.
void NeighborTracker::touchAtomsAround(const std::array<float, 3>& p) {
    grid.forEachBinAround(p, [&](std::size_t bin) {
        for (const Image& image : bins.bin(bin)) {
            const float dx = image.x - p[0];
            const float dy = image.y - p[1];
            const float dz = image.z - p[2];
            if (dx * dx + dy * dy + dz * dz < squareOfReach) {
                touch(image.record.atom);
            }
        }
    });
}

void NeighborTracker::touch(int atom) {
    if (isTouched[static_cast<std::size_t>(atom)] == 0) {
        isTouched[static_cast<std::size_t>(atom)] = 1;
        touched.push_back(atom);
    }
}

void NeighborTracker::renewLists() {
    std::ranges::sort(touched);
    for (const int atom : touched) {
        isTouched[static_cast<std::size_t>(atom)] = 0;
        list.clear();
        collector.append(places[static_cast<std::size_t>(atom)], list);
        geometry.replaceNeighbors(atom, list);
    }
}

} // namespace melta
