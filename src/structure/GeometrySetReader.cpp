#include "structure/GeometrySetReader.hpp"

#include "base/Reporting.hpp"
#include "structure/ElementSymbols.hpp"
#include "structure/GeometrySet.hpp"
#include "structure/io/StructureFaults.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace melta {
namespace {

// What leaves no symbol stays as it is, so that a message can name it.
std::string reduceLabel(const std::string& label) {
    std::string symbol = label;
    regularizeElement(symbol);
    return symbol.empty() ? label : symbol;
}

template <std::size_t length>
std::array<float, length> toSingle(const std::array<double, length>& numbers) {
    std::array<float, length> converted{};
    std::ranges::transform(numbers, converted.begin(), [](double x) { return static_cast<float>(x); });
    return converted;
}

} // namespace

GeometrySetReader::GeometrySetReader(const GeometrySet& owner, StructureSource& structures,
                                     const std::string& name, bool takesFirst)
    : set(&owner), source(&structures), fileName(name), isFirstOnly(takesFirst),
      table(owner.trainingSet, name) {}

void GeometrySetReader::read() {
    bool isAtEnd = false;
    while (!isAtEnd) {
        isAtEnd = !readStructure() || isFirstOnly;
    }
    if (geometries.empty()) {
        stopWithMessage("there are no geometries: %s", fileName.c_str());
    }
    table.checkCounts();
    if (!isFirstOnly && source->hasRest()) {
        restBehind = lastGeometry;
    }
}

void GeometrySetReader::moveTo(GeometrySet& target) {
    table.moveTo(target);
    target.geometries = std::move(geometries);
    target.numGeoms = static_cast<int>(target.geometries.size());
    target.numRejected = numRejected;
    target.warnings = {{}, {}, restBehind};
}

bool GeometrySetReader::readStructure() {
    const auto numberOf = [this](const std::string& label) { return countAtom(label); };
    if (!source->next(structure, currentGeometry(), numberOf)) {
        return false;
    }
    lastGeometry = currentGeometry();
    if (isRefused()) {
        refuse();
    } else {
        accept();
    }
    return true;
}

int GeometrySetReader::countAtom(const std::string& label) {
    return set->regularElem ? table.addAtom(reduceLabel(label)) : table.addAtom(label);
}

bool GeometrySetReader::isRefused() const {
    return !isFirstOnly && set->maxForce > 0.0f && set->maxForce < structure.largestForce;
}

// Only for a structure that is kept: what is refused for its forces may have infinite ones.
void GeometrySetReader::checkNumbers() const {
    for (std::size_t i = 0; i < structure.atoms.size(); ++i) {
        const StructureAtom& atom = structure.atoms[i];
        const auto isFinite = [](float component) { return std::isfinite(component); };
        if (!std::ranges::all_of(toSingle(atom.force), isFinite) || !std::isfinite(atom.energy)) {
            stopAtNumbersOfAtom(static_cast<int>(i), currentGeometry(), fileName);
        }
    }
    if (!std::isfinite(structure.energyTotal)) {
        stopAtTotal(currentGeometry(), fileName);
    }
}

void GeometrySetReader::accept() {
    checkNumbers();
    const auto numAtoms = static_cast<int>(structure.atoms.size());
    auto geometry =
        std::make_unique<Geometry>(toSingle(structure.lattice), numAtoms, structure.hasAtomEnergy);
    for (int iatom = 0; iatom < numAtoms; ++iatom) {
        const StructureAtom& atom = structure.atoms[static_cast<std::size_t>(iatom)];
        const auto [x, y, z] = toSingle(atom.position);
        const auto [fx, fy, fz] = toSingle(atom.force);
        geometry->setAtom(iatom, atom.kind, table.atomNumberOf(atom.kind), x, y, z, fx, fy, fz, atom.energy,
                          static_cast<float>(atom.charge));
    }
    geometry->energyTotal = structure.energyTotal;
    takeStress(*geometry);
    geometries.push_back(std::move(geometry));
}

void GeometrySetReader::takeStress(Geometry& geometry) const {
    if (!structure.stress) {
        return;
    }
    const double volume = geometry.computeVolume();
    std::array<float, 6>& target = geometry.stressVolume.emplace();
    std::ranges::transform(*structure.stress, target.begin(),
                           [volume](double stress) { return static_cast<float>(stress * volume); });
    if (!std::ranges::all_of(target, [](float value) { return std::isfinite(value); })) {
        stopAtStress(currentGeometry(), fileName);
    }
}

void GeometrySetReader::refuse() {
    for (const StructureAtom& atom : structure.atoms) {
        table.removeAtom(atom.kind);
    }
    ++numRejected;
}

} // namespace melta
