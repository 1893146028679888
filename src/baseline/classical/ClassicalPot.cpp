#include "baseline/classical/ClassicalPot.hpp"

#include "base/Reporting.hpp"
#include "baseline/classical/ClassicalFile.hpp"
#include "baseline/classical/ClassicalFit.hpp"
#include "baseline/classical/PairNeighbors.hpp"
#include "config/Property.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <cassert>

namespace melta {
namespace {

template <class Object>
const Object& requireObject(const Object* object, const char* name) {
    if (object == nullptr) {
        stopWithMessage("%s is null.", name);
    }
    return *object;
}

// What one thread keeps from call to call, so that only larger geometries than before allocate.
struct Workspace {
    PairNeighbors neighbors;
    std::vector<float> energies;
    std::vector<float> forces;
};

Workspace& threadWorkspace() {
    thread_local Workspace work;
    return work;
}

void printRestore() {
    printOut("  * Restore the Lennard-Jones-like parameters from the file.\n\n");
}

} // namespace

ClassicalPot::ClassicalPot(const GeometrySet* ofElements, const Property* ofRun)
    : parameters(static_cast<std::size_t>(std::max(requireObject(ofElements, "geometrySet").numElems, 0))),
      geometrySet(ofElements), property(ofRun), cutoff(findLargestCutoff(requireObject(ofRun, "property"))) {}

void ClassicalPot::restoreParameters(const std::string& ofFile) {
    parameters.reset(0.0f);
    fileName = ofFile;
    LineReader file(fileName);
    if (!file.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    printRestore();
    readClassicalFile(file, fileName, *geometrySet, parameters);
}

void ClassicalPot::restoreParametersIfPresent(const std::string& ofFile) {
    fileName = ofFile;
    LineReader file(fileName);
    if (!file.isOpen()) {
        printOut("  * CANNOT restore the Lennard-Jones-like parameters from the file.\n\n");
        return;
    }
    printRestore();
    readClassicalFile(file, fileName, *geometrySet, parameters);
}

void ClassicalPot::optimizeParameters(const std::string& ofFile, const std::string& stopFileName) {
    fileName = ofFile;
    ClassicalFit(this, geometrySet, property).run(fileName, stopFileName);
}

void ClassicalPot::storeParameters() const {
    printOut("  * Store the Lennard-Jones-like parameters to the file.\n\n");
    writeClassicalFile(fileName, *geometrySet, parameters);
}

void ClassicalPot::printCsv() const {
    printOut("  * Print the classical potential to the csv-file.\n\n");
    writeClassicalCsv(fileName + ".csv", *geometrySet, parameters, cutoff);
}

void ClassicalPot::removeFromGeometry(Geometry* geometry) {
    if (geometry == nullptr) {
        return;
    }
    Workspace& work = threadWorkspace();
    work.energies.resize(geometry->energies.size());
    work.forces.resize(geometry->forces.size());
    calculatePotential(*geometry, work.energies, work.forces);
    for (std::size_t i = 0; i < work.energies.size(); ++i) {
        const auto energy = static_cast<double>(work.energies[i]);
        geometry->energyTotal -= energy;
        geometry->energies[i] -= energy;
        for (std::size_t c = 3 * i; c < 3 * i + 3; ++c) {
            geometry->forces[c] -= work.forces[c];
        }
    }
}

float ClassicalPot::obtainEnergy(const Geometry* geometry) {
    if (geometry == nullptr) {
        return 0.0f;
    }
    PairNeighbors& neighbors = threadWorkspace().neighbors;
    float energy = 0.0f;
    for (int i = 0; i < geometry->numAtoms; ++i) {
        neighbors.update(*geometry, i, parameters.numElems());
        const auto element = static_cast<std::size_t>(geometry->elements[static_cast<std::size_t>(i)]);
        energy += energyOfAtom(neighbors, element);
    }
    return energy;
}

float ClassicalPot::obtainEnergiesAndForces(const Geometry* geometry, std::span<float> energies,
                                            std::span<float> forces) {
    return geometry == nullptr ? 0.0f : calculatePotential(*geometry, energies, forces);
}

float ClassicalPot::calculatePotential(const Geometry& geometry, std::span<float> energies,
                                       std::span<float> forces) const {
    assert(energies.size() >= geometry.energies.size() && forces.size() >= geometry.forces.size());
    PairNeighbors& neighbors = threadWorkspace().neighbors;
    float total = 0.0f;
    for (int iatom = 0; iatom < geometry.numAtoms; ++iatom) {
        const auto i = static_cast<std::size_t>(iatom);
        neighbors.update(geometry, iatom, parameters.numElems());
        const auto sums = forceOfAtom(neighbors, static_cast<std::size_t>(geometry.elements[i]));
        energies[i] = sums[0];
        std::copy(sums.begin() + 1, sums.end(), forces.begin() + static_cast<std::ptrdiff_t>(3 * i));
        total += sums[0];
    }
    return total;
}

float ClassicalPot::energyOfAtom(const PairNeighbors& neighbors, std::size_t element) const {
    float energy = 0.0f;
    for (std::size_t other = 0; other < parameters.numElems(); ++other) {
        const PairGroup group = neighbors.groupOf(other);
        if (group.count > 0) {
            energy += sumPairEnergies(cutoff, parameters.coefsOf(pairIndexOf(element, other)), group);
        }
    }
    return energy;
}

std::array<float, 4> ClassicalPot::forceOfAtom(const PairNeighbors& neighbors, std::size_t element) const {
    std::array<float, 4> sums{};
    for (std::size_t other = 0; other < parameters.numElems(); ++other) {
        const PairGroup group = neighbors.groupOf(other);
        if (group.count > 0) {
            const auto part = sumPairForces(cutoff, parameters.coefsOf(pairIndexOf(element, other)), group);
            for (std::size_t c = 0; c < sums.size(); ++c) {
                sums[c] += part[c];
            }
        }
    }
    return sums;
}

} // namespace melta
