#include "structure/io/GeometryFile.hpp"

#include "base/FieldScanner.hpp"
#include "base/ReplacementJournal.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace melta {
namespace {

bool readVector(FieldScanner& fields, std::span<float, 3> vector) {
    return fields.readFloat(vector[0]) && fields.readFloat(vector[1]) && fields.readFloat(vector[2]);
}

bool isFinite(std::span<const float, 3> vector) {
    return std::isfinite(vector[0]) && std::isfinite(vector[1]) && std::isfinite(vector[2]);
}

// After a splitting of the data that a kill has cut short, once that is finished.
FilePointer openData(const std::string& fileName) {
    finishReplacement(fileName);
    return openForReading(fileName);
}

} // namespace

GeometryFile::GeometryFile(const std::string& name) : fileName(name), reader(openData(name), name) {
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
}

bool GeometryFile::readHead(GeometryHead& head, int igeom) {
    head = GeometryHead{};
    if (!reader.next()) {
        return false;
    }
    FieldScanner fields(reader.line());
    long long numAtoms = 0;
    if (!fields.readLong(numAtoms)) {
        return false;
    }
    int flag = 0;
    double total = 0.0;
    // A head of two numbers is one of the number of atoms alone: the flag has no meaning without a total.
    if (fields.readInt(flag) && fields.readDouble(total)) {
        head.hasAtomEnergy = flag != 0;
        head.hasTotal = true;
        head.total = total;
    }
    if (numAtoms < 1) {
        stopWithMessage("#atoms of the %d -th geometry is not positive: %s", igeom, fileName.c_str());
    }
    if (numAtoms > std::numeric_limits<int>::max()) {
        stopWithMessage("too large #atoms of the %d -th geometry: %s", igeom, fileName.c_str());
    }
    head.numAtoms = static_cast<int>(numAtoms);
    if (!std::isfinite(head.total)) {
        stopAtTotal(igeom);
    }
    return true;
}

std::array<float, 9> GeometryFile::readLattice(int igeom) {
    std::array<float, 9> lattice{};
    for (std::size_t row = 0; row < 3; ++row) {
        const auto vector = std::span<float>(lattice).subspan(3 * row).first<3>();
        nextLine();
        FieldScanner fields(reader.line());
        if (!readVector(fields, vector)) {
            stopWithMessage("cannot read lattice of the %d -th geometry: %s", igeom, fileName.c_str());
        }
        if (!isFinite(vector)) {
            stopWithMessage("NaN at the lattice of the %d -th geometry: %s", igeom, fileName.c_str());
        }
    }
    return lattice;
}

void GeometryFile::readAtom(AtomLine& atom, int iatom, int igeom) {
    nextLine();
    FieldScanner fields(reader.line());
    const bool isComplete = fields.readWord(atom.label) && readVector(fields, atom.position) &&
                            fields.readDouble(atom.energy) && readVector(fields, atom.force) &&
                            fields.readFloat(atom.charge) && fields.readDouble(atom.coulombEnergy) &&
                            readVector(fields, atom.coulombForce);
    if (!isComplete) {
        stopWithMessage("cannot read the %d -th atom of the %d -th geometry: %s", iatom, igeom,
                        fileName.c_str());
    }
    const bool areFinite = isFinite(atom.position) && std::isfinite(atom.energy) && isFinite(atom.force) &&
                           std::isfinite(atom.charge) && std::isfinite(atom.coulombEnergy) &&
                           isFinite(atom.coulombForce);
    if (!areFinite) {
        stopAtNumbersOfAtom(iatom, igeom);
    }
}

bool GeometryFile::hasRest() {
    const auto isBlank = [](unsigned char character) { return std::isspace(character) != 0; };
    return !std::ranges::all_of(reader.line(), isBlank) || reader.hasMoreText();
}

void GeometryFile::stopAtTotal(int igeom) const {
    stopWithMessage("NaN at the total energy of the %d -th geometry: %s", igeom, fileName.c_str());
}

void GeometryFile::stopAtNumbersOfAtom(int iatom, int igeom) const {
    stopWithMessage("NaN at the %d -th atom of the %d -th geometry: %s", iatom, igeom, fileName.c_str());
}

void GeometryFile::nextLine() {
    if (!reader.next()) {
        stopWithMessage("too less lines: %s", fileName.c_str());
    }
}

} // namespace melta
