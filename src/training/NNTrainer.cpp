#include "training/NNTrainer.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "config/NetworkKind.hpp"
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
    session.hasEpoch = false;
    session.geomsOfSuper.clear();
    session.wallTimer.start();
    session.epochTimer.start();
    session.store = std::make_unique<ModelStore>(nnFile, &getGeometrySet());
    session.store->addDistributions(distrFile);
    session.stopFileName = stopFile;
    printOut("  * %s optimizer is used.\n\n", getProperty().lbfgs < 1 ? "Adam" : "L-BFGS");
    if (getGeometrySet().numGeoms < 1) {
        stopWithMessage("there are no geometries.");
    }
    const TrainingPlan plan(getProperty(), getGeometrySet().numGeoms);
    session.numGeomsSuper = plan.geomsEpoch;
    plan.print();
    requireShape(nnFile);
    if (prepare(plan, nnFile)) {
        printOut("  Optimization:\n\n");
        flushOut();
        runSuperEpochs(plan);
    }
    printResult();
    storeResult();
    session.wallTimer.stop();
    printOut("  * Wall time: %s.\n\n", session.wallTimer.getFullTime().c_str());
    session.arch.reset();
    session.testArch.reset();
}

// The settings of the model may come from the head of a network file, which says anything.
void NNTrainer::requireShape(const std::string& nnFile) const {
    const NetworkKind& kind = archModeOfTrainer() == NNArch::onlyEnergy ? energyKind : chargeKind;
    const NetworkFields& fields = kind.fields;
    const Property& property = getProperty();
    const auto require = [&](bool isValid, const char* item) {
        if (!isValid) {
            stopWithMessage("incorrect %s of %s neural network: %s", item, kind.owner, nnFile.c_str());
        }
    };
    require(property.*fields.models > 0, "#models");
    require(property.*fields.layers > 0, "#layers");
    require(property.*fields.nodes > 0, "#nodes");
    require(findCode(activationNames, property.*fields.activ) != nullptr, "activation");
}

// False when the user asks to stop before it is done.
bool NNTrainer::prepare(const TrainingPlan& plan, const std::string& nnFile) {
    if (session.pollStopFile()) {
        return false;
    }
    prepareArchs(plan, nnFile);
    prepareTrainingData(plan);
    if (session.pollStopFile()) {
        return false;
    }
    prepareTestData();
    return !session.pollStopFile();
}

void NNTrainer::prepareArchs(const TrainingPlan& plan, const std::string& nnFile) {
    const bool useAdam = getProperty().lbfgs < 1;
    session.arch = std::make_unique<NNArch>(archModeOfTrainer(), getGeometrySet().numElems, &getProperty(),
                                            true, useAdam);
    session.store->requireWritable(*session.arch);
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
    // L-BFGS takes no step that makes the loss larger.
    if (restoreIfAsked(nnFile) && useAdam) {
        session.store->rememberBeginning(*session.arch);
        session.beginning.start();
    }
}

// Whether the run goes on with stored networks.
bool NNTrainer::restoreIfAsked(const std::string& nnFile) {
    flushOut();
    if (getProperty().restart == 0) {
        return false;
    }
    const bool isRestored = restoreNN(*session.arch, nnFile, &getGeometrySet(), true);
    flushOut();
    return isRestored;
}

void NNTrainer::prepareTrainingData(const TrainingPlan& plan) {
    NNArch& arch = *session.arch;
    const bool isInCore = !plan.direct && !plan.partial;
    if (isInCore) {
        arch.calculateSymmFuncs(needsDerivatives(), true, false);
    }
    arch.statisticsSymmFuncs(&getGeometrySet());
    arch.countSymmDistributions(&getGeometrySet());
    if (isInCore) {
        arch.renormalizeSymmFuncs(true);
    }
    session.store->carryOthers(arch);
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
            session.storeMeanwhile(*this);
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
    // What has made no epoch has not converged to anything.
    const bool isUnmade = !session.hasEpoch && session.trainState == TrainState::converged;
    printOut("\n  %s\n\n", lineOf(isUnmade ? TrainState::notConverged : session.trainState));
    flushOut();
}

// Networks of before the first epoch are not worth the place of others.
void NNTrainer::storeResult() {
    if (session.hasEpoch) {
        session.storeNetwork(*this);
    } else {
        printOut("  * There was no epoch, so that nothing is stored.\n\n");
    }
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
    requireShape(nnFile);
    session.wallTimer.start();
    session.arch =
        std::make_unique<NNArch>(archModeOfTrainer(), getGeometrySet().numElems, &getProperty(), true, false);
    NNArch& arch = *session.arch;
    arch.setGeometriesAll(&getGeometrySet());
    arch.initLayers(&getGeometrySet());
    restoreIfAsked(nnFile);
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
    terms = makeLossTerms();
    trainErrors.assign(terms.size(), 0.0f);
    testErrors.assign(terms.size(), 0.0f);
}

NetworkTarget NNTrainer::targetOfTrainer() const {
    return archModeOfTrainer() == NNArch::onlyCharge ? NetworkTarget::charge : NetworkTarget::energy;
}

bool NNTrainer::evaluateTraining() {
    session.arch->clearWeightGrads();
    session.arch->evaluateLoss(targetOfTrainer(), terms);
    trainErrors = errorsOf(*session.arch);
    return meetsTargets(trainErrors);
}

bool NNTrainer::evaluateTest() {
    if (!session.testArch) {
        return false;
    }
    session.testArch->evaluate(targetOfTrainer(), derivativesIn(terms));
    testErrors = errorsOf(*session.testArch);
    return meetsTargets(testErrors);
}

// What is not measured has no errors.
std::vector<float> NNTrainer::errorsOf(const NNArch& arch) const {
    std::vector<float> errors;
    for (const LossTerm& term : terms) {
        QuantityError error{&term.getQuantity()};
        if (term.isMeasured()) {
            arch.squareErrors({&error, 1});
        }
        errors.push_back(term.isMeasured() ? error.rootMeanSquare() : 0.0f);
    }
    return errors;
}

bool NNTrainer::meetsTargets(std::span<const float> errors) const {
    for (std::size_t t = 0; t < terms.size(); ++t) {
        if (terms[t].targetError && !(errors[t] <= *terms[t].targetError)) {
            return false;
        }
    }
    return true;
}

float NNTrainer::lossValue() const {
    float loss = 0.0f;
    for (const LossTerm& term : terms) {
        loss += std::accumulate(term.getLoss().begin(), term.getLoss().end(), 0.0f);
    }
    return loss;
}

void NNTrainer::printProgress(int epoch) const {
    const auto columns = [&](std::span<const float> errors) {
        std::string text;
        for (std::size_t t = 0; t < terms.size(); ++t) {
            text += formatText("  RMSE(%s):%10.3e", terms[t].getQuantity().getNames().symbol,
                               static_cast<double>(errors[t]));
        }
        return text;
    };
    printOut("  #.%6d%s  Loss:%10.3e  Time[ wall=%s epoch=%s ]\n", epoch, columns(trainErrors).c_str(),
             static_cast<double>(lossValue()), session.wallTimer.getTime().c_str(),
             session.epochTimer.getTime().c_str());
    if (session.testArch) {
        printOut("  @       %s  (for test data)\n", columns(testErrors).c_str());
    }
    flushOut();
}

bool NNTrainer::updateScheme(int /*epoch*/) {
    return false;
}

bool NNTrainer::advanceScheme() {
    session.trainState = TrainState::converged;
    return true;
}

} // namespace melta
