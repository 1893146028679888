#include "modelio/NetworkHead.hpp"

#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"
#include "config/HeadReader.hpp"
#include "config/HeadWriter.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <utility>

namespace melta {
namespace {

// A line "name symmAve symmDev ...". False if it is another one.
bool parseElement(const std::string& line, HeadElement& element) {
    FieldScanner scanner(line);
    if (!scanner.readWord(element.name) || element.name.size() > HeadElement::maxNameLength ||
        !readFinite(scanner, element.symmAve) || !readFinite(scanner, element.symmDev)) {
        return false;
    }
    int atomNumber = 0;
    float weight = 0.0f;
    if (scanner.readInt(atomNumber)) {
        while (readFinite(scanner, weight)) {
            element.elementWeights.push_back(weight);
        }
    }
    return true;
}

bool hasElement(const std::vector<HeadElement>& elements, const std::string& name) {
    return std::ranges::find(elements, name, &HeadElement::name) != elements.end();
}

bool readNumElems(HeadReader& head, int& numElems) {
    if (!head.next("cannot read #elements.")) {
        return false;
    }
    const bool isRead = FieldScanner(head.line()).readInt(numElems);
    return head.require(isRead && numElems > 0 && numElems <= GeometrySet::maxElems, "#elements");
}

bool readElement(HeadReader& head, std::vector<HeadElement>& elements) {
    HeadElement element{};
    if (!head.next("cannot read element's data.")) {
        return false;
    }
    if (!parseElement(head.line(), element)) {
        return head.refuse("cannot read an element: " + head.getFileName());
    }
    if (!(element.symmDev > 0.0f)) {
        return head.refuse("deviation of symmetry functions is not positive: " + head.getFileName());
    }
    if (hasElement(elements, element.name)) {
        return head.refuse(
            formatText("duplicate element (%s): %s", element.name.c_str(), head.getFileName().c_str()));
    }
    elements.push_back(element);
    return true;
}

bool readElements(HeadReader& head, int numElems, std::vector<HeadElement>& elements) {
    for (int i = 0; i < numElems; ++i) {
        if (!readElement(head, elements)) {
            return false;
        }
    }
    return true;
}

} // namespace

void writeNetworkHead(std::FILE* stream, const Property& property, const GeometrySet& geometrySet,
                      const SymmStatistics& statistics) {
    writeHeadSettings(stream, property);
    std::fprintf(stream, "%d\n", geometrySet.numElems);
    for (std::size_t e = 0; e < static_cast<std::size_t>(geometrySet.numElems); ++e) {
        std::fprintf(stream, "%s %.8e %.8e %d", geometrySet.elemNames[e].c_str(),
                     static_cast<double>(statistics.symmAve[e]), static_cast<double>(statistics.symmDev[e]),
                     static_cast<int>(geometrySet.elemAtomNumbers[e]));
        for (const float weight : statistics.ofElement(statistics.elementWeights, e)) {
            std::fprintf(stream, " %.8e", static_cast<double>(weight));
        }
        std::fputs("\n", stream);
    }
}

std::vector<HeadElement> readNetworkHead(FilePointer file, const std::string& fileName,
                                         const Property& property, const GeometrySet& geometrySet,
                                         bool withEnergy, bool withCharge) {
    LineReader lines(std::move(file), fileName);
    if (!lines.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    HeadReader head(lines, property, fileName, withEnergy, withCharge);
    int numElems = 0;
    head.readSettings();
    readNumElems(head, numElems);
    if (geometrySet.numElems < 1) {
        stopWithMessage("now, you have no elements.");
    }
    std::vector<HeadElement> elements;
    readElements(head, numElems, elements);
    return elements;
}

void takeElementWeights(const std::vector<HeadElement>& elements, std::span<const int> map,
                        std::size_t numElems, const std::string& fileName,
                        std::vector<float>& elementWeights) {
    const std::size_t numChannels = elementWeights.size() / (numElems * numElems);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (elements[i].elementWeights.size() != elements.size() * numChannels) {
            stopWithMessage("incorrect weights of channels: %s", fileName.c_str());
        }
        for (std::size_t j = 0; map[i] >= 0 && j < elements.size(); ++j) {
            if (map[j] >= 0) {
                const std::size_t place =
                    static_cast<std::size_t>(map[i]) * numElems + static_cast<std::size_t>(map[j]);
                std::copy_n(elements[i].elementWeights.begin() + static_cast<std::ptrdiff_t>(j * numChannels),
                            numChannels,
                            elementWeights.begin() + static_cast<std::ptrdiff_t>(place * numChannels));
            }
        }
    }
}

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

std::optional<StoredHead> peekNetworkHead(const std::string& fileName) {
    LineReader lines(fileName, LineReader::Overlong::end);
    StoredHead stored;
    HeadReader head(lines, stored.settings);
    int numElems = 0;
    if (!head.readSettings() || !readNumElems(head, numElems) ||
        !readElements(head, numElems, stored.elements)) {
        return std::nullopt;
    }
    return stored;
}

StoredHead readStoredHead(LineReader& lines, const std::string& fileName) {
    if (!lines.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    StoredHead stored;
    HeadReader head(lines, stored.settings, fileName);
    if (!head.readSettings()) {
        stopWithMessage("cannot peek file: %s", fileName.c_str());
    }
    int numElems = 0;
    readNumElems(head, numElems);
    readElements(head, numElems, stored.elements);
    return stored;
}

} // namespace melta
