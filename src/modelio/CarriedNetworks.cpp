#include "modelio/CarriedNetworks.hpp"

#include "base/FileReplacement.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "config/BaselineKind.hpp"
#include "config/NetworkKind.hpp"
#include "config/Property.hpp"
#include "config/SymmFuncKind.hpp"
#include "modelio/NetworkCompanion.hpp"
#include "modelio/NetworkHead.hpp"
#include "network/NNArch.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <filesystem>
#include <tuple>

namespace fs = std::filesystem;

namespace melta {
namespace {

bool haveSameSymmFuncs(const Property& a, const Property& b) {
    const SymmFuncKind& kind = symmFuncKindOf(a);
    return a.symmFuncKind == b.symmFuncKind && kind.isSame(a, b);
}

// Whether elements count as much in the functions of a head as in those of `arch`.
bool haveSameWeights(const StoredHead& head, const NNArch& arch, const GeometrySet& set,
                     const std::string& headName) {
    const std::vector<float>& present = arch.getSymmStatistics().elementWeights;
    if (present.empty()) {
        return true;
    }
    const auto numElems = static_cast<std::size_t>(set.numElems);
    const std::size_t numChannels = present.size() / (numElems * numElems);
    if (std::ranges::any_of(head.elements, [&](const HeadElement& element) {
            return element.elementWeights.size() != head.elements.size() * numChannels;
        })) {
        return false;
    }
    std::vector<float> stored = present;
    takeElementWeights(head.elements, mapElements(head.elements, set), numElems, headName, stored);
    return stored == present;
}

// Energy networks know what the baseline and the charges leave.
bool haveSameRest(const Property& a, const Property& b) {
    const BaselineKind* const baseline = baselineKindOf(a);
    return (a.withCharge != 0) == (b.withCharge != 0) && baseline == baselineKindOf(b) &&
           (baseline == nullptr || baseline->isSame(a, b));
}

NNShape shapeOf(const Property& property, const NetworkFields& fields) {
    return {property.*fields.models, property.*fields.layers, property.*fields.nodes, property.*fields.activ};
}

bool isUsable(const NNShape& shape) {
    return shape.numModels > 0 && shape.numLayers > 0 && shape.numNodes > 0 &&
           findCode(activationNames, shape.activation) != nullptr;
}

bool isSame(const NNShape& a, const NNShape& b) {
    return std::tie(a.numModels, a.numLayers, a.numNodes, a.activation) ==
           std::tie(b.numModels, b.numLayers, b.numNodes, b.activation);
}

// Numbers of a companion for so many elements.
double countNumbers(const NNShape& shape, double numInputs, std::size_t numElems) {
    const double nodes = shape.numNodes;
    const double perModel =
        nodes * (numInputs + 1.0) + (shape.numLayers - 1.0) * nodes * (nodes + 1.0) + nodes + 1.0;
    return perModel * shape.numModels * static_cast<double>(numElems);
}

bool hasElementsOf(const StoredHead& head, const GeometrySet& set, const SymmStatistics& statistics) {
    if (head.elements.size() != set.elemNames.size()) {
        return false;
    }
    for (std::size_t e = 0; e < head.elements.size(); ++e) {
        const HeadElement& element = head.elements[e];
        if (element.name != set.elemNames[e] || element.symmAve != statistics.symmAve[e] ||
            element.symmDev != statistics.symmDev[e]) {
            return false;
        }
    }
    return true;
}

// Whether the head tells what the networks in the companion are, and means the same as that of `arch` will.
bool isMeaningful(const std::optional<StoredHead>& head, const NNArch& arch, const NetworkKind& kind,
                  const std::string& fileName) {
    if (!head || (!kind.isFromMean && head->settings.withCharge == 0)) {
        return false;
    }
    const Property& settings = arch.getProperty();
    const NNShape shape = shapeOf(head->settings, kind.fields);
    if (!isUsable(shape) || !isSame(shape, shapeOf(settings, kind.fields)) ||
        !haveSameSymmFuncs(head->settings, settings) ||
        (kind.isFromMean && !haveSameRest(head->settings, settings))) {
        return false;
    }
    const std::size_t numElems = head->elements.size();
    const SymmFuncKind& symmFunc = symmFuncKindOf(settings);
    const double numInputs = symmFunc.dependsOnElements(settings)
                                 ? symmFunc.countInputs(settings, static_cast<int>(numElems))
                                 : static_cast<double>(arch.getNumBasis());
    return holdsNumbers(fileName, countNumbers(shape, numInputs, numElems));
}

// The first name that is free of "FILE.kept", "FILE.kept.2", and so on.
std::string keptNameOf(const std::string& fileName) {
    std::string name = fileName + ".kept";
    std::error_code ignored;
    for (int number = 2; fs::exists(fs::symlink_status(name, ignored)); ++number) {
        name = formatText("%s.kept.%d", fileName.c_str(), number);
    }
    return name;
}

} // namespace

CarriedNetworks::CarriedNetworks(const NNArch& arch, const std::string& headName,
                                 const GeometrySet* geometrySet)
    : kind(arch.hasEnergyNetworks() ? &chargeKind : &energyKind), set(geometrySet),
      fileName(companionName(headName, *kind)) {
    const bool hasAllKinds = arch.hasEnergyNetworks() && arch.hasChargeNetworks();
    const bool isPartOfModel = kind->isFromMean || arch.getProperty().withCharge != 0;
    if (hasAllKinds || !isPartOfModel || openForReading(fileName) == nullptr) {
        return;
    }
    const std::optional<StoredHead> head = peekNetworkHead(headName);
    if (!isMeaningful(head, arch, *kind, fileName) || !haveSameWeights(*head, arch, *set, headName)) {
        otherName = keptNameOf(fileName);
    } else if (!hasElementsOf(*head, *set, arch.getSymmStatistics())) {
        carry(arch, *head);
    }
}

void CarriedNetworks::carry(const NNArch& arch, const StoredHead& head) {
    const SymmStatistics& statistics = arch.getSymmStatistics();
    ensembles = kind->isFromMean ? arch.makeEnergyNetworks(*set) : arch.makeChargeNetworks(*set);
    const std::vector<int> map = mapElements(head.elements, *set);
    readCompanion(openForReading(fileName), fileName, *kind, arch.getProperty(), *set, head.elements, map,
                  ensembles);
    for (std::size_t i = 0; i < map.size(); ++i) {
        if (map[i] >= 0) {
            const auto e = static_cast<std::size_t>(map[i]);
            ensembles[e].getInterLayers().front().rescaleWeight(head.elements[i].symmAve,
                                                                head.elements[i].symmDev,
                                                                statistics.symmAve[e], statistics.symmDev[e]);
        }
    }
}

void CarriedNetworks::write(FileReplacement& files) const {
    if (!ensembles.empty()) {
        writeCompanion(files.open(fileName), *kind, *set, ensembles);
    }
    const FilePointer old = otherName.empty() ? nullptr : openForReading(fileName);
    if (old) {
        TextCopier(files.open(otherName)).copyAll(old.get());
        files.remove(fileName);
    }
}

void CarriedNetworks::printSetAside() const {
    if (!otherName.empty()) {
        printOut(
            "  * WARNING: the %s networks do not fit this model any more, and are kept in the file: %s\n\n",
            kind->isFromMean ? "energy" : "charge", otherName.c_str());
    }
}

} // namespace melta
