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
    keepBeginningIfSpoiled(task);
    noteCourse();
    store->tryStoreNN(*arch);
    lastStore = std::chrono::steady_clock::now();
}

void TrainingState::storeNetwork(TrainingTask& task) {
    keepBeginningIfSpoiled(task);
    noteCourse();
    store->storeNN(*arch);
}

void TrainingState::noteCourse() const {
    if (hasCourse(*property, arch->hasEnergyNetworks())) {
        store->setCourse(textOf(course.getStanding()));
    }
}

// Both losses are taken with the weights of the beginning.
void TrainingState::keepBeginningIfSpoiled(TrainingTask& task) {
    task.weighLoss(course.getStart());
    if (beginning.isSpoiled(*arch, task)) {
        store->keepBeginning();
    }
    task.weighLoss(course.getPosition());
}

void TrainingState::copyLayersToTest() const {
    if (testArch) {
        copyLayers(*testArch, arch.get());
    }
}

} // namespace melta
