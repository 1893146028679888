#include "baseline/reax/ReaxPot.hpp"

#include "structure/Geometry.hpp"
#include "structure/Units.hpp"

#include <algorithm>
#include <cstddef>

namespace melta {
namespace {

constexpr float evPerKcal = units::kilocaloriePerMole;
constexpr double wideEvPerKcal = static_cast<double>(evPerKcal);

} // namespace

ReaxPot::ReaxPot(double rcut, double mixingRate, const std::string& fileName)
    : param(rcut, fileName), rate(mixingRate), evaluation(param) {}

ReaxPot::~ReaxPot() = default;

void ReaxPot::removeFromGeometry(Geometry* geometry) {
    if (geometry == nullptr || !evaluate(*geometry, true)) {
        return;
    }
    const double factor = rate * wideEvPerKcal;
    for (std::size_t i = 0; i < atomMap.size(); ++i) {
        const auto target = static_cast<std::size_t>(atomMap[i]);
        geometry->energies[target] -= evaluation.energies()[i] * factor;
        for (std::size_t c = 0; c < 3; ++c) {
            const auto force = static_cast<float>(evaluation.forces()[3 * i + c]);
            geometry->forces[3 * target + c] -= static_cast<float>(static_cast<double>(force) * factor);
        }
    }
    geometry->energyTotal -= sumEnergies() * factor;
}

float ReaxPot::obtainEnergy(const Geometry* geometry) {
    if (geometry == nullptr || !evaluate(*geometry, false)) {
        return 0.0f;
    }
    return static_cast<float>(sumEnergies()) * evPerKcal * static_cast<float>(rate);
}

float ReaxPot::obtainEnergiesAndForces(const Geometry* geometry, std::span<float> energies,
                                       std::span<float> forces) {
    if (geometry == nullptr) {
        return 0.0f;
    }
    std::fill(energies.begin(), energies.end(), 0.0f);
    std::fill(forces.begin(), forces.end(), 0.0f);
    if (!evaluate(*geometry, true)) {
        return 0.0f;
    }
    const double factor = rate * wideEvPerKcal;
    for (std::size_t i = 0; i < atomMap.size(); ++i) {
        const auto target = static_cast<std::size_t>(atomMap[i]);
        energies[target] = static_cast<float>(evaluation.energies()[i] * factor);
        for (std::size_t c = 0; c < 3; ++c) {
            const auto force = static_cast<float>(evaluation.forces()[3 * i + c]);
            forces[3 * target + c] = static_cast<float>(static_cast<double>(force) * factor);
        }
    }
    return static_cast<float>(sumEnergies() * factor);
}

// Evaluates the atoms that the force field knows; false if there are none.
bool ReaxPot::evaluate(const Geometry& geometry, bool withForces) {
    selectAtoms(geometry);
    if (atomMap.empty()) {
        return false;
    }
    createWorkGeometry(geometry);
    positions.assign(workGeometry->positions.begin(), workGeometry->positions.end());
    evaluation.run(workGeometry->allNeighbors(), workGeometry->lattice, types, positions, withForces);
    workGeometry->deleteNeighbors();
    return true;
}

void ReaxPot::selectAtoms(const Geometry& geometry) {
    atomMap.clear();
    types.clear();
    for (int i = 0; i < geometry.numAtoms; ++i) {
        const int type = param.typeOf(geometry.atomNumbers[static_cast<std::size_t>(i)]);
        if (type >= 0) {
            atomMap.push_back(i);
            types.push_back(type);
        }
    }
}

void ReaxPot::createWorkGeometry(const Geometry& geometry) {
    const auto numAtoms = static_cast<int>(atomMap.size());
    if (!workGeometry || workGeometry->numAtoms != numAtoms) {
        workGeometry = std::make_unique<Geometry>(geometry.lattice, numAtoms, false);
    }
    workGeometry->lattice = geometry.lattice;
    for (int i = 0; i < numAtoms; ++i) {
        const auto source = static_cast<std::size_t>(atomMap[static_cast<std::size_t>(i)]);
        const float* const p = geometry.positions.data() + 3 * source;
        workGeometry->setAtom(i, geometry.elements[source], geometry.atomNumbers[source], p[0], p[1], p[2],
                              0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    // One search serves both cutoffs.
    workGeometry->haveSetAtoms(static_cast<float>(evaluation.listCutoff()), false);
}

double ReaxPot::sumEnergies() const {
    double sum = 0.0;
    for (const double energy : evaluation.energies()) {
        sum += energy;
    }
    return sum;
}

} // namespace melta
