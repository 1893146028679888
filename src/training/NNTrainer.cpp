#include "training/NNTrainer.hpp"

#include "driver/RandomSource.hpp"
#include "driver/Reporting.hpp"
#include "modelio/ModelStore.hpp"
#include "training/AdamOptimizer.hpp"
#include "training/GradientCheck.hpp"
#include "training/LbfgsOptimizer.hpp"

#include <numeric>

namespace melta {
namespace {

const char* lineOf(TrainState state) {
    switch (state) {
    case TrainState::converged:
        return "Converged.";
    case TrainState::allEpochsDone:
        return "All epochs have been done.";
    case TrainState::exitedByUser:
        return "Exited by user.";
    default:
        return "NOT converged.";
    }
}

std::vector<int> makeShuffledList(int count) {
    std::vector<int> list(static_cast<std::size_t>(count));
    std::iota(list.begin(), list.end(), 0);
    sharedRandom().shuffle(list);
    return list;
}

} // namespace

NNTrainer::NNTrainer(const Property* property, const GeometrySet* geometrySet, const GeometrySet* testSet) {
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    session.property = property;
    session.geometrySet = geometrySet;
    session.testSet = testSet;
}

void NNTrainer::performTraining(const std::string& nnFile, const std::string& distrFile,
                                const std::string& stopFile) {
    session.trainState = TrainState::notConverged;
    session.geomsOfSuper.clear();
    session.wallTimer.start();
    session.epochTimer.start();
    session.nnFileName = nnFile;
    session.stopFileName = stopFile;
    printOut("  * %s optimizer is used.\n\n", getProperty().lbfgs < 1 ? "Adam" : "L-BFGS");
    if (getGeometrySet().numGeoms < 1) {
        stopWithMessage("there are no geometries.");
    }
    const TrainingPlan plan(getProperty(), getGeometrySet().numGeoms);
    session.numGeomsSuper = plan.geomsEpoch;
    plan.print();
    prepareArchs(plan, distrFile);
    if (isRootProcess()) {
        StopFile(stopFile).consume();
    }
    printOut("  Optimization:\n\n");
    flushOut();
    runSuperEpochs(plan);
    printResult();
    session.storeNetwork();
    session.wallTimer.stop();
    printOut("  * Wall time: %s.\n\n", session.wallTimer.getFullTime().c_str());
    session.arch.reset();
    session.testArch.reset();
}

void NNTrainer::prepareArchs(const TrainingPlan& plan, const std::string& distrFile) {
    const bool useAdam = getProperty().lbfgs < 1;
    session.arch = std::make_unique<NNArch>(archModeOfTrainer(), getGeometrySet().numElems, &getProperty(),
                                            true, useAdam);
    if (session.testSet != nullptr) {
        session.testArch = std::make_unique<NNArch>(archModeOfTrainer(), session.testSet->numElems,
                                                    &getProperty(), false, false);
    }
    if (!plan.direct && !plan.partial) {
        session.arch->setGeometriesAll(&getGeometrySet());
    }
    if (session.testArch) {
        session.testArch->setGeometriesAll(session.testSet);
    }
    session.arch->initLayers(&getGeometrySet());
    if (session.testArch) {
        session.testArch->initLayers(session.testSet);
    }
    restoreIfAsked();
    prepareTrainingData(plan, distrFile);
    prepareTestData();
}

void NNTrainer::restoreIfAsked() {
    if (getProperty().restart != 0) {
        flushOut();
        restoreNN(*session.arch, session.nnFileName, &getGeometrySet(), true);
    }
    flushOut();
}

void NNTrainer::prepareTrainingData(const TrainingPlan& plan, const std::string& distrFile) {
    NNArch& arch = *session.arch;
    const bool isInCore = !plan.direct && !plan.partial;
    if (isInCore) {
        arch.calculateSymmFuncs(needsDerivatives(), true, false);
    }
    arch.statisticsSymmFuncs(&getGeometrySet());
    arch.writeSymmDistributions(distrFile, &getGeometrySet());
    if (isInCore) {
        arch.renormalizeSymmFuncs(true);
    }
}

void NNTrainer::prepareTestData() {
    if (session.testArch) {
        session.testArch->calculateSymmFuncs(needsDerivatives(), true, false);
        session.testArch->copySymmStatistics(session.arch.get());
        session.testArch->renormalizeSymmFuncs(true);
    }
    flushOut();
    if (session.testArch) {
        const std::vector<int> indices = makeShuffledList(session.testSet->numGeoms);
        session.testArch->setGeometries(std::span<const int>(indices));
    }
}

void NNTrainer::runSuperEpochs(const TrainingPlan& plan) {
    for (int s = 0; s < plan.numSuperEpochs; ++s) {
        if (plan.numSuperEpochs > 1) {
            printOut("  * Start the Super Epoch of [ %d / %d ].\n\n", s + 1, plan.numSuperEpochs);
        }
        if (s > 0) {
            session.epochTimer.reset();
            session.epochTimer.start();
        }
        updateScheme(s == 0 ? 0 : -1);
        if (plan.partial) {
            chooseGeometries();
        }
        optimize(plan.fullBatch, plan.direct, plan.batchSize);
        if (session.trainState == TrainState::exitedByUser) {
            break;
        }
        if (s + 1 < plan.numSuperEpochs) {
            printOut("\n");
            session.storeNetwork();
        }
    }
}

// The next share of a random order of all data; a new order when the last one is used up.
void NNTrainer::chooseGeometries() {
    const int numGeoms = getGeometrySet().numGeoms;
    if (permutation.empty()) {
        permutation = makeShuffledList(numGeoms);
        position = 0;
    }
    session.geomsOfSuper.clear();
    for (int i = 0; i < session.numGeomsSuper; ++i) {
        const int next = permutation[static_cast<std::size_t>((position + i) % numGeoms)];
        session.geomsOfSuper.push_back(&getGeometrySet().obtainGeometry(next));
    }
    position += session.numGeomsSuper;
    if (position >= numGeoms) {
        permutation.clear();
    }
}

void NNTrainer::printResult() const {
    printOut("\n  %s\n\n", lineOf(session.trainState));
    flushOut();
}

void NNTrainer::optimize(bool fullBatch, bool direct, int batchSize) {
    prepareLoss();
    if (getProperty().lbfgs < 1) {
        AdamOptimizer(&session, this).optimize(fullBatch, direct, batchSize);
    } else {
        LbfgsOptimizer(&session, this).optimize(fullBatch, direct, batchSize);
    }
}

void NNTrainer::performDebug(const std::string& nnFile, float shift) {
    if (shift == 0.0f) {
        stopWithMessage("weight/bias shift is zero.");
    }
    session.wallTimer.start();
    session.nnFileName = nnFile;
    session.arch =
        std::make_unique<NNArch>(archModeOfTrainer(), getGeometrySet().numElems, &getProperty(), true, false);
    NNArch& arch = *session.arch;
    arch.setGeometriesAll(&getGeometrySet());
    arch.initLayers(&getGeometrySet());
    restoreIfAsked();
    arch.calculateSymmFuncs(needsDerivatives(), true, false);
    arch.statisticsSymmFuncs(&getGeometrySet());
    arch.renormalizeSymmFuncs(true);
    printOut("  * Weight and Bias shift is %10.3e .\n\n", static_cast<double>(shift));
    printOut("  Debug Gradient of Weight and Bias:\n\n");
    flushOut();
    debugGradients(shift);
    session.wallTimer.stop();
    printOut("\n  * Wall time: %s.\n\n", session.wallTimer.getFullTime().c_str());
    session.arch.reset();
}

void NNTrainer::debugGradients(float shift) {
    prepareLoss();
    const std::vector<int> indices = makeShuffledList(getGeometrySet().numGeoms);
    session.arch->setGeometries(std::span<const int>(indices));
    GradientCheck(&session, this).run(shift);
}

void NNTrainer::prepareLoss() {
    if (getProperty().renormLoss != 0) {
        printOut("  * Renormalize the loss function.\n\n");
    }
    setLossScales();
}

bool NNTrainer::updateScheme(int /*epoch*/) {
    return false;
}

bool NNTrainer::advanceScheme() {
    session.trainState = TrainState::converged;
    return true;
}

} // namespace melta
