#include "structure/io/DataFile.hpp"

#include "base/ReplacementJournal.hpp"
#include "base/Reporting.hpp"
#include "structure/Units.hpp"
#include "structure/io/StructureFaults.hpp"
#include "structure/io/StructureFormats.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>

namespace melta {
namespace {

using Vector = std::array<float, 3>;

bool isFinite(std::span<const float> numbers) {
    return std::ranges::all_of(numbers, [](float number) { return std::isfinite(number); });
}

float lengthOf(const Vector& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// The products are taken in single precision.
std::array<double, 3> timesFactor(const Vector& v, float factor) {
    const auto product = [factor](float x) { return static_cast<double>(x * factor); };
    return {product(v[0]), product(v[1]), product(v[2])};
}

// After a splitting of the data that a kill has cut short, once that is finished.
FilePointer openData(const std::string& fileName) {
    finishReplacement(fileName);
    return openForReading(fileName);
}

void writeNumbers(std::FILE* file, std::span<const double> numbers, double unit) {
    for (const double number : numbers) {
        std::fprintf(file, " %.15g", number / unit);
    }
}

// Three lengths in Angstrom, in Bohr. The quotient is taken in single precision.
void writeVector(std::FILE* file, std::span<const float> vector) {
    std::fprintf(file, "%.8e %.8e %.8e", static_cast<double>(vector[0] / units::bohr),
                 static_cast<double>(vector[1] / units::bohr), static_cast<double>(vector[2] / units::bohr));
}

} // namespace

std::unique_ptr<StructureSource> openDataFile(const std::string& fileName, bool withCharge) {
    return std::make_unique<DataFileReader>(fileName, withCharge);
}

DataFileReader::DataFileReader(const std::string& name, bool takesCharge)
    : fileName(name), withCharge(takesCharge), reader(openData(name), name) {
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
}

bool DataFileReader::next(Structure& structure, int igeom, const LabelNumbering& numberOf) {
    if (!readHead(igeom)) {
        return false;
    }
    const std::array<float, 9> lattice = readLattice(igeom);
    std::ranges::copy(lattice, structure.lattice.begin());
    structure.hasAtomEnergy = head.hasAtomEnergy;
    structure.stress = head.stress;
    // Collected one by one: the head's number of them is only a claim.
    structure.atoms.clear();
    largestForce = 0.0f;
    for (int iatom = 0; iatom < head.numAtoms; ++iatom) {
        readAtom(iatom, igeom);
        addAtom(structure, numberOf(line.label));
    }
    structure.energyTotal = head.total * units::rydbergOfTotal;
    structure.largestForce = largestForce * units::rydbergPerBohr;
    return true;
}

bool DataFileReader::readHead(int igeom) {
    head = Head{};
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
    head.numAtoms = requireNumAtoms(numAtoms, igeom, fileName);
    if (!std::isfinite(head.total)) {
        stopAtTotal(igeom, fileName);
    }
    if (head.hasTotal) {
        readStress(fields, igeom);
    }
    return true;
}

// Anything else than six numbers behind the total is a remark, which this line may always have had.
void DataFileReader::readStress(FieldScanner& fields, int igeom) {
    std::array<double, 6> stress{};
    if (!std::ranges::all_of(stress, [&](double& component) { return fields.readDouble(component); })) {
        return;
    }
    if (!std::ranges::all_of(stress, [](double component) { return std::isfinite(component); })) {
        stopAtStress(igeom, fileName);
    }
    if (!withCharge) {
        std::ranges::transform(stress, stress.begin(),
                               [](double component) { return component * units::rydbergPerCubicBohr; });
        head.stress = stress;
    }
}

std::array<float, 9> DataFileReader::readLattice(int igeom) {
    std::array<float, 9> lattice{};
    for (std::size_t row = 0; row < 3; ++row) {
        const auto vector = std::span(lattice).subspan(3 * row, 3);
        nextLine();
        if (!FieldScanner(reader.line()).readFloats(vector)) {
            stopWithMessage("cannot read lattice of the %d -th geometry: %s", igeom, fileName.c_str());
        }
        if (!isFinite(vector)) {
            stopWithMessage("NaN at the lattice of the %d -th geometry: %s", igeom, fileName.c_str());
        }
    }
    for (float& component : lattice) {
        component *= units::bohr;
    }
    return lattice;
}

void DataFileReader::readAtom(int iatom, int igeom) {
    nextLine();
    FieldScanner fields(reader.line());
    const bool isComplete = fields.readWord(line.label) && fields.readFloats(line.position) &&
                            fields.readDouble(line.energy) && fields.readFloats(line.force) &&
                            fields.readFloat(line.charge) && fields.readDouble(line.coulombEnergy) &&
                            fields.readFloats(line.coulombForce);
    if (!isComplete) {
        stopWithMessage("cannot read the %d -th atom of the %d -th geometry: %s", iatom, igeom,
                        fileName.c_str());
    }
    const bool areFinite = isFinite(line.position) && std::isfinite(line.energy) && isFinite(line.force) &&
                           std::isfinite(line.charge) && std::isfinite(line.coulombEnergy) &&
                           isFinite(line.coulombForce);
    if (!areFinite) {
        stopAtNumbersOfAtom(iatom, igeom, fileName);
    }
}

// The shares are subtracted in the units of the file, and the sums taken there.
void DataFileReader::addAtom(Structure& structure, int kind) {
    largestForce = std::max(largestForce, lengthOf(line.force));
    double energy = line.energy;
    Vector force = line.force;
    if (!head.hasTotal) {
        head.total += energy;
    }
    if (withCharge) {
        energy -= line.coulombEnergy;
        head.total -= line.coulombEnergy;
        for (std::size_t c = 0; c < 3; ++c) {
            force[c] -= line.coulombForce[c];
        }
    }
    structure.atoms.push_back({kind, timesFactor(line.position, units::bohr),
                               timesFactor(force, units::rydbergPerBohr), energy * units::rydbergOfAtoms,
                               static_cast<double>(line.charge)});
}

bool DataFileReader::hasRest() {
    const auto isBlank = [](unsigned char character) { return std::isspace(character) != 0; };
    return !std::ranges::all_of(reader.line(), isBlank) || reader.hasMoreText();
}

void DataFileReader::nextLine() {
    if (!reader.next()) {
        stopWithMessage("too less lines: %s", fileName.c_str());
    }
}

void writeBareStructure(std::FILE* file, std::span<const float> lattice, std::span<const std::string> labels,
                        std::span<const float> positions) {
    std::fprintf(file, "%zu %d %.8e\n", labels.size(), 0, 0.0);
    for (std::size_t row = 0; row < 3; ++row) {
        writeVector(file, lattice.subspan(3 * row, 3));
        std::fputs("\n", file);
    }
    for (std::size_t i = 0; i < labels.size(); ++i) {
        std::fprintf(file, "%s ", labels[i].c_str());
        writeVector(file, positions.subspan(3 * i, 3));
        std::fputs(" 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0\n", file);
    }
}

void writeStructure(std::FILE* file, const Structure& structure, std::span<const std::string> labels) {
    constexpr auto bohr = static_cast<double>(units::bohr);
    std::fprintf(file, "%zu %d %.15g", structure.atoms.size(), structure.hasAtomEnergy ? 1 : 0,
                 structure.energyTotal / units::rydbergOfTotal);
    if (structure.stress) {
        writeNumbers(file, *structure.stress, units::rydbergPerCubicBohr);
    }
    for (std::size_t row = 0; row < 3; ++row) {
        const auto vector = std::span(structure.lattice).subspan(3 * row, 3);
        std::fprintf(file, "\n%.15g", vector[0] / bohr);
        writeNumbers(file, vector.subspan(1), bohr);
    }
    for (const StructureAtom& atom : structure.atoms) {
        std::fprintf(file, "\n%s", labels[static_cast<std::size_t>(atom.kind)].c_str());
        writeNumbers(file, atom.position, bohr);
        writeNumbers(file, {&atom.energy, 1}, units::rydbergOfAtoms);
        writeNumbers(file, atom.force, static_cast<double>(units::rydbergPerBohr));
        std::fprintf(file, " %.15g 0 0 0 0", atom.charge);
    }
    std::fputs("\n", file);
}

bool isWritableLength(float length) {
    // Bohr is the shorter unit, and its numbers the larger ones.
    return std::isfinite(length / units::bohr);
}

} // namespace melta
