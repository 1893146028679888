#include "structure/GeometrySetReader.hpp"

#include "base/Reporting.hpp"
#include "structure/ElementSymbols.hpp"
#include "structure/GeometrySet.hpp"
#include "structure/Units.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace melta {
namespace {

std::array<float, 3> timesFactor(const std::array<float, 3>& v, float factor) {
    return {v[0] * factor, v[1] * factor, v[2] * factor};
}

float lengthOf(const std::array<float, 3>& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// What leaves no symbol stays as it is, so that a message can name it.
void reduceLabel(std::string& label) {
    std::string symbol = label;
    regularizeElement(symbol);
    if (!symbol.empty()) {
        label = std::move(symbol);
    }
}

} // namespace

GeometrySetReader::GeometrySetReader(const GeometrySet& owner, const std::string& name, bool takesCharge,
                                     bool takesFirst)
    : set(&owner), fileName(name), withCharge(takesCharge), isFirstOnly(takesFirst), file(name),
      table(owner.trainingSet, name) {}

void GeometrySetReader::read() {
    bool isAtEnd = false;
    while (!isAtEnd) {
        isAtEnd = !readBlock() || isFirstOnly;
    }
    if (geometries.empty()) {
        stopWithMessage("there are no geometries: %s", fileName.c_str());
    }
    table.checkCounts();
    if (!isFirstOnly && file.hasRest()) {
        restBehind = lastBlock;
    }
}

void GeometrySetReader::moveTo(GeometrySet& target) {
    table.moveTo(target);
    target.geometries = std::move(geometries);
    target.numGeoms = static_cast<int>(target.geometries.size());
    target.numRejected = numRejected;
    target.warnings = {{}, {}, restBehind};
}

bool GeometrySetReader::readBlock() {
    GeometryHead head;
    if (!file.readHead(head, currentGeometry())) {
        return false;
    }
    lastBlock = currentGeometry();
    std::array<float, 9> lattice = file.readLattice(currentGeometry());
    for (float& component : lattice) {
        component *= units::bohr;
    }
    readAtoms(head);
    const bool isFiltered = !isFirstOnly && set->maxForce > 0.0f;
    if (isFiltered && set->maxForce < largestForce * units::rydbergPerBohr) {
        refuseBlock();
    } else {
        acceptBlock(head, lattice);
    }
    return true;
}

void GeometrySetReader::readAtoms(const GeometryHead& head) {
    atoms.clear();
    total = head.total;
    largestForce = 0.0f;
    AtomLine line;
    for (int iatom = 0; iatom < head.numAtoms; ++iatom) {
        file.readAtom(line, iatom, currentGeometry());
        if (set->regularElem) {
            reduceLabel(line.label);
        }
        addAtom(head, line);
    }
}

void GeometrySetReader::addAtom(const GeometryHead& head, const AtomLine& line) {
    const int kind = table.addAtom(line.label);
    largestForce = std::max(largestForce, lengthOf(line.force));
    double energy = line.energy;
    std::array<float, 3> force = line.force;
    if (!head.hasTotal) {
        total += energy;
    }
    if (withCharge) {
        energy -= line.coulombEnergy;
        total -= line.coulombEnergy;
        for (std::size_t c = 0; c < 3; ++c) {
            force[c] -= line.coulombForce[c];
        }
    }
    atoms.push_back({kind, timesFactor(line.position, units::bohr), timesFactor(force, units::rydbergPerBohr),
                     energy * units::rydbergOfAtoms, line.charge});
}

// Only for a block that is kept: what is refused for its forces may have infinite ones.
void GeometrySetReader::checkAtoms() const {
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        const std::array<float, 3>& force = atoms[i].force;
        if (!std::isfinite(force[0]) || !std::isfinite(force[1]) || !std::isfinite(force[2]) ||
            !std::isfinite(atoms[i].energy)) {
            file.stopAtNumbersOfAtom(static_cast<int>(i), currentGeometry());
        }
    }
    if (!std::isfinite(total * units::rydbergOfTotal)) {
        file.stopAtTotal(currentGeometry());
    }
}

void GeometrySetReader::acceptBlock(const GeometryHead& head, const std::array<float, 9>& lattice) {
    checkAtoms();
    auto geometry = std::make_unique<Geometry>(lattice, head.numAtoms, head.hasAtomEnergy);
    for (int iatom = 0; iatom < head.numAtoms; ++iatom) {
        const Atom& atom = atoms[static_cast<std::size_t>(iatom)];
        geometry->setAtom(iatom, atom.kind, table.atomNumberOf(atom.kind), atom.position[0], atom.position[1],
                          atom.position[2], atom.force[0], atom.force[1], atom.force[2], atom.energy,
                          atom.charge);
    }
    geometry->energyTotal = total * units::rydbergOfTotal;
    geometries.push_back(std::move(geometry));
}

void GeometrySetReader::refuseBlock() {
    for (const Atom& atom : atoms) {
        table.removeAtom(atom.kind);
    }
    ++numRejected;
}

} // namespace melta
