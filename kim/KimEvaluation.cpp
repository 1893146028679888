#include "KimEvaluation.hpp"

#include <array>

namespace melta {
namespace {

// Where the components of ours, xx, yy, zz, xy, xz, yz, are those of KIM, xx, yy, zz, yz, xz, xy.
constexpr std::array<std::size_t, 6> kimComponents{0, 1, 2, 5, 4, 3};

} // namespace

void KimEvaluation::compute(const KimModel& model, const KIM::ModelComputeArguments& arguments) {
    const Potential& potential = model.getPotential();
    const Places places = findPlaces(arguments);
    atoms.update(arguments, model.getUnits().length, static_cast<int>(potential.elements().size()));
    potential.evaluate(atoms.view(), wishesOf(places), result, workspace);
    give(places, model.getUnits());
}

KimEvaluation::Places KimEvaluation::findPlaces(const KIM::ModelComputeArguments& arguments) {
    namespace Name = KIM::COMPUTE_ARGUMENT_NAME;
    Places places;
    arguments.GetArgumentPointer(Name::partialEnergy, &places.energy);
    arguments.GetArgumentPointer(Name::partialParticleEnergy, &places.energies);
    arguments.GetArgumentPointer(Name::partialForces, &places.forces);
    arguments.GetArgumentPointer(Name::partialVirial, &places.virial);
    arguments.GetArgumentPointer(Name::partialParticleVirial, &places.particleVirials);
    return places;
}

Wishes KimEvaluation::wishesOf(const Places& places) {
    Wishes wishes;
    if (places.energy != nullptr || places.energies != nullptr) {
        wishes = wishes | Wish::energy;
    }
    if (places.forces != nullptr) {
        wishes = wishes | Wish::forces;
    }
    if (places.virial != nullptr) {
        wishes = wishes | Wish::virial;
    }
    if (places.particleVirials != nullptr) {
        wishes = wishes | Wish::atomVirials;
    }
    return wishes;
}

void KimEvaluation::give(const Places& places, const KimModel::Units& units) const {
    if (places.energy != nullptr) {
        *places.energy = result.energy * units.energy;
    }
    for (std::size_t k = 0; k < 6 && places.virial != nullptr; ++k) {
        places.virial[kimComponents[k]] = -result.virial[k] * units.energy;
    }
    const double forceUnit = units.energy / units.length;
    for (std::size_t i = 0; i < atoms.particles().size(); ++i) {
        const auto particle = static_cast<std::size_t>(atoms.particles()[i]);
        if (places.energies != nullptr) {
            places.energies[particle] = result.energies[i] * units.energy;
        }
        for (std::size_t c = 0; c < 3 && places.forces != nullptr; ++c) {
            places.forces[3 * particle + c] = result.forces[3 * i + c] * forceUnit;
        }
        for (std::size_t k = 0; k < 6 && places.particleVirials != nullptr; ++k) {
            places.particleVirials[6 * particle + kimComponents[k]] =
                -result.atomVirials[6 * i + k] * units.energy;
        }
    }
}

} // namespace melta
