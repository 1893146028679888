#pragma once

#include "structure/io/ExtxyzReader.hpp"
#include "structure/io/StructureSource.hpp"

#include <string>
#include <vector>

namespace melta {

// Structures of an extended XYZ file. The energy is "free_energy", the one that forces belong to, or else
// "energy"; forces are the column "forces" or "force", atomic energies "energies", charges "charges",
// "charge" or "initial_charges". The stress is "stress" or minus "virial" over the volume, nine or six (xx,
// yy, zz, yz, xz, xy) numbers, and is taken where all directions are periodic. Directions that are not get a
// cell vector that leaves 12 Angstrom between images. Frames without energy or forces are passed over.
class ExtxyzSource final : public StructureSource {
public:
    // Stops with "cannot open file: %s".
    explicit ExtxyzSource(const std::string& fileName);

    // Labels have to be those of elements and of at most eight characters. Stops as ExtxyzReader, also for
    // values that are no numbers.
    [[nodiscard]] bool next(Structure& structure, int igeom, const LabelNumbering& numberOf) override;

    // The format has no end but that of the file.
    [[nodiscard]] bool hasRest() override { return false; }

    // Frames that were passed over so far.
    [[nodiscard]] int getNumPassed() const { return numPassed; }

private:
    [[nodiscard]] bool readWithValues(int igeom);
    void readEnergy(Structure& structure) const;
    void readStress(Structure& structure) const;
    [[nodiscard]] std::vector<double> tensorOf(const std::string& value, const char* fault) const;
    void addAtom(Structure& structure, std::size_t atom, const LabelNumbering& numberOf) const;

    ExtxyzReader reader;
    ExtxyzFrame frame;
    int numPassed = 0;
};

} // namespace melta
