#include "KimRoutines.hpp"

#include "KimEvaluation.hpp"
#include "KimItem.hpp"

#include <cstdio>
#include <exception>
#include <memory>

namespace melta {
namespace {

template <class Logger>
void report(const Logger& logger, const std::string& message) {
    logger.LogEntry(KIM::LOG_VERBOSITY::error, message, __LINE__, __FILE__);
    std::fprintf(stderr, "melta: %s\n", message.c_str());
}

// Runs the work of a routine; what it throws must not reach the simulator. Returns what KIM expects.
template <class Logger, class Work>
int guarded(const Logger& logger, const Work& work) {
    try {
        work();
        return 0;
    } catch (const std::exception& error) {
        report(logger, error.what());
    }
    return 1;
}

void require(int error, const char* complaint) {
    if (error != 0) {
        throw Error(complaint);
    }
}

template <class Object>
Object* bufferOf(const auto& holder) {
    void* pointer = nullptr;
    holder.GetModelBufferPointer(&pointer);
    return static_cast<Object*>(pointer);
}

int createArguments(const KIM::ModelCompute* /*model*/, KIM::ModelComputeArgumentsCreate* create) {
    return guarded(*create, [&] {
        namespace Name = KIM::COMPUTE_ARGUMENT_NAME;
        for (const auto& name : {Name::partialEnergy, Name::partialParticleEnergy, Name::partialForces,
                                 Name::partialVirial, Name::partialParticleVirial}) {
            require(create->SetArgumentSupportStatus(name, KIM::SUPPORT_STATUS::optional),
                    "KIM does not know an argument.");
        }
        create->SetModelBufferPointer(std::make_unique<KimEvaluation>().release());
    });
}

int compute(const KIM::ModelCompute* model, const KIM::ModelComputeArguments* arguments) {
    return guarded(*arguments, [&] {
        bufferOf<KimEvaluation>(*arguments)->compute(*bufferOf<const KimModel>(*model), *arguments);
    });
}

int destroyArguments(const KIM::ModelCompute* /*model*/, KIM::ModelComputeArgumentsDestroy* destroy) {
    const std::unique_ptr<KimEvaluation> evaluation(bufferOf<KimEvaluation>(*destroy));
    return 0;
}

int destroyModel(KIM::ModelDestroy* destroy) {
    const std::unique_ptr<KimModel> model(bufferOf<KimModel>(*destroy));
    return 0;
}

KimModel::Units findUnits(const KIM::LengthUnit& length, const KIM::EnergyUnit& energy) {
    namespace Length = KIM::LENGTH_UNIT;
    namespace Energy = KIM::ENERGY_UNIT;
    const auto factor = [&](double lengthPower, double energyPower) {
        double result = 0.0;
        require(KIM::ModelCreate::ConvertUnit(Length::A, Energy::eV, KIM::CHARGE_UNIT::unused,
                                              KIM::TEMPERATURE_UNIT::unused, KIM::TIME_UNIT::unused, length,
                                              energy, KIM::CHARGE_UNIT::unused, KIM::TEMPERATURE_UNIT::unused,
                                              KIM::TIME_UNIT::unused, lengthPower, energyPower, 0.0, 0.0, 0.0,
                                              &result),
                "the simulator asks for units that KIM cannot convert to.");
        return result;
    };
    return {factor(1.0, 0.0), factor(0.0, 1.0)};
}

void setRoutines(KIM::ModelCreate& create) {
    namespace Routine = KIM::MODEL_ROUTINE_NAME;
    const auto set = [&](const KIM::ModelRoutineName& name, auto* function) {
        require(create.SetRoutinePointer(name, KIM::LANGUAGE_NAME::cpp, 1,
                                         reinterpret_cast<KIM::Function*>(function)),
                "KIM does not know a routine.");
    };
    set(Routine::ComputeArgumentsCreate, createArguments);
    set(Routine::Compute, compute);
    set(Routine::ComputeArgumentsDestroy, destroyArguments);
    set(Routine::Destroy, destroyModel);
}

void describe(const KimModel& model, KIM::ModelCreate& create) {
    require(create.SetModelNumbering(KIM::NUMBERING::zeroBased), "KIM does not know a numbering.");
    create.SetInfluenceDistancePointer(model.getInfluenceDistance());
    create.SetNeighborListPointers(1, model.getCutoff(), model.getListsOfContributingOnly());
    int code = 0;
    for (const std::string& element : model.getPotential().elements()) {
        require(create.SetSpeciesCode(speciesOf(element), code++), "KIM does not take a species.");
    }
}

} // namespace

KIM::SpeciesName speciesOf(const std::string& element) {
    const KIM::SpeciesName species(element);
    if (!species.Known()) {
        throw Error("KIM has no species " + element + ".");
    }
    return species;
}

} // namespace melta

// The units of charge, temperature and time do not occur in what a potential gives.
int melta_kim_create(KIM::ModelCreate* create, KIM::LengthUnit length, KIM::EnergyUnit energy,
                     KIM::ChargeUnit /*charge*/, KIM::TemperatureUnit /*temperature*/,
                     KIM::TimeUnit /*time*/) {
    using namespace melta;
    return guarded(*create, [&] {
        auto model = std::make_unique<KimModel>(itemFolder() + "/" + KimModel::forceFieldName,
                                                findUnits(length, energy));
        require(create->SetUnits(length, energy, KIM::CHARGE_UNIT::unused, KIM::TEMPERATURE_UNIT::unused,
                                 KIM::TIME_UNIT::unused),
                "KIM does not take the units that it asks for.");
        setRoutines(*create);
        describe(*model, *create);
        create->SetModelBufferPointer(model.release());
    });
}
