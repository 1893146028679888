#include "baseline/reax/ReaxShell.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

// Whether the pair of an atom and an entry of its list is met from this end.
bool isMetHere(int iatom, const Neighbor& neighbor) {
    if (neighbor.atom != iatom) [[likely]] {
        return neighbor.atom > iatom;
    }
    if (neighbor.ia != 0) {
        return neighbor.ia > 0;
    }
    return neighbor.ib != 0 ? neighbor.ib > 0 : neighbor.ic > 0;
}

std::size_t padded(std::size_t size) {
    return (size + reaxVdwPadding - 1) / reaxVdwPadding * reaxVdwPadding;
}

} // namespace

void ReaxShellBuilder::start(const NeighborStore& listsOfAtoms, std::span<const float, 9> cell,
                             std::span<const int> typesOfAtoms, int numTypes,
                             std::span<const double> places) {
    lists = &listsOfAtoms;
    types = typesOfAtoms;
    positions = places;
    std::ranges::copy(cell, lattice.begin());
    cursors.resize(static_cast<std::size_t>(numTypes));
    presentTypes.assign(types.begin(), types.end());
    std::sort(presentTypes.begin(), presentTypes.end());
    presentTypes.erase(std::unique(presentTypes.begin(), presentTypes.end()), presentTypes.end());
}

const ReaxShell& ReaxShellBuilder::create(int iatom, double rcut) {
    shell.iatom = iatom;
    shell.type = types[static_cast<std::size_t>(iatom)];
    selectPairs(iatom);
    placePairs(iatom, rcut);
    closeRuns();
    return shell;
}

void ReaxShellBuilder::selectPairs(int iatom) {
    const std::span<const Neighbor> list = (*lists)[static_cast<std::size_t>(iatom)];
    if (pairs.size() < list.size()) {
        pairs.resize(list.size());
    }
    // Every entry is written and only one that is met here is kept: about every other is, which no branch
    // predicts.
    numPairs = 0;
    for (const Neighbor& neighbor : list) {
        pairs[numPairs] = neighbor;
        numPairs += isMetHere(iatom, neighbor) ? 1 : 0;
    }
}

// Each type has room for all pairs, so that they find their places in one pass.
void ReaxShellBuilder::placePairs(int iatom, double rcut) {
    const std::size_t room = padded(numPairs + 1);
    shell.size = room * presentTypes.size();
    reserve(shell.size);
    std::size_t place = 0;
    for (const int type : presentTypes) {
        cursors[static_cast<std::size_t>(type)] = place;
        place += room;
    }
    const double* const p = positions.data() + 3 * static_cast<std::size_t>(iatom);
    const double* const a = lattice.data();
    for (const Neighbor& neighbor : std::span<const Neighbor>(pairs).first(numPairs)) {
        const auto j = static_cast<std::size_t>(neighbor.atom);
        const double* const q = positions.data() + 3 * j;
        const double dx = q[0] - p[0] + neighbor.ia * a[0] + neighbor.ib * a[3] + neighbor.ic * a[6];
        const double dy = q[1] - p[1] + neighbor.ia * a[1] + neighbor.ib * a[4] + neighbor.ic * a[7];
        const double dz = q[2] - p[2] + neighbor.ia * a[2] + neighbor.ib * a[5] + neighbor.ic * a[8];
        const double square = dx * dx + dy * dy + dz * dz;
        std::size_t& n = cursors[static_cast<std::size_t>(types[j])];
        shell.dx[n] = dx;
        shell.dy[n] = dy;
        shell.dz[n] = dz;
        shell.r[n] = std::sqrt(square);
        shell.atom[n] = neighbor.atom;
        n += square < rcut * rcut ? 1 : 0;
    }
}

void ReaxShellBuilder::closeRuns() {
    shell.runs.clear();
    const std::size_t room = padded(numPairs + 1);
    std::size_t begin = 0;
    for (const int type : presentTypes) {
        const std::size_t end = cursors[static_cast<std::size_t>(type)];
        if (end > begin) {
            shell.runs.push_back({type, begin, end});
            std::fill(shell.r.data() + end, shell.r.data() + padded(end), 1.0);
        }
        begin += room;
    }
}

void ReaxShellBuilder::reserve(std::size_t size) {
    shell.dx.reserve(size);
    shell.dy.reserve(size);
    shell.dz.reserve(size);
    shell.r.reserve(size);
    if (shell.atom.size() < size) {
        shell.atom.resize(size);
    }
}

} // namespace melta
