#include "driver/TrainingMode.hpp"

#include "base/DirectoryLock.hpp"
#include "base/Interrupt.hpp"
#include "base/Reporting.hpp"
#include "base/StopFile.hpp"
#include "baseline/BaselineRemover.hpp"
#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/SymmFuncKind.hpp"
#include "structure/GeometrySetLoader.hpp"
#include "training/DataWeights.hpp"
#include "training/NNChargeTrainer.hpp"
#include "training/NNEnergyTrainer.hpp"

#include <fstream>
#include <memory>

namespace melta {
namespace {

// The data of the in-situ test.
struct TestData {
    const char* fileName;
    const char* title;
};

TestData testDataOf(const Property& property) {
    return property.insituValid != 0 ? TestData{fileNames::validation, "VALIDATION"}
                                     : TestData{fileNames::test, "TESTING"};
}

// Nothing tells which networks are the best without these data, so that a long training would be in vain.
void requireTestData(const Property& property) {
    const char* const fileName = testDataOf(property).fileName;
    if (property.keepBest != 0 && !std::ifstream(fileName).is_open()) {
        stopWithMessage("cannot open file: %s", fileName);
    }
}

// The set of the in-situ test; null when there is none.
std::unique_ptr<GeometrySet> loadTestSet(const Property& property, const GeometrySet& trainingSet) {
    if (!hasInsituTest(property)) {
        return nullptr;
    }
    const TestData data = testDataOf(property);
    if (!std::ifstream(data.fileName).is_open()) {
        printOut("  * CANNOT read %s data.\n\n", data.title);
        return nullptr;
    }
    printOut("  * Read %s data.\n\n", data.title);
    return loadGeometrySet(data.fileName, property, makeBaselineRemoval(baselineFileOf(property)),
                           &trainingSet);
}

// What both kinds of training do, up to the quantity that is fitted.
template <class Trainer>
void runTraining(std::span<const std::string> words, bool chargeMode) {
    const DirectoryLock lock;
    installInterruptHandlers();
    // Left by an earlier run. What comes from now on is for this one.
    StopFile(fileNames::stopFile).consume();
    const std::string propertyFile = words.size() >= 2 ? words[1] : fileNames::properties;
    Property property = loadConfiguration(propertyFile, chargeMode);
    requireTestData(property);
    printOut("  * Read TRAINING data.\n\n");
    flushOut();
    const auto trainingSet =
        loadGeometrySet(fileNames::train, property, makeTrainingRemoval(baselineFileOf(property)));
    symmFuncKindOf(property).fitToElements(property, trainingSet->numElems);
    if (!chargeMode) {
        takeDataWeights(property, *trainingSet);
    }
    const auto testSet = loadTestSet(property, *trainingSet);
    Trainer trainer(&property, trainingSet.get(), testSet.get());
    trainer.performTraining(fileNames::network, fileNames::distribution, fileNames::stopFile);
}

} // namespace

void runEnergyTraining(std::span<const std::string> words) {
    runTraining<NNEnergyTrainer>(words, false);
}

void runChargeTraining(std::span<const std::string> words) {
    runTraining<NNChargeTrainer>(words, true);
}

} // namespace melta
