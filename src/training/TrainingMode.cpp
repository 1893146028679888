#include "training/TrainingMode.hpp"

#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "driver/Reporting.hpp"
#include "structure/GeometrySetLoader.hpp"
#include "training/NNEnergyTrainer.hpp"

#include <fstream>
#include <memory>

namespace melta {
namespace {

// The set of the in-situ test; null when there is none.
std::unique_ptr<GeometrySet> loadTestSet(const Property& property, const GeometrySet& trainingSet) {
    if (property.insituTest == 0) {
        return nullptr;
    }
    if (!std::ifstream(fileNames::test).is_open()) {
        printOut("  * CANNOT read TESTING data.\n\n");
        return nullptr;
    }
    printOut("  * Read TESTING data.\n\n");
    return loadGeometrySet(fileNames::test, property, baselineFileOf(property), &trainingSet);
}

} // namespace

void runEnergyTraining(std::span<const std::string> words) {
    const std::string propertyFile = words.size() >= 2 ? words[1] : fileNames::properties;
    const Property property = loadConfiguration(propertyFile, false);
    printOut("  * Read TRAINING data.\n\n");
    flushOut();
    const auto trainingSet = loadGeometrySet(fileNames::train, property, baselineFileOf(property));
    const auto testSet = loadTestSet(property, *trainingSet);
    NNEnergyTrainer trainer(&property, trainingSet.get(), testSet.get());
    trainer.performTraining(fileNames::network, fileNames::distribution, fileNames::stopFile);
}

} // namespace melta
