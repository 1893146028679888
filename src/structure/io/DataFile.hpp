// The format of data files: text without a header, a block for each structure, no separator between them.
//
//     n flag total             number of atoms; not 0 if the atomic energies mean something; total energy,
//     Ry.
//                              Or n alone: the atomic energies mean something and add up to the total
//       xx yy zz yz xz xy      behind the total, may be missing: stress, Ry/Bohr^3, positive under tension
//     x y z                    three lines: the cell vectors, Bohr
//     label x y z              a line for each atom: element; position, Bohr;
//       energy fx fy fz        energy, Ry; force, Ry/Bohr;
//       charge                 charge, e;
//       energy fx fy fz        of energy and force the share that the charges carry
#pragma once

#include "base/FieldScanner.hpp"
#include "base/LineReader.hpp"
#include "structure/io/StructureSource.hpp"

#include <array>
#include <cstdio>
#include <optional>
#include <span>
#include <string>

namespace melta {

// Reads a data file. The end is the end of the file or a line that does not begin with a number where a block
// should begin. "%s" is the file; structures and atoms count from 0.
class DataFileReader final : public StructureSource {
public:
    // `withCharge`: the share carried by the charges is taken out of energies and forces; structures then
    // have no stress, whose share the file does not tell. Finishes a replacement of the file that was cut
    // short. Stops with "cannot open file: %s".
    DataFileReader(const std::string& fileName, bool withCharge);

    // Stops as requireNumAtoms, stopAtTotal, stopAtStress and stopAtNumbersOfAtom, with "too less lines: %s",
    // "cannot read lattice of the %d -th geometry: %s", "NaN at the lattice of the %d -th geometry: %s" (also
    // for an infinity), "cannot read the %d -th atom of the %d -th geometry: %s".
    [[nodiscard]] bool next(Structure& structure, int igeom, const LabelNumbering& numberOf) override;

    [[nodiscard]] bool hasRest() override;

private:
    // What has been read of the block, in the units of the file.
    struct Head {
        int numAtoms = 0;
        bool hasAtomEnergy = true;
        bool hasTotal = false;
        double total = 0.0;
        std::optional<std::array<double, 6>> stress;
    };
    struct AtomLine {
        std::string label;
        std::array<float, 3> position{};
        double energy = 0.0;
        std::array<float, 3> force{};
        float charge = 0.0f;
        double coulombEnergy = 0.0;
        std::array<float, 3> coulombForce{};
    };

    bool readHead(int igeom);
    void readStress(FieldScanner& fields, int igeom);
    [[nodiscard]] std::array<float, 9> readLattice(int igeom);
    void readAtom(int iatom, int igeom);
    void addAtom(Structure& structure, int kind);
    void nextLine();

    std::string fileName;
    bool withCharge;
    LineReader reader;
    Head head;
    AtomLine line;
    float largestForce = 0.0f; // Ry/Bohr
};

// Writes a block without reference data: all energies, forces and charges are 0, and the atomic energies mean
// nothing. `lattice` [3][3] and `positions` [atoms][3] in Angstrom; `labels` [atoms]. Failures show at the
// stream.
void writeBareStructure(std::FILE* file, std::span<const float> lattice, std::span<const std::string> labels,
                        std::span<const float> positions);

// Writes a structure with its reference data, in fifteen digits, which keep any decimal number. `labels`:
// those of the kinds. Failures show at the stream.
void writeStructure(std::FILE* file, const Structure& structure, std::span<const std::string> labels);

// Whether a length in Angstrom is finite there and in a data file.
[[nodiscard]] bool isWritableLength(float length);

} // namespace melta
