#pragma once

#include "base/LineReader.hpp"

#include <array>
#include <string>

namespace melta {

// First line of a block.
struct GeometryHead {
    int numAtoms = 0;
    bool hasAtomEnergy = true; // the atomic energies mean something
    bool hasTotal = false;     // the total energy was given; else it is the sum of the atomic ones
    double total = 0.0;        // Ry
};

// One atom of a block, in the units of the file.
struct AtomLine {
    std::string label;
    std::array<float, 3> position{};     // Bohr
    double energy = 0.0;                 // Ry
    std::array<float, 3> force{};        // Ry/Bohr
    float charge = 0.0f;                 // e
    double coulombEnergy = 0.0;          // Ry, the part of the energy that the charges carry
    std::array<float, 3> coulombForce{}; // Ry/Bohr, the part of the force that the charges carry
};

// The text of a data file, taken line by line: what each line says, without a meaning yet.
//
// A block is a head, "%d %d %lf" (number of atoms, flag of atomic energies, total energy) or the number of
// atoms alone; three lines "%f %f %f" of cell vectors; and for each atom a line of thirteen fields, in the
// order of AtomLine. Blocks follow each other without a separator. Geometries and atoms count from 0 in all
// messages, geometries by those that were accepted before.
class GeometryFile {
public:
    // Stops with "cannot open file: %s".
    explicit GeometryFile(const std::string& fileName);

    // Reads the head of the next block. False at the end of the file and at a line that does not begin with a
    // number. Stops with "#atoms of the %d -th geometry is not positive: %s", "too large #atoms of the %d -th
    // geometry: %s" (beyond 32 bits), "NaN at the total energy of the %d -th geometry: %s" (also for an
    // infinity).
    bool readHead(GeometryHead& head, int igeom);

    // Reads the cell, [3][3] with one vector in each row, Bohr. Stops with "too less lines: %s", "cannot read
    // lattice of the %d -th geometry: %s", "NaN at the lattice of the %d -th geometry: %s".
    [[nodiscard]] std::array<float, 9> readLattice(int igeom);

    // Reads the next atom. Stops with "too less lines: %s", "cannot read the %d -th atom of the %d -th
    // geometry: %s" and as stopAtNumbersOfAtom.
    void readAtom(AtomLine& atom, int iatom, int igeom);

    // After the last block: whether more than blank lines stand behind it.
    [[nodiscard]] bool hasRest();

    // Stops with "NaN at the total energy of the %d -th geometry: %s", and "NaN at the %d -th atom of the %d
    // -th geometry: %s".
    [[noreturn]] void stopAtTotal(int igeom) const;
    [[noreturn]] void stopAtNumbersOfAtom(int iatom, int igeom) const;

private:
    void nextLine();

    std::string fileName;
    LineReader reader;
};

} // namespace melta
