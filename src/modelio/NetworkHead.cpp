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
    return scanner.readWord(element.name) && element.name.size() <= HeadElement::maxNameLength &&
           readFinite(scanner, element.symmAve) && readFinite(scanner, element.symmDev);
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
        std::fprintf(stream, "%s %.8e %.8e %d\n", geometrySet.elemNames[e].c_str(),
                     static_cast<double>(statistics.symmAve[e]), static_cast<double>(statistics.symmDev[e]),
                     static_cast<int>(geometrySet.elemAtomNumbers[e]));
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
