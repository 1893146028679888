#pragma once

#include "structure/ElementTable.hpp"
#include "structure/Geometry.hpp"
#include "structure/io/GeometryFile.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace melta {

class GeometrySet;

// Reads the blocks of a data file into geometries in the units of the system, with the settings of a set: the
// labels become element kinds, and geometries with too large forces are refused. The set itself changes only
// in moveTo, after all went well.
class GeometrySetReader {
public:
    // `withCharge`: the share carried by the charges is taken out of energies and forces. `isFirstOnly`: the
    // first block alone is read, and none is refused. `set` and its training set must outlive the reader.
    // Stops as GeometryFile.
    GeometrySetReader(const GeometrySet& set, const std::string& fileName, bool withCharge, bool isFirstOnly);

    // Reads the file. Stops as GeometryFile and ElementTable, with "NaN at ..." also for a number that leaves
    // its range in the units of the system, and with "there are no geometries: %s" (the file).
    void read();

    // Hands all over to the set.
    void moveTo(GeometrySet& target);

private:
    // An atom in the units of the system.
    struct Atom {
        int kind;
        std::array<float, 3> position; // Angstrom
        std::array<float, 3> force;    // eV/Angstrom
        double energy;                 // eV
        float charge;                  // e
    };

    bool readBlock();
    void readAtoms(const GeometryHead& head);
    void addAtom(const GeometryHead& head, const AtomLine& line);
    void checkAtoms() const;
    void acceptBlock(const GeometryHead& head, const std::array<float, 9>& lattice);
    void refuseBlock();
    [[nodiscard]] int currentGeometry() const { return static_cast<int>(geometries.size()); }

    const GeometrySet* set;
    std::string fileName;
    bool withCharge;
    bool isFirstOnly;
    GeometryFile file;
    ElementTable table;
    std::vector<std::unique_ptr<Geometry>> geometries;
    int numRejected = 0;
    int lastBlock = 0; // number of the block that was read last
    std::optional<int> restBehind;

    // The block being read. Its atoms are collected one by one: the head's number of them is only a claim.
    std::vector<Atom> atoms;
    double total = 0.0;        // Ry
    float largestForce = 0.0f; // of the file's full forces, Ry/Bohr
};

} // namespace melta
