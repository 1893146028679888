#pragma once

#include "structure/Neighbor.hpp"
#include "structure/NeighborStore.hpp"

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace melta {

// One periodic configuration: the cell, its atoms with their reference data, and the neighbours of each atom
// within the cutoff of the run. Lengths are in Angstrom, energies in eV, forces in eV/Angstrom, charges in e.
//
// Per-atom vectors have three components that lie side by side: positions [numAtoms][3], forces
// [numAtoms][3].
//
// Within a neighbour list the order is fixed by the search (see NeighborSearch.hpp): the same input always
// gives the same list. An atom can be its own neighbour through an image, and can meet another atom many
// times.
//
// The operations share their work among threads by atoms. Inside an enclosing parallel region they run
// serially.
class Geometry {
public:
    std::array<float, 9> lattice{};    // [3][3], row k is cell vector k, Angstrom
    std::array<float, 9> invLattice{}; // [3][3], inverse of lattice, 1/Angstrom; valid after haveSetAtoms
    int numAtoms = 0;
    bool hasAtomEnergy = false;            // the source gave atomic energies that mean something
    double energyTotal = 0.0;              // eV
    std::vector<std::int32_t> elements;    // [numAtoms], index into the element table of the set, 0-based
    std::vector<std::int32_t> atomNumbers; // [numAtoms], atomic number
    std::vector<float> positions;          // [numAtoms][3], Cartesian, Angstrom
    std::vector<float> forces;             // [numAtoms][3], reference force, eV/Angstrom
    std::vector<double> energies;          // [numAtoms], reference atomic energy, eV
    std::vector<float> charges;            // [numAtoms], reference atomic charge, e

    // Reference stress times volume, xx, yy, zz, yz, xz, xy, eV, positive under tension: the derivative of
    // the energy by the strain. Null where the source gave none.
    std::optional<std::array<float, 6>> stressVolume;

    // `lattice` [3][3], Angstrom. All atoms start at zero; setAtom fills them.
    // Stops with "lattice is null." without nine numbers, "number of atoms is not positive." if `numAtoms` is
    // below 1.
    Geometry(std::span<const float> lattice, int numAtoms, bool hasAtomEnergy);
    virtual ~Geometry() = default;

    // Large, and never copied on purpose.
    Geometry(const Geometry&) = delete;
    Geometry& operator=(const Geometry&) = delete;
    Geometry(Geometry&&) noexcept = default;
    Geometry& operator=(Geometry&&) noexcept = default;

    // Stores one atom: position in Angstrom, force in eV/Angstrom, energy in eV, charge in e.
    // Stops with "index of atom is out of range." if `index` is not an atom.
    void setAtom(int index, int element, int atomNumber, float x, float y, float z, float fx, float fy,
                 float fz, double energy, float charge);

    // Makes what follows from the atoms, once, after the last setAtom: inverts the cell, wraps the atoms into
    // it, makes the neighbour lists within `rcut` (Angstrom) if that is positive and, `withShortCoulomb`,
    // adds the short-range Coulomb term to the reference data (removeShortCoulomb). Stops with "volume of
    // lattice is zero." if the volume is below 0.1 cubic Angstrom, "inverse of lattice is not finite." if it
    // exceeds single precision, "cannot calculate short-coulomb, because cutoff is not positive." and as
    // createNeighbors.
    void haveSetAtoms(float rcut, bool withShortCoulomb);

    // Volume of the cell, cubic Angstrom.
    [[nodiscard]] double computeVolume() const;

    // Whether haveSetAtoms can invert the cell.
    [[nodiscard]] bool hasUsableLattice() const;

    // After positions were changed: wraps the atoms and makes new lists within `rcut` (Angstrom). Stops as
    // createNeighbors.
    void updateAtoms(float rcut);

    // Takes one atom back into the cell; the lists stay as they are.
    void wrapAtom(int iatom);

    // Makes new lists within `rcut` (Angstrom) without wrapping the atoms. Stops as createNeighbors.
    void updateNeighbors(float rcut);

    // Takes another list for one atom, from who keeps lists true while single atoms move.
    void replaceNeighbors(int iatom, std::span<const Neighbor> list) {
        neighbors.replace(static_cast<std::size_t>(iatom), list);
    }

    // Gives the lists back.
    void deleteNeighbors();

    // Makes the lists of all neighbours nearer than `rcut` and not nearer than 0.1 Angstrom.
    // Stops with "cutoff radius is not positive for detecting neighbors.", "projected lattice length is
    // incorrect.", "x-dimension of binning table is not positive." (y-, z-) for a cell or cutoff that is not
    // usable, and with "too many bins for detecting neighbors.", "too many periodic images for detecting
    // neighbors.", "too many neighbors." for one that would exhaust the memory.
    void createNeighbors(float rcut);

    // Adds to the reference energies, and takes from the reference forces accordingly, half of each pair's
    // Coulomb energy times a cosine cutoff at `rcut` (Angstrom), over the present lists.
    void removeShortCoulomb(float rcut);

    // Whether there are lists.
    [[nodiscard]] bool hasNeighbors() const { return !neighbors.empty(); }

    // The list of one atom; empty without lists. Valid until the lists are made anew.
    [[nodiscard]] std::span<const Neighbor> getNeighbors(int iatom) const {
        assert(iatom >= 0 && iatom < numAtoms);
        return neighbors.empty() ? std::span<const Neighbor>() : neighbors[static_cast<std::size_t>(iatom)];
    }

    // All lists; valid until the lists are made anew.
    [[nodiscard]] const NeighborStore& allNeighbors() const { return neighbors; }

    // Length of the list of one atom.
    [[nodiscard]] int numNeighbors(int iatom) const { return static_cast<int>(getNeighbors(iatom).size()); }

    // Cartesian position of a neighbour, Angstrom.
    [[nodiscard]] std::array<float, 3> computeNeighborPosition(const Neighbor& neighbor) const {
        const std::size_t first = 3 * static_cast<std::size_t>(neighbor.atom);
        std::array<float, 3> position{};
        for (std::size_t c = 0; c < 3; ++c) {
            position[c] = positions[first + c] + static_cast<float>(neighbor.ia) * lattice[c] +
                          static_cast<float>(neighbor.ib) * lattice[3 + c] +
                          static_cast<float>(neighbor.ic) * lattice[6 + c];
        }
        return position;
    }

private:
    void invertLattice();
    void wrapAtoms();

    NeighborStore neighbors; // empty without lists
};

} // namespace melta
