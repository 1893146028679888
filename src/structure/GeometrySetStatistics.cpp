// What GeometrySet learns from its data: ranges, means and deviations of each element kind.

#include "structure/AtomicEnergyFit.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

constexpr double farEnergy = 1.0e8;
constexpr float farValue = 1.0e8f;

// Raised to the lower limit, then lowered to the upper one.
double clampDeviation(double deviation, float lower, float upper) {
    return std::min(std::max(deviation, static_cast<double>(lower)), static_cast<double>(upper));
}

float clampDeviation(float deviation, float lower, float upper) {
    return std::min(std::max(deviation, lower), upper);
}

float forceOf(const Geometry& geometry, std::size_t i) {
    const float x = geometry.forces[3 * i];
    const float y = geometry.forces[3 * i + 1];
    const float z = geometry.forces[3 * i + 2];
    return std::sqrt(x * x + y * y + z * z);
}

// Calls visit(geometry, atom, kind) for all atoms in the order of the set, in which sums are the same at
// every run.
template <class Visit>
void forEachAtom(const GeometrySet& set, const Visit& visit) {
    for (const auto& geometry : set.geometries) {
        for (std::size_t i = 0; i < geometry->elements.size(); ++i) {
            visit(*geometry, i, static_cast<std::size_t>(geometry->elements[i]));
        }
    }
}

} // namespace

void GeometrySet::updateStatistics() {
    const auto size = static_cast<std::size_t>(numElems);
    energyAve.assign(size, 0.0);
    energyDev.assign(size, 0.0);
    energyMax.assign(size, -farEnergy);
    energyMin.assign(size, farEnergy);
    chargeAve.assign(size, 0.0f);
    chargeDev.assign(size, 0.0f);
    chargeMax.assign(size, -farValue);
    chargeMin.assign(size, farValue);
    forceMax.assign(size, 0.0f);
    forceMin.assign(size, farValue);
    isEnergyFitted = false;
    updateAverages();
    updateDeviations();
}

void GeometrySet::updateAverages() {
    forEachAtom(*this, [this](const Geometry& geometry, std::size_t i, std::size_t e) {
        const double energy = geometry.energies[i];
        const float charge = geometry.charges[i];
        const float force = forceOf(geometry, i);
        energyAve[e] += energy;
        energyMax[e] = std::max(energyMax[e], energy);
        energyMin[e] = std::min(energyMin[e], energy);
        chargeAve[e] += charge;
        chargeMax[e] = std::max(chargeMax[e], charge);
        chargeMin[e] = std::min(chargeMin[e], charge);
        forceMax[e] = std::max(forceMax[e], force);
        forceMin[e] = std::min(forceMin[e], force);
    });
    for (std::size_t e = 0; e < elemCounts.size(); ++e) {
        if (elemCounts[e] >= 1) {
            energyAve[e] /= static_cast<double>(elemCounts[e]);
            chargeAve[e] /= static_cast<float>(elemCounts[e]);
        } else {
            energyMax[e] = energyMin[e] = 0.0;
            chargeMax[e] = chargeMin[e] = 0.0f;
            forceMax[e] = forceMin[e] = 0.0f;
        }
    }
}

void GeometrySet::updateDeviations() {
    forEachAtom(*this, [this](const Geometry& geometry, std::size_t i, std::size_t e) {
        const double energy = geometry.energies[i] - energyAve[e];
        const float charge = geometry.charges[i] - chargeAve[e];
        energyDev[e] += energy * energy;
        chargeDev[e] += charge * charge;
    });
    for (std::size_t e = 0; e < elemCounts.size(); ++e) {
        if (elemCounts[e] >= 1) {
            energyDev[e] = std::sqrt(energyDev[e] / static_cast<double>(elemCounts[e]));
            chargeDev[e] = std::sqrt(chargeDev[e] / static_cast<float>(elemCounts[e]));
        }
        energyDev[e] = clampDeviation(energyDev[e], minEDev, maxEDev);
        chargeDev[e] = clampDeviation(chargeDev[e], minQDev, maxQDev);
    }
}

// Atoms of each kind in each geometry, [numGeoms][numElems].
std::vector<double> GeometrySet::compositions() const {
    const auto size = static_cast<std::size_t>(numElems);
    std::vector<double> counts(geometries.size() * size, 0.0);
    for (std::size_t g = 0; g < geometries.size(); ++g) {
        for (const std::int32_t element : geometries[g]->elements) {
            counts[g * size + static_cast<std::size_t>(element)] += 1.0;
        }
    }
    return counts;
}

std::vector<double> GeometrySet::totalEnergies() const {
    std::vector<double> totals(geometries.size());
    std::ranges::transform(geometries, totals.begin(),
                           [](const auto& geometry) { return geometry->energyTotal; });
    return totals;
}

void GeometrySet::fitAtomicEnergies() {
    AtomicEnergyFit fit = fitCompositions(compositions(), totalEnergies(), numElems);
    energyAve = std::move(fit.energies);
    energyDev = std::move(fit.deviations);
    for (double& deviation : energyDev) {
        deviation = clampDeviation(deviation, minEDev, maxEDev);
    }
    isEnergyFitted = true;
}

} // namespace melta
