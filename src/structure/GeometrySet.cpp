#include "structure/GeometrySet.hpp"

#include "base/MemoryPurpose.hpp"
#include "base/ParallelGuard.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "config/Property.hpp"
#include "structure/FarEnergies.hpp"
#include "structure/GeometrySetReader.hpp"
#include "structure/NeighborSearch.hpp"
#include "structure/io/StructureFormats.hpp"

#include <algorithm>
#include <numeric>

namespace melta {

void GeometrySet::readGeometrySet(const std::string& ofFile, bool withCharge) {
    readFile(ofFile, withCharge, false);
}

void GeometrySet::readFirstGeometry(const std::string& ofFile, bool withCharge) {
    readFile(ofFile, withCharge, true);
}

void GeometrySet::readFile(const std::string& ofFile, bool withCharge, bool isFirstOnly) {
    flushOut();
    const auto source = openStructures(ofFile, withCharge);
    GeometrySetReader reader(*this, *source, ofFile, isFirstOnly);
    reader.read();
    reader.moveTo(*this);
    fileName = ofFile;
}

void GeometrySet::haveReadGeometrySet(const Property* property, bool withShortCoulomb,
                                      const BaselineRemoval& baselineRemoval, int printMode) {
    if (numGeoms < 1) {
        return;
    }
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
    tellUnusableCell();
    // Neighbouring geometries of a file tend to be of one size; shuffled, they give each thread the same
    // work.
    std::vector<int> order(geometries.size());
    std::iota(order.begin(), order.end(), 0);
    sharedRandom().shuffle(order);
    const float rcut = findLargestCutoff(*property);
    prepareGeometries(order, rcut, withShortCoulomb);
    if (baselineRemoval) {
        baselineRemoval(*this, *property, order);
    }
    updateStatistics();
    const auto lacksAtomEnergy = [](const auto& geometry) { return !geometry->hasAtomEnergy; };
    if (withHDNNP || std::any_of(geometries.begin(), geometries.end(), lacksAtomEnergy)) {
        fitAtomicEnergies();
    }
    if (printMode == 1) {
        findCloseAtoms(order, rcut);
        warnings.farGeoms = findFarEnergies(compositions(), totalEnergies(), numElems);
    }
    shiftEnergies();
    printGeometrySet(printMode);
}

// The stop that follows names no geometry.
void GeometrySet::tellUnusableCell() const {
    const auto isUsable = [](const auto& geometry) { return geometry->hasUsableLattice(); };
    const auto found = std::ranges::find_if_not(geometries, isUsable);
    if (found != geometries.end()) {
        printOut("  * The cell of the %d -th geometry is not usable: %s\n\n",
                 static_cast<int>(found - geometries.begin()), fileName.c_str());
    }
}

void GeometrySet::prepareGeometries(std::span<const int> order, float rcut, bool withShortCoulomb) {
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (const int index : order) {
        guard.run([&] { getGeometry(index).haveSetAtoms(rcut, withShortCoulomb); });
    }
    allocateFor("neighbor lists", [&] { guard.rethrow(); });
}

// The neighbour lists leave such atoms out.
void GeometrySet::findCloseAtoms(std::span<const int> order, float rcut) {
    std::vector<char> areClose(geometries.size(), 0);
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (const int index : order) {
        guard.run([&] {
            const Geometry& geometry = getGeometry(index);
            const bool isClose =
                haveCloseAtoms(geometry.lattice, geometry.invLattice, geometry.positions, rcut);
            areClose[static_cast<std::size_t>(index)] = isClose ? 1 : 0;
        });
    }
    guard.rethrow();
    warnings.closeGeoms.clear();
    for (std::size_t g = 0; g < areClose.size(); ++g) {
        if (areClose[g] != 0) {
            warnings.closeGeoms.push_back(static_cast<int>(g));
        }
    }
}

void GeometrySet::shiftEnergies() {
    const GeometrySet& reference = trainingSet != nullptr ? *trainingSet : *this;
    for (const auto& geometry : geometries) {
        double sum = 0.0;
        for (std::size_t i = 0; i < geometry->energies.size(); ++i) {
            const double mean = reference.getElementEnergy(geometry->elements[i]);
            geometry->energies[i] -= mean;
            sum += mean;
        }
        geometry->energyTotal -= sum;
    }
}

void GeometrySet::printGeometrySet(int mode) const {
    if (mode == 0) {
        return;
    }
    const auto addAtoms = [](int sum, const auto& geometry) { return sum + geometry->numAtoms; };
    printOut("  %s\n", "Geometry Set:");
    printOut("  %s%d\n", "  Total Geometries    = ", numGeoms + numRejected);
    printOut("  %s%d\n", "  Accepted Geometries = ", numGeoms);
    printOut("  %s%d", "  Rejected Geometries = ", numRejected);
    if (maxForce > 0.0f) {
        printOut("  (Force > %.3e eV/A)", static_cast<double>(maxForce));
    }
    printOut("\n");
    printOut("  %s%d\n",
             "  Number of Atoms     = ", std::accumulate(geometries.begin(), geometries.end(), 0, addAtoms));
    printOut("  %s%d\n", "  Number of Elements  = ", numElems);
    printOut("  %s\n", "  List of Elements:");
    printElements(mode);
    if (mode == 1) {
        warnings.print(fileName);
    }
    flushOut();
}

void GeometrySet::printElements(int mode) const {
    for (std::size_t e = 0; e < elemNames.size(); ++e) {
        printOut("        %-6s->%9d atoms", elemNames[e].c_str(), elemCounts[e]);
        if (mode == 1) {
            printOut("  E: [ %+.3e eV   , %+.3e eV   ]\n", energyMin[e], energyMax[e]);
            printOut("                                 F: [  %.3e eV/A ,  %.3e eV/A ]\n",
                     static_cast<double>(forceMin[e]), static_cast<double>(forceMax[e]));
            printOut("                                 Q: [ %+.3e e    , %+.3e e    ]",
                     static_cast<double>(chargeMin[e]), static_cast<double>(chargeMax[e]));
        }
        printOut("\n");
    }
    printOut("\n");
    if (mode == 1 && isEnergyFitted) {
        printOut("  %s\n", "Presumed Atomic Energy (from Total Energy)");
        for (std::size_t e = 0; e < elemNames.size(); ++e) {
            printOut("        %-6s :   %+.3e (+/- %.3e) eV\n", elemNames[e].c_str(), energyAve[e],
                     energyDev[e]);
        }
        printOut("\n");
    }
}

bool GeometrySet::hasStress() const {
    return std::ranges::any_of(geometries,
                               [](const auto& geometry) { return geometry->stressVolume.has_value(); });
}

Geometry& GeometrySet::getGeometry(int index) const {
    if (index < 0 || index >= static_cast<int>(geometries.size())) {
        stopWithMessage("index of geometry is out of range.");
    }
    return *geometries[static_cast<std::size_t>(index)];
}

const std::string& GeometrySet::getElementName(int index) const {
    if (index < 0 || index >= static_cast<int>(elemNames.size())) {
        stopWithMessage("index of element is out of range.");
    }
    return elemNames[static_cast<std::size_t>(index)];
}

double GeometrySet::getElementEnergy(int index) const {
    if (index < 0 || index >= static_cast<int>(energyAve.size())) {
        stopWithMessage("index of element is out of range.");
    }
    return energyAve[static_cast<std::size_t>(index)];
}

} // namespace melta
