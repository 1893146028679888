#include "training/DataWeights.hpp"

#include "base/Reporting.hpp"
#include "config/Property.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

constexpr double usualFirst = 0.5;
constexpr double usualFinal = 50.0;
constexpr double firstOfWide = 2.0;
constexpr double finalOfWide = 1000.0;
constexpr double narrow = 25.0; // forces / energies, 1/Angstrom
constexpr double mostOfNarrow = 10.0;
constexpr double stressOfFirst = 0.6;
constexpr double scaleOfOutputs = 0.5; // Angstrom

bool takesStress(const Property& property, const GeometrySet& set) {
    return property.givesStressCoef == 0 && property.withCharge == 0 && property.renormLoss == 0 &&
           set.hasStress();
}

} // namespace

DataSpread measureSpread(const GeometrySet& set) {
    double forces = 0.0;
    double numForces = 0.0;
    double sum = 0.0;
    double squares = 0.0;
    for (const auto& geometry : set.geometries) {
        for (const float force : geometry->forces) {
            forces += static_cast<double>(force) * static_cast<double>(force);
        }
        numForces += static_cast<double>(geometry->forces.size());
        const double energy = geometry->energyTotal / geometry->numAtoms;
        sum += energy;
        squares += energy * energy;
    }
    const auto count = static_cast<double>(set.geometries.size());
    const double mean = sum / count;
    return {std::sqrt(forces / numForces), std::sqrt(std::max(squares / count - mean * mean, 0.0))};
}

DataWeights findWeights(const DataSpread& spread) {
    double first = usualFirst;
    double final = usualFinal;
    if (spread.energies > 0.0) {
        const double ratio = spread.forces / spread.energies;
        first = std::min(first, firstOfWide * ratio * ratio);
        final = std::min(final * std::clamp(ratio / narrow, 1.0, mostOfNarrow), finalOfWide * ratio * ratio);
    }
    return {static_cast<float>(first), static_cast<float>(final), static_cast<float>(stressOfFirst * first),
            scaleOfOutputs * spread.forces};
}

void takeDataWeights(Property& property, GeometrySet& set) {
    if (property.coefFromData == 0) {
        return;
    }
    const DataSpread spread = measureSpread(set);
    if (!(spread.forces > 0.0)) {
        return;
    }
    const DataWeights weights = findWeights(spread);
    property.hasEnergyCoef = 1;
    property.coefEnergy = weights.first;
    property.coefEnergyFinal = weights.final;
    std::ranges::fill(set.energyDev, weights.outputScale);
    printOut("  * Energy Mixing Rate from the data: %.3e -> %.3e 1/Angstrom^2\n",
             static_cast<double>(weights.first), static_cast<double>(weights.final));
    if (takesStress(property, set)) {
        property.hasStressCoef = 1;
        property.coefStress = weights.stress;
        printOut("    Stress Mixing Rate from the data: %.3e 1/Angstrom^2\n",
                 static_cast<double>(weights.stress));
    }
    printOut("    (forces of %.3e eV/Angstrom, energies within %.3e eV/atom)\n\n", spread.forces,
             spread.energies);
}

} // namespace melta
