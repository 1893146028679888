#include "training/TrainingState.hpp"

#include "base/Interrupt.hpp"
#include "base/Reporting.hpp"
#include "network/ParameterPacking.hpp"

namespace melta {

bool TrainingState::pollStopFile() {
    if (!isRootProcess() || !(StopFile(stopFileName).consume() || isInterrupted())) {
        return false;
    }
    trainState = TrainState::exitedByUser;
    return true;
}

void TrainingState::storeAtEpoch(int epoch, TrainingTask& task) {
    if ((property->epochsStore > 0 && epoch % property->epochsStore == 0) || isStoreDue()) {
        storeMeanwhile(task);
    }
}

void TrainingState::storeIfDue(TrainingTask& task) {
    if (isStoreDue()) {
        storeMeanwhile(task);
    }
}

bool TrainingState::isStoreDue() const {
    const std::chrono::minutes interval(property->minutesStore);
    return property->minutesStore > 0 && std::chrono::steady_clock::now() - lastStore >= interval;
}

void TrainingState::storeMeanwhile(TrainingTask& task) {
    if (!hasEpoch) {
        return;
    }
    printOut("\n");
    storeBest(task, [this] { store->tryStoreNN(*arch); });
    lastStore = std::chrono::steady_clock::now();
}

void TrainingState::storeNetwork(TrainingTask& task) {
    storeBest(task, [this] { store->storeNN(*arch); });
}

// With the best networks in the arrangement, if any are kept.
template <class Store>
void TrainingState::storeBest(TrainingTask& task, const Store& storeNetworks) {
    const bool hasBest = !best.isEmpty();
    if (hasBest) {
        printBest();
        best.exchangeWith(*arch);
    }
    keepBeginningIfSpoiled(task);
    arch->renewSymmRanges(*geometrySet);
    if (hasCourse(*property, arch->hasEnergyNetworks())) {
        store->setCourse(textOf(course.getStanding()));
    }
    storeNetworks();
    if (hasBest) {
        best.exchangeWith(*arch);
    }
}

void TrainingState::printBest() const {
    const auto [super, epoch] = best.getMoment();
    std::string moment = "the beginning";
    if (epoch > 0) {
        moment = formatText("epoch %d", epoch);
        if (numSuperEpochs > 1) {
            moment += formatText(" of super epoch %d", super + 1);
        }
    }
    printOut("  * Keep the networks of %s, the best on the %s data: %.3e.\n\n", moment.c_str(),
             property->insituValid != 0 ? "validation" : "testing", static_cast<double>(best.getMeasure()));
}

// Both losses are taken with the weights of the beginning.
void TrainingState::keepBeginningIfSpoiled(TrainingTask& task) {
    task.weighLoss(course.getStart());
    if (beginning.isSpoiled(*arch, task)) {
        store->keepBeginning();
    }
    task.weighLoss(course.getPosition());
}

void TrainingState::showProgress(double epochs) {
    status.advance(static_cast<double>(superEpoch) * static_cast<double>(property->epochs) + epochs);
}

void TrainingState::testNetworks(int epoch, TrainingTask& task) {
    if (!testArch) {
        task.evaluateTest();
        return;
    }
    copyLayers(*testArch, arch.get());
    task.evaluateTest();
    if (property->keepBest != 0) {
        best.offer(*arch, task.testMeasure(), {superEpoch, epoch});
    }
}

} // namespace melta
