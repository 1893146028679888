#include "training/NNTrainer.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "config/NetworkKind.hpp"
#include "modelio/ModelStore.hpp"
#include "training/AdamOptimizer.hpp"
#include "training/GradientCheck.hpp"
#include "training/LbfgsOptimizer.hpp"

#include <cmath>
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
    state.property = property;
    state.geometrySet = geometrySet;
    state.testSet = testSet;
}

void NNTrainer::performTraining(const std::string& nnFile, const std::string& distrFile,
                                const std::string& stopFile) {
    state.trainState = TrainState::notConverged;
    state.hasEpoch = false;
    state.geomsOfSuper.clear();
    state.course = {};
    state.best = {};
    state.wallTimer.start();
    state.epochTimer.start();
    state.store = std::make_unique<ModelStore>(nnFile, &getGeometrySet());
    state.store->addDistributions(distrFile);
    state.stopFileName = stopFile;
    printOut("  * %s optimizer is used.\n\n", getProperty().lbfgs < 1 ? "Adam" : "L-BFGS");
    if (getGeometrySet().numGeoms < 1) {
        stopWithMessage("there are no geometries.");
    }
    const TrainingPlan plan(getProperty(), getGeometrySet().numGeoms);
    state.numGeomsSuper = plan.geomsEpoch;
    plan.print();
    requireShape(nnFile);
    if (prepare(plan, nnFile)) {
        printOut("  Optimization:\n\n");
        flushOut();
        runSuperEpochs(plan);
        if (state.hasEpoch && !plan.direct && !plan.partial) {
            settle(plan.batchSize);
        }
    }
    printResult();
    storeResult();
    state.wallTimer.stop();
    printOut("  * Wall time: %s.\n\n", state.wallTimer.getFullTime().c_str());
    state.arch.reset();
    state.testArch.reset();
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
    if (state.pollStopFile()) {
        return false;
    }
    prepareArchs(plan, nnFile);
    prepareTrainingData(plan);
    if (state.pollStopFile()) {
        return false;
    }
    prepareTestData();
    return !state.pollStopFile();
}

void NNTrainer::prepareArchs(const TrainingPlan& plan, const std::string& nnFile) {
    const bool useAdam = getProperty().lbfgs < 1;
    state.arch = std::make_unique<NNArch>(archModeOfTrainer(), getGeometrySet().numElems, &getProperty(),
                                          true, useAdam);
    if (hasCourse(getProperty(), state.arch->hasEnergyNetworks())) {
        state.store->setCourse(textOf(state.course.getStanding()));
    }
    state.store->requireWritable(*state.arch);
    if (state.testSet != nullptr) {
        state.testArch = std::make_unique<NNArch>(archModeOfTrainer(), state.testSet->numElems,
                                                  &getProperty(), false, false);
    }
    if (!plan.direct && !plan.partial) {
        state.arch->setGeometriesAll(&getGeometrySet());
    }
    if (state.testArch) {
        state.testArch->setGeometriesAll(state.testSet);
    }
    state.arch->initLayers(&getGeometrySet());
    if (state.testArch) {
        state.testArch->initLayers(state.testSet);
    }
    state.isRestored = restoreIfAsked(nnFile);
    // L-BFGS takes no step that makes the loss larger.
    if (state.isRestored && useAdam) {
        restoreCourse();
        state.store->rememberBeginning(*state.arch);
        state.beginning.start();
    }
}

void NNTrainer::restoreCourse() {
    if (!hasCourse(getProperty(), state.arch->hasEnergyNetworks())) {
        return;
    }
    const std::string text = state.store->readCourse(*state.arch);
    if (!text.empty()) {
        state.course.goOnFrom(readStanding(text, state.store->courseFileOf(*state.arch)));
    }
}

// Whether the run goes on with stored networks.
bool NNTrainer::restoreIfAsked(const std::string& nnFile) {
    flushOut();
    if (getProperty().restart == 0) {
        return false;
    }
    const bool isRestored = restoreNN(*state.arch, nnFile, &getGeometrySet(), true);
    flushOut();
    return isRestored;
}

void NNTrainer::prepareTrainingData(const TrainingPlan& plan) {
    NNArch& arch = *state.arch;
    const bool isInCore = !plan.direct && !plan.partial;
    if (isInCore) {
        arch.computeAll(neededDerivatives());
    }
    arch.statisticsSymmFuncs(&getGeometrySet());
    arch.countSymmDistributions(&getGeometrySet());
    if (isInCore) {
        arch.normalizeAll();
    }
    state.store->carryOthers(arch);
}

void NNTrainer::prepareTestData() {
    if (state.testArch) {
        state.testArch->computeAll(neededDerivatives());
        state.testArch->copySymmStatistics(state.arch.get());
        state.testArch->normalizeAll();
    }
    flushOut();
    if (state.testArch) {
        const std::vector<int> indices = makeShuffledList(state.testSet->numGeoms);
        state.testArch->prepareBatch(indices);
    }
}

void NNTrainer::runSuperEpochs(const TrainingPlan& plan) {
    state.numSuperEpochs = plan.numSuperEpochs;
    state.status.start(static_cast<double>(plan.numSuperEpochs) * static_cast<double>(getProperty().epochs));
    for (int s = 0; s < plan.numSuperEpochs; ++s) {
        state.superEpoch = s;
        if (plan.numSuperEpochs > 1) {
            printOut("  * Start the Super Epoch of [ %d / %d ].\n\n", s + 1, plan.numSuperEpochs);
        }
        if (s > 0) {
            state.epochTimer.reset();
            state.epochTimer.start();
        }
        updateScheme(s == 0 ? 0 : -1);
        if (plan.partial) {
            chooseGeometries();
        }
        optimize(plan.fullBatch, plan.direct, plan.batchSize);
        if (state.trainState == TrainState::exitedByUser) {
            break;
        }
        if (s + 1 < plan.numSuperEpochs) {
            state.storeMeanwhile(*this);
        }
    }
    state.status.finish();
}

// The next share of a random order of all data; a new order when the last one is used up.
void NNTrainer::chooseGeometries() {
    const int numGeoms = getGeometrySet().numGeoms;
    if (permutation.empty()) {
        permutation = makeShuffledList(numGeoms);
        position = 0;
    }
    state.geomsOfSuper.clear();
    for (int i = 0; i < state.numGeomsSuper; ++i) {
        const int next = permutation[static_cast<std::size_t>((position + i) % numGeoms)];
        state.geomsOfSuper.push_back(&getGeometrySet().getGeometry(next));
    }
    position += state.numGeomsSuper;
    if (position >= numGeoms) {
        permutation.clear();
    }
}

void NNTrainer::printResult() const {
    // What has made no epoch has not converged to anything.
    const bool isUnmade = !state.hasEpoch && state.trainState == TrainState::converged;
    printOut("\n  %s\n\n", lineOf(isUnmade ? TrainState::notConverged : state.trainState));
    flushOut();
}

// Networks of before the first epoch are not worth the place of others.
void NNTrainer::storeResult() {
    if (state.hasEpoch) {
        state.storeNetwork(*this);
    } else {
        printOut("  * There was no epoch, so that nothing is stored.\n\n");
    }
}

void NNTrainer::optimize(bool fullBatch, bool direct, int batchSize) {
    prepareLoss();
    if (getProperty().keepBest != 0 && state.isRestored && !state.hasEpoch) {
        state.testNetworks(0, *this);
    }
    if (getProperty().lbfgs < 1) {
        AdamOptimizer(&state, this).optimize(fullBatch, direct, batchSize);
    } else {
        LbfgsOptimizer(&state, this).optimize(fullBatch, direct, batchSize);
    }
}

void NNTrainer::performDebug(const std::string& nnFile, float shift) {
    if (shift == 0.0f) {
        stopWithMessage("weight/bias shift is zero.");
    }
    requireShape(nnFile);
    state.wallTimer.start();
    state.arch =
        std::make_unique<NNArch>(archModeOfTrainer(), getGeometrySet().numElems, &getProperty(), true, false);
    NNArch& arch = *state.arch;
    arch.setGeometriesAll(&getGeometrySet());
    arch.initLayers(&getGeometrySet());
    restoreIfAsked(nnFile);
    arch.computeAll(neededDerivatives());
    arch.statisticsSymmFuncs(&getGeometrySet());
    arch.normalizeAll();
    printOut("  * Weight and Bias shift is %10.3e .\n\n", static_cast<double>(shift));
    printOut("  Debug Gradient of Weight and Bias:\n\n");
    flushOut();
    debugGradients(shift);
    state.wallTimer.stop();
    printOut("\n  * Wall time: %s.\n\n", state.wallTimer.getFullTime().c_str());
    state.arch.reset();
}

void NNTrainer::debugGradients(float shift) {
    prepareLoss();
    const std::vector<int> indices = makeShuffledList(getGeometrySet().numGeoms);
    state.arch->prepareBatch(indices);
    GradientCheck(&state, this).run(shift);
}

void NNTrainer::prepareLoss() {
    if (getProperty().renormLoss != 0) {
        printOut("  * Renormalize the loss function.\n\n");
    }
    if (getProperty().keepBest != 0) {
        weightPosition = 1.0;
        endTerms = makeLossTerms();
    }
    weightPosition = state.course.getStart();
    terms = makeLossTerms();
    trainErrors.assign(terms.size(), 0.0f);
    testErrors.assign(terms.size(), 0.0f);
}

NetworkTarget NNTrainer::targetOfTrainer() const {
    return archModeOfTrainer() == NNArch::onlyCharge ? NetworkTarget::charge : NetworkTarget::energy;
}

bool NNTrainer::evaluateTraining() {
    state.arch->clearWeightGrads();
    state.arch->evaluateLoss(targetOfTrainer(), terms);
    trainErrors = errorsOf(*state.arch, false);
    return meetsTargets(trainErrors);
}

bool NNTrainer::evaluateTest() {
    if (!state.testArch) {
        return false;
    }
    state.testArch->evaluate(targetOfTrainer(), derivativesToTest(terms));
    testErrors = errorsOf(*state.testArch, true);
    for (std::size_t t = 0; t < terms.size(); ++t) {
        if (testErrors[t]) {
            state.status.noteError(terms[t].getQuantity().getNames().symbol, *testErrors[t]);
        }
    }
    return meetsTargets(testErrors);
}

// What is not measured counts as without errors.
NNTrainer::Errors NNTrainer::errorsOf(const NNArch& arch, bool isTest) const {
    Errors errors;
    for (const LossTerm& term : terms) {
        QuantityError error{&term.getQuantity()};
        if (term.isMeasured() || (isTest && term.isWatched)) {
            arch.squareErrors({&error, 1});
            errors.push_back(error.count > 0 ? std::optional(error.rootMeanSquare()) : std::nullopt);
        } else {
            errors.push_back(term.isWatched ? std::nullopt : std::optional(0.0f));
        }
    }
    return errors;
}

bool NNTrainer::meetsTargets(const Errors& errors) const {
    for (std::size_t t = 0; t < terms.size(); ++t) {
        if (terms[t].targetError && errors[t] && !(*errors[t] <= *terms[t].targetError)) {
            return false;
        }
    }
    return true;
}

// What the loss of the mean of the models would be on the in-situ test. Where scales differ by element, their
// mean stands for all.
float NNTrainer::testMeasure() const {
    float measure = 0.0f;
    for (std::size_t t = 0; t < endTerms.size(); ++t) {
        const std::span<const float> scale = endTerms[t].getScale();
        if (!scale.empty()) {
            const float mean =
                std::accumulate(scale.begin(), scale.end(), 0.0f) / static_cast<float>(scale.size());
            const float error = testErrors[t].value_or(0.0f);
            const float loss = mean * error * error;
            measure += endTerms[t].takesRoot() ? std::sqrt(loss) : loss;
        }
    }
    return measure;
}

void NNTrainer::weighLoss(double place) {
    if (hasMovingWeights(getProperty()) && place != weightPosition) {
        weightPosition = place;
        terms = makeLossTerms();
    }
}

float NNTrainer::lossValue() const {
    float loss = 0.0f;
    for (const LossTerm& term : terms) {
        loss += std::accumulate(term.getLoss().begin(), term.getLoss().end(), 0.0f);
    }
    return loss;
}

void NNTrainer::printProgress(int epoch) const {
    const auto columns = [&](const Errors& errors) {
        std::string text;
        for (std::size_t t = 0; t < terms.size(); ++t) {
            if (errors[t]) {
                text += formatText("  RMSE(%s):%10.3e", terms[t].getQuantity().getNames().symbol,
                                   static_cast<double>(*errors[t]));
            }
        }
        return text;
    };
    printOut("  #.%6d%s  Loss:%10.3e  Time[ wall=%s epoch=%s ]\n", epoch, columns(trainErrors).c_str(),
             static_cast<double>(lossValue()), state.wallTimer.getTime().c_str(),
             state.epochTimer.getTime().c_str());
    if (state.testArch) {
        printOut("  @       %s  (for %s data)\n", columns(testErrors).c_str(),
                 getProperty().insituValid != 0 ? "validation" : "test");
    }
    flushOut();
}

bool NNTrainer::updateScheme(int /*epoch*/) {
    return false;
}

bool NNTrainer::advanceScheme() {
    state.trainState = TrainState::converged;
    return true;
}

} // namespace melta
