#pragma once

#include "base/AlignedBuffer.hpp"
#include "baseline/reax/ReaxVdwKernel.hpp"
#include "structure/NeighborStore.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melta {

// The neighbours of one atom within a cutoff, those of one type side by side. Every pair is met once: of its
// two directions a shell holds the one to the atom with the greater index or, between images of one atom, to
// the later image.
//
// Each run begins at a multiple of reaxVdwPadding and is followed, up to the next such multiple, by pairs
// that are computable: at a distance of 1.
struct ReaxShell {
    struct Run {
        int type;
        std::size_t begin;
        std::size_t end;
    };

    int iatom = 0;
    int type = 0;                     // of the atom
    std::vector<Run> runs;            // not empty ones
    std::size_t size = 0;             // length of the arrays, gaps between the runs included
    AlignedBuffer<double> dx, dy, dz; // neighbour minus atom, Angstrom
    AlignedBuffer<double> r;          // Angstrom
    std::vector<std::int32_t> atom;   // index of the neighbour
};

// Makes the shells of a configuration, one after the other, in the same memory.
class ReaxShellBuilder {
public:
    // `lists` of all atoms; `lattice` [3][3], Angstrom, of the cell that the images in them count by;
    // `types` [numAtoms]; `positions` [numAtoms][3], Angstrom. All but the lattice must live while shells are
    // made.
    void start(const NeighborStore& lists, std::span<const float, 9> lattice, std::span<const int> types,
               int numTypes, std::span<const double> positions);

    // The neighbours of an atom nearer than `rcut` (Angstrom). Valid until the next call.
    const ReaxShell& create(int iatom, double rcut);

private:
    void selectPairs(int iatom);
    void placePairs(int iatom, double rcut);
    void closeRuns();
    void reserve(std::size_t size);

    const NeighborStore* lists = nullptr;
    std::span<const int> types;
    std::span<const double> positions;
    std::array<double, 9> lattice{};
    std::vector<Neighbor> pairs;      // entries of the list that belong to the shell of the atom
    std::size_t numPairs = 0;         // how many of them do
    std::vector<int> presentTypes;    // those that some atom has
    std::vector<std::size_t> cursors; // per type, where its next neighbour goes
    ReaxShell shell;
};

} // namespace melta
