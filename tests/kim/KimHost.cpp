#include "kim/KimHost.hpp"

#include <stdexcept>

// KIM's library keeps memory of each model that it could not create.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libkim-api\n";
}

namespace melta::test {

KimHost::KimHost(const std::string& name, const Units& units) : arguments(nullptr, ArgumentsCloser{nullptr}) {
    KIM::Model* created = nullptr;
    int accepted = 0;
    if (KIM::Model::Create(KIM::NUMBERING::zeroBased, units.length, units.energy, KIM::CHARGE_UNIT::e,
                           KIM::TEMPERATURE_UNIT::K, KIM::TIME_UNIT::ps, name, &accepted, &created) != 0) {
        throw std::runtime_error("no model");
    }
    model.reset(created);
    KIM::ComputeArguments* createdArguments = nullptr;
    if (accepted == 0 || model->ComputeArgumentsCreate(&createdArguments) != 0) {
        throw std::runtime_error("no units or no arguments");
    }
    arguments = {createdArguments, ArgumentsCloser{model.get()}};
    arguments->SetCallbackPointer(KIM::COMPUTE_CALLBACK_NAME::GetNeighborList, KIM::LANGUAGE_NAME::cpp,
                                  reinterpret_cast<KIM::Function*>(findNeighbors), this);
}

int KimHost::codeOf(const std::string& name) const {
    int isThere = 0;
    int code = -1;
    model->GetSpeciesSupportAndCode(KIM::SpeciesName(name), &isThere, &code);
    return isThere != 0 ? code : -1;
}

double KimHost::influenceDistance() const {
    double distance = 0.0;
    model->GetInfluenceDistance(&distance);
    return distance;
}

std::vector<double> KimHost::cutoffs() const {
    int number = 0;
    const double* first = nullptr;
    const int* contributingOnly = nullptr;
    model->GetNeighborListPointers(&number, &first, &contributingOnly);
    return {first, first + number};
}

bool KimHost::compute(const NeighborView& view, const std::vector<int>& particleOf, Result& result) {
    namespace Name = KIM::COMPUTE_ARGUMENT_NAME;
    takeParticles(view, particleOf);
    // Whatever stands there before has to be overwritten.
    const auto number = static_cast<std::size_t>(numParticles);
    result.energy = 7.0;
    result.energies.assign(number, 7.0);
    result.forces.assign(3 * number, 7.0);
    result.virial.assign(6, 7.0);
    result.particleVirials.assign(6 * number, 7.0);
    arguments->SetArgumentPointer(Name::partialEnergy, &result.energy);
    arguments->SetArgumentPointer(Name::partialParticleEnergy, result.energies.data());
    arguments->SetArgumentPointer(Name::partialForces, result.forces.data());
    arguments->SetArgumentPointer(Name::partialVirial, result.virial.data());
    arguments->SetArgumentPointer(Name::partialParticleVirial, result.particleVirials.data());
    return model->Compute(arguments.get()) == 0;
}

bool KimHost::computeEnergy(const NeighborView& view, const std::vector<int>& particleOf, double& energy) {
    namespace Name = KIM::COMPUTE_ARGUMENT_NAME;
    takeParticles(view, particleOf);
    for (const auto& name : {Name::partialParticleEnergy, Name::partialForces, Name::partialVirial,
                             Name::partialParticleVirial}) {
        arguments->SetArgumentPointer(name, static_cast<double*>(nullptr));
    }
    arguments->SetArgumentPointer(Name::partialEnergy, &energy);
    return model->Compute(arguments.get()) == 0;
}

void KimHost::takeParticles(const NeighborView& view, const std::vector<int>& particleOf) {
    namespace Name = KIM::COMPUTE_ARGUMENT_NAME;
    numParticles = view.numAtoms;
    const auto number = static_cast<std::size_t>(numParticles);
    // KIM takes a null pointer for an argument that is missing.
    coordinates.reserve(1);
    species.reserve(1);
    contributing.reserve(1);
    coordinates.resize(3 * number);
    species.resize(number);
    contributing.resize(number);
    neighbors.assign(number, {});
    for (std::size_t i = 0; i < number; ++i) {
        const auto p = static_cast<std::size_t>(particleOf[i]);
        for (std::size_t c = 0; c < 3; ++c) {
            coordinates[3 * p + c] = view.positions[3 * i + c];
        }
        species[p] = view.elements[i];
        contributing[p] = i < static_cast<std::size_t>(view.numLocal) ? 1 : 0;
        for (int n = 0; contributing[p] != 0 && n < view.lengths[i]; ++n) {
            neighbors[p].push_back(particleOf[static_cast<std::size_t>(view.neighbors[i][n])]);
        }
    }
    arguments->SetArgumentPointer(Name::numberOfParticles, &numParticles);
    arguments->SetArgumentPointer(Name::coordinates, coordinates.data());
    arguments->SetArgumentPointer(Name::particleSpeciesCodes, species.data());
    arguments->SetArgumentPointer(Name::particleContributing, contributing.data());
}

int KimHost::findNeighbors(const void* host, int numLists, const double* /*cutoffs*/, int index, int particle,
                           int* length, const int** list) {
    const auto& self = *static_cast<const KimHost*>(host);
    if (numLists != 1 || index != 0) {
        return 1;
    }
    self.answered = self.neighbors[static_cast<std::size_t>(particle)];
    *length = static_cast<int>(self.answered.size());
    *list = self.answered.data();
    return 0;
}

} // namespace melta::test
