// What a host hands over for an evaluation.
#pragma once

#include <cstdint>
#include <span>

namespace melta {

// Atoms and neighbour lists that belong to the host; nothing is copied. The first `numLocal` of `numAtoms`
// atoms are the host's own, whose energies are wanted; the others are ghosts: images, or atoms that belong to
// somebody else, which act on the local ones. There are no periodic boundaries here: each image is a ghost.
//
// All arrays must stay as they are during an evaluation.
struct NeighborView {
    int numAtoms = 0; // local atoms and ghosts
    int numLocal = 0;

    // [numAtoms][3], Cartesian, Angstrom.
    const double* positions = nullptr;

    // [numAtoms], index of the element among those of the potential (Potential::elements), or -1 for an atom
    // that the potential does not know: it has no energy and does not act on others.
    const int* elements = nullptr;

    // The atoms [numLists] that have a neighbour list. Each has to be local, and every local atom whose
    // element is known has to be among them. Null: atom i has list i, for i < numLists.
    const int* atoms = nullptr;
    int numLists = 0;

    // neighbors [numLists] points to the list of each, lengths [numLists] tells how long it is. An entry,
    // after `entryMask` has been applied to it (bitwise and), is an index of an atom. Lists are full: each of
    // two neighbours stands in the list of the other, if that has one. They may reach further than the cutoff
    // of the potential, and must not reach less far.
    const int* const* neighbors = nullptr;
    const int* lengths = nullptr;
    int entryMask = -1;
};

} // namespace melta
