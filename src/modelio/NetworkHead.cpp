#include "modelio/NetworkHead.hpp"

#include "base/Reporting.hpp"
#include "config/Codes.hpp"
#include "config/FiniteNumber.hpp"
#include "config/PropertyPeek.hpp"
#include "modelio/NetworkKind.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace melta {
namespace {

// The baseline potential of a model, by its code in the head.
struct Baseline {
    enum Code : int { none = 0, classical = 1, reaxFF = 2 };
};

int baselineOf(const Property& property) {
    if (property.withReaxFF != 0) {
        return Baseline::reaxFF;
    }
    return property.withClassical != 0 ? Baseline::classical : Baseline::none;
}

// Takes the whole numbers at the start of a line and counts them; the rest of `values` stays as it is.
std::size_t scanInts(const std::string& line, std::span<int> values) {
    FieldScanner scanner(line);
    std::size_t count = 0;
    while (count < values.size() && scanner.readInt(values[count])) {
        ++count;
    }
    return count;
}

// Two sizes and two lengths, as each kind of symmetry function has them.
void writeSizes(std::FILE* stream, int radialSize, int angularSize, float firstLength, float secondLength) {
    std::fprintf(stream, "%d %d %.8e %.8e", radialSize, angularSize, static_cast<double>(firstLength),
                 static_cast<double>(secondLength));
}

void writeNumbers(std::FILE* stream, std::initializer_list<float> numbers) {
    const char* separator = "";
    for (const float number : numbers) {
        std::fprintf(stream, "%s%.8e", separator, static_cast<double>(number));
        separator = " ";
    }
    std::fprintf(stream, "\n");
}

void writeBehler(std::FILE* stream, const Property& property) {
    writeSizes(stream, property.numRadius, property.numAngle, property.rcutRadius, property.rcutAngle);
    std::fprintf(stream, " %d\n", property.behlerG4);
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::max(property.numRadius, 0)); ++i) {
        writeNumbers(stream, {property.radiusEta[i], property.radiusShift[i]});
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::max(property.numAngle, 0)); ++i) {
        writeNumbers(stream, {property.angleEta[i], property.angleZeta[i], property.angleShift[i]});
    }
}

void writeSymmFunc(std::FILE* stream, const Property& property) {
    switch (property.symmFuncKind) {
    case SymmFuncKind::manyBody:
        writeSizes(stream, property.m2, property.m3, property.rinner, property.router);
        std::fprintf(stream, "\n");
        break;
    case SymmFuncKind::behler:
        writeBehler(stream, property);
        break;
    default:
        writeSizes(stream, property.numRadius, property.numAngle, property.rcutRadius, property.rcutAngle);
        std::fprintf(stream, "\n");
        break;
    }
}

// Files of earlier versions have switches with other numbers, of which some cannot be read again.
int switchOf(int value) {
    return value != 0 ? 1 : 0;
}

void writeShape(std::FILE* stream, const Property& property, const NetworkFields& fields) {
    std::fprintf(stream, "%d %d %d %d\n", property.*fields.layers, property.*fields.nodes,
                 property.*fields.activ, property.*fields.models);
}

// A line "name symmAve symmDev ...". False if it is another one.
bool parseElement(const std::string& line, HeadElement& element) {
    FieldScanner scanner(line);
    return scanner.readWord(element.name) && element.name.size() <= HeadElement::maxNameLength &&
           readFinite(scanner, element.symmAve) && readFinite(scanner, element.symmDev);
}

bool hasElement(const std::vector<HeadElement>& elements, const std::string& name) {
    return std::ranges::find(elements, name, &HeadElement::name) != elements.end();
}

// Reads the head line by line. Each function takes the lines of one item and compares them with the settings.
class HeadReader {
public:
    HeadReader(FilePointer file, const std::string& name, const Property& settings)
        : fileName(name), property(settings), reader(std::move(file), name) {
        if (!reader.isOpen()) {
            stopWithMessage("cannot open file: %s", fileName.c_str());
        }
    }

    void readKinds() {
        requireLine("cannot read symmetry function.");
        std::array<int, 4> values{};
        const std::size_t count = scanInts(reader.line(), values);
        const int elemWeight = count >= 3 ? values[1] : 0;
        const int baseline = count >= 4 ? values[3] : 0;
        const int expected = baselineOf(property);
        require(values[0] != 0 && values[0] == property.symmFuncKind, "symmFunc");
        require(elemWeight >= 0 && elemWeight == property.elemWeight, "elemWeight");
        require(baseline >= 0 && (baseline == Baseline::classical) == (expected == Baseline::classical),
                "withClassical");
        require((baseline >= Baseline::reaxFF) == (expected == Baseline::reaxFF), "withReaxFF");
        if (expected == Baseline::reaxFF) {
            requireLine("cannot read rcut of ReaxFF.");
        }
    }

    void readSymmFunc() {
        switch (property.symmFuncKind) {
        case SymmFuncKind::manyBody:
            requireLine("cannot read many-body symmetry function.");
            checkSizes(property.m2, "m2", property.m3, "m3");
            break;
        case SymmFuncKind::behler:
            requireLine("cannot read Behler's symmetry function.");
            checkSizes(property.numRadius, "#G2-functions of Behler", property.numAngle,
                       "#G3/G4-functions of Behler");
            for (int i = 0; i < property.numRadius; ++i) {
                requireLine("cannot read G2 of Behler.");
            }
            for (int i = 0; i < property.numAngle; ++i) {
                requireLine("cannot read G3/G4 of Behler.");
            }
            break;
        case SymmFuncKind::chebyshev:
            requireLine("cannot read Chebyshev-type symmetry function.");
            checkSizes(property.numRadius, "#C2-functions of Chebyshev", property.numAngle,
                       "#C3-functions of Chebyshev");
            break;
        default:
            stopWithMessage("unknown symmetry function: %s", fileName.c_str());
        }
    }

    void readWithCharge() {
        requireLine("cannot read type of neural network.");
        int withCharge = 0;
        if (!FieldScanner(reader.line()).readInt(withCharge)) {
            stopWithMessage("error in reading type of neural network: %s", fileName.c_str());
        }
        require(withCharge == property.withCharge, "type of neural network");
    }

    void readShape(const NetworkKind& kind, bool isChecked) {
        requireLine(formatText("cannot read properties of %s neural network.", kind.owner).c_str());
        if (!isChecked) {
            return;
        }
        std::array<int, 4> values{};
        if (scanInts(reader.line(), values) == 3) {
            values[3] = 1;
        }
        const auto check = [&](int value, int Property::*expected, const char* item) {
            const bool isValid = value > 0 && value == property.*expected;
            require(isValid, formatText("%s of %s neural network", item, kind.owner).c_str());
        };
        check(values[3], kind.fields.models, "#models");
        check(values[0], kind.fields.layers, "#layers");
        check(values[1], kind.fields.nodes, "#nodes");
        check(values[2], kind.fields.activ, "activation");
        // A test compares the file with settings that came from it, so that an unknown code would agree with
        // itself.
        require(findCode(activationNames, values[2]) != nullptr,
                formatText("activation of %s neural network", kind.owner).c_str());
    }

    std::vector<HeadElement> readElements(const GeometrySet& geometrySet) {
        requireLine("cannot read #elements.");
        int numElems = 0;
        const bool isRead = FieldScanner(reader.line()).readInt(numElems);
        require(isRead && numElems > 0 && numElems <= GeometrySet::maxElems, "#elements");
        if (geometrySet.numElems < 1) {
            stopWithMessage("now, you have no elements.");
        }
        std::vector<HeadElement> elements;
        for (int i = 0; i < numElems; ++i) {
            requireLine("cannot read element's data.");
            const HeadElement element = readElement();
            if (hasElement(elements, element.name)) {
                stopWithMessage("duplicate element (%s): %s", element.name.c_str(), fileName.c_str());
            }
            elements.push_back(element);
        }
        return elements;
    }

private:
    // Goes to the next line, or stops with the message.
    void requireLine(const char* message) {
        if (!reader.next()) {
            stopWithMessage("%s", message);
        }
    }

    void require(bool isValid, const char* item) const {
        if (!isValid) {
            stopWithMessage("incorrect %s: %s", item, fileName.c_str());
        }
    }

    // The two sizes at the start of the line of a symmetry function.
    void checkSizes(int radialSize, const char* radialItem, int angularSize, const char* angularItem) const {
        std::array<int, 2> sizes{};
        scanInts(reader.line(), sizes);
        require(sizes[0] > 0 && sizes[0] == radialSize, radialItem);
        require(sizes[1] >= 0 && sizes[1] == angularSize, angularItem);
    }

    HeadElement readElement() const {
        HeadElement element{};
        if (!parseElement(reader.line(), element)) {
            stopWithMessage("cannot read an element: %s", fileName.c_str());
        }
        if (!(element.symmDev > 0.0f)) {
            stopWithMessage("deviation of symmetry functions is not positive: %s", fileName.c_str());
        }
        return element;
    }

    std::string fileName;
    const Property& property;
    LineReader reader;
};

} // namespace

void writeNetworkHead(std::FILE* stream, const Property& property, const GeometrySet& geometrySet,
                      const SymmStatistics& statistics) {
    const int baseline = baselineOf(property);
    std::fprintf(stream, "%d %d %d %d\n", property.symmFuncKind, switchOf(property.elemWeight),
                 switchOf(property.tanhCutoff), baseline);
    if (baseline == Baseline::reaxFF) {
        writeNumbers(stream, {property.rcutReaxFF, property.rateReaxFF});
    }
    writeSymmFunc(stream, property);
    std::fprintf(stream, "%d\n", switchOf(property.withCharge));
    writeShape(stream, property, energyKind.fields);
    if (property.withCharge != 0) {
        writeShape(stream, property, chargeKind.fields);
    }
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
    HeadReader reader(std::move(file), fileName, property);
    reader.readKinds();
    reader.readSymmFunc();
    reader.readWithCharge();
    reader.readShape(energyKind, withEnergy);
    if (property.withCharge != 0) {
        reader.readShape(chargeKind, withCharge);
    }
    return reader.readElements(geometrySet);
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
    LineReader reader(fileName, LineReader::Overlong::end);
    StoredHead head;
    int numElems = 0;
    if (!readHeadSettings(reader, head.settings) || !reader.next() ||
        !FieldScanner(reader.line()).readInt(numElems) || numElems < 1 || numElems > GeometrySet::maxElems) {
        return std::nullopt;
    }
    for (int i = 0; i < numElems; ++i) {
        HeadElement element{};
        if (!reader.next() || !parseElement(reader.line(), element) || !(element.symmDev > 0.0f) ||
            hasElement(head.elements, element.name)) {
            return std::nullopt;
        }
        head.elements.push_back(element);
    }
    return head;
}

} // namespace melta
