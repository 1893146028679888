#include "driver/DebugMode.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "baseline/BaselineRemover.hpp"
#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/FiniteNumber.hpp"
#include "config/SymmFuncKind.hpp"
#include "structure/GeometrySetLoader.hpp"
#include "training/NNChargeTrainer.hpp"
#include "training/NNEnergyTrainer.hpp"

namespace melta {
namespace {

float readShift(std::span<const std::string> words) {
    float shift = 1.0e-4f;
    if (words.size() >= 2) {
        FieldScanner scanner(words[1]);
        if (!readFinite(scanner, shift)) {
            stopWithMessage("cannot read the value of the weight/bias-shift.");
        }
    }
    return shift;
}

template <class Trainer>
void runDebug(std::span<const std::string> words, bool chargeMode) {
    const float shift = readShift(words);
    const std::string propertyFile = words.size() >= 3 ? words[2] : fileNames::properties;
    Property property = loadConfiguration(propertyFile, chargeMode);
    const auto trainingSet =
        loadGeometrySet(fileNames::train, property, makeTrainingRemoval(baselineFileOf(property)));
    symmFuncKindOf(property).fitToElements(property, trainingSet->numElems);
    Trainer trainer(&property, trainingSet.get(), nullptr);
    trainer.performDebug(fileNames::network, shift);
}

} // namespace

void runEnergyDebug(std::span<const std::string> words) {
    runDebug<NNEnergyTrainer>(words, false);
}

void runChargeDebug(std::span<const std::string> words) {
    runDebug<NNChargeTrainer>(words, true);
}

} // namespace melta
