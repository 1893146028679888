#include "training/TrainingSession.hpp"

#include "driver/Reporting.hpp"
#include "modelio/ModelStore.hpp"
#include "network/ParameterPacking.hpp"

namespace melta {

bool TrainingSession::pollStopFile() {
    if (!isRootProcess() || !StopFile(stopFileName).consume()) {
        return false;
    }
    trainState = TrainState::exitedByUser;
    return true;
}

void TrainingSession::storeAtEpoch(int epoch) const {
    if (property->epochsStore > 0 && epoch % property->epochsStore == 0) {
        printOut("\n");
        storeNetwork();
    }
}

void TrainingSession::storeNetwork() const {
    storeNN(*arch, nnFileName, geometrySet);
}

void TrainingSession::copyLayersToTest() const {
    if (testArch) {
        copyLayers(*testArch, arch.get());
    }
}

} // namespace melta
