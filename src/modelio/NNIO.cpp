#include "modelio/NNIO.hpp"

#include "base/FileReplacement.hpp"
#include "base/Reporting.hpp"
#include "config/NetworkKind.hpp"
#include "modelio/NetworkCompanion.hpp"
#include "modelio/NetworkHead.hpp"
#include "modelio/OpenModel.hpp"
#include "network/InputScales.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <utility>

namespace melta {
namespace {

// Stops unless there is data for each element of the set.
void requireElements(const GeometrySet& geometrySet, const SymmStatistics& statistics,
                     const std::vector<NNEnsemble>& energy, const std::vector<NNEnsemble>& charge) {
    const auto numElems = static_cast<std::size_t>(std::max(geometrySet.numElems, 0));
    const auto isShort = [&](std::size_t size) { return size != numElems; };
    const bool isEnergyShort =
        !energy.empty() && (isShort(energy.size()) || isShort(geometrySet.energyAve.size()));
    const bool isChargeShort = !charge.empty() && isShort(charge.size());
    if (isShort(statistics.symmAve.size()) || isShort(statistics.symmDev.size()) ||
        isShort(geometrySet.elemNames.size()) || isShort(geometrySet.elemAtomNumbers.size()) ||
        isEnergyShort || isChargeShort) {
        stopWithMessage("index of element is out of range.");
    }
}

} // namespace

NNIO::NNIO(const Property* settings, const GeometrySet* set) : property(settings), geometrySet(set) {
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
}

void NNIO::writeNetworkFile(const std::string& fileName, const SymmStatistics& statistics,
                            const std::vector<NNEnsemble>& energy,
                            const std::vector<NNEnsemble>& charge) const {
    FileReplacement files;
    writeNetworkFile(files, fileName, statistics, energy, charge);
    files.commit();
}

void NNIO::writeNetworkFile(FileReplacement& files, const std::string& fileName,
                            const SymmStatistics& statistics, const std::vector<NNEnsemble>& energy,
                            const std::vector<NNEnsemble>& charge) const {
    requireElements(*geometrySet, statistics, energy, charge);
    std::FILE* const head = files.open(fileName);
    const auto write = [&](const NetworkKind& kind, const std::vector<NNEnsemble>& ensembles) {
        if (ensembles.empty()) {
            return;
        }
        std::FILE* const companion = files.open(companionName(fileName, kind));
        if (statistics.scalesEach()) {
            writeCompanion(companion, kind, *geometrySet, withSharedScales(statistics, ensembles));
        } else {
            writeCompanion(companion, kind, *geometrySet, ensembles);
        }
    };
    write(energyKind, energy);
    write(chargeKind, charge);
    writeNetworkHead(head, *property, *geometrySet, statistics);
}

void NNIO::readNetworkFile(const std::string& fileName, SymmStatistics& statistics,
                           std::vector<NNEnsemble>& energy, std::vector<NNEnsemble>& charge) const {
    OpenModel files(fileName);
    const std::vector<HeadElement> elements = readNetworkHead(std::move(files.head), fileName, *property,
                                                              *geometrySet, !energy.empty(), !charge.empty());
    requireElements(*geometrySet, statistics, energy, charge);
    const std::vector<int> map = mapElements(elements, *geometrySet);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (map[i] >= 0) {
            statistics.symmAve[static_cast<std::size_t>(map[i])] = elements[i].symmAve;
            statistics.symmDev[static_cast<std::size_t>(map[i])] = elements[i].symmDev;
        }
    }
    if (!statistics.elementWeights.empty()) {
        takeElementWeights(elements, map, static_cast<std::size_t>(geometrySet->numElems), fileName,
                           statistics.elementWeights);
    }
    if (!energy.empty()) {
        readCompanion(std::move(files.energy), companionName(fileName, energyKind), energyKind, *property,
                      *geometrySet, elements, map, energy);
    }
    if (property->withCharge != 0 && !charge.empty()) {
        readCompanion(std::move(files.charge), companionName(fileName, chargeKind), chargeKind, *property,
                      *geometrySet, elements, map, charge);
    }
}

} // namespace melta
