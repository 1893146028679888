#include "modelio/NNIO.hpp"

#include "driver/FileReplacement.hpp"
#include "driver/Reporting.hpp"
#include "modelio/NetworkCompanion.hpp"
#include "modelio/NetworkHead.hpp"
#include "modelio/NetworkKind.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>

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

// Index in the set for each element of the head, or -1.
std::vector<int> mapElements(const std::vector<HeadElement>& elements, const GeometrySet& geometrySet) {
    std::vector<int> map;
    for (const HeadElement& element : elements) {
        const auto found = std::ranges::find(geometrySet.elemNames, element.name);
        map.push_back(found == geometrySet.elemNames.end()
                          ? -1
                          : static_cast<int>(found - geometrySet.elemNames.begin()));
    }
    return map;
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
    requireElements(*geometrySet, statistics, energy, charge);
    FileReplacement files;
    std::FILE* const head = files.open(fileName);
    if (!energy.empty()) {
        writeCompanion(files.open(companionName(fileName, energyKind)), energyKind, *geometrySet, energy);
    }
    if (!charge.empty()) {
        writeCompanion(files.open(companionName(fileName, chargeKind)), chargeKind, *geometrySet, charge);
    }
    writeNetworkHead(head, *property, *geometrySet, statistics);
    files.commit();
}

void NNIO::readNetworkFile(const std::string& fileName, SymmStatistics& statistics,
                           std::vector<NNEnsemble>& energy, std::vector<NNEnsemble>& charge) const {
    const std::vector<HeadElement> elements =
        readNetworkHead(fileName, *property, *geometrySet, !energy.empty(), !charge.empty());
    requireElements(*geometrySet, statistics, energy, charge);
    const std::vector<int> map = mapElements(elements, *geometrySet);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (map[i] >= 0) {
            statistics.symmAve[static_cast<std::size_t>(map[i])] = elements[i].symmAve;
            statistics.symmDev[static_cast<std::size_t>(map[i])] = elements[i].symmDev;
        }
    }
    if (!energy.empty()) {
        readCompanion(fileName, energyKind, *property, *geometrySet, elements, map, energy);
    }
    if (property->withCharge != 0 && !charge.empty()) {
        readCompanion(fileName, chargeKind, *property, *geometrySet, elements, map, charge);
    }
}

} // namespace melta
