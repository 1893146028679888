#include "modelio/ModelStore.hpp"

#include "driver/LineReader.hpp"
#include "driver/Reporting.hpp"
#include "modelio/NNIO.hpp"
#include "modelio/NetworkKind.hpp"
#include "network/NNArch.hpp"

#include <algorithm>
#include <vector>

namespace melta {
namespace {

// Whether all files of the model are there that `arch` has networks for.
bool isComplete(const NNArch& arch, const std::string& fileName) {
    std::vector<std::string> names{fileName};
    if (!arch.getEnergyEnsembles().empty()) {
        names.push_back(companionName(fileName, energyKind));
    }
    if (!arch.getChargeEnsembles().empty()) {
        names.push_back(companionName(fileName, chargeKind));
    }
    return std::ranges::all_of(names,
                               [](const std::string& name) { return openForReading(name) != nullptr; });
}

} // namespace

void storeNN(const NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    printOut("  * Store the neural network to the file.\n\n");
    NNIO(&arch.getProperty(), geometrySet)
        .writeNetworkFile(fileName, arch.getSymmStatistics(), arch.getEnergyEnsembles(),
                          arch.getChargeEnsembles());
}

void restoreNN(NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet, bool checkFiles) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    if (checkFiles && !isComplete(arch, fileName)) {
        printOut("  * CANNOT restore the neural network from the file.\n\n");
        return;
    }
    printOut("  * Restore the neural network from the file.\n\n");
    NNIO(&arch.getProperty(), geometrySet)
        .readNetworkFile(fileName, arch.getSymmStatistics(), arch.getEnergyEnsembles(),
                         arch.getChargeEnsembles());
}

} // namespace melta
