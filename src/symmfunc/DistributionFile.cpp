#include "symmfunc/DistributionFile.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "structure/GeometrySet.hpp"

#include <cctype>
#include <charconv>

namespace melta {
namespace {

int readNumElements(LineReader& reader, const std::string& fileName) {
    if (!reader.next()) {
        stopWithMessage("cannot read #elements: %s", fileName.c_str());
    }
    int count = 0;
    if (!FieldScanner(reader.line()).readInt(count) || count < 1) {
        stopWithMessage("incorrect #elements: %s", fileName.c_str());
    }
    return count;
}

std::string readName(LineReader& reader, const std::string& fileName) {
    if (!reader.next()) {
        stopWithMessage("cannot read name of element: %s", fileName.c_str());
    }
    std::string name;
    if (!FieldScanner(reader.line()).readWord(name) || name.size() > GeometrySet::maxLabelLength) {
        stopWithMessage("incorrect name of element: %s", fileName.c_str());
    }
    return name;
}

} // namespace

DistributionReader::DistributionReader(const std::string& name) : fileName(name), reader(name) {
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
}

DistributionHead DistributionReader::readHead(int numBasis) {
    if (!reader.next()) {
        stopWithMessage("cannot read dimensions of symm-func-distributions.");
    }
    FieldScanner scanner(reader.line());
    DistributionHead head;
    int numElems = 0;
    if (!scanner.readInt(numElems) || !scanner.readInt(head.numDists) || !scanner.readInt(head.numBasis) ||
        numElems < 1) {
        stopWithMessage("incorrect #elements: %s", fileName.c_str());
    }
    if (head.numBasis != numBasis) {
        stopWithMessage("incorrect #basis: %s", fileName.c_str());
    }
    if (head.numDists < 1) {
        stopWithMessage("incorrect size of distributions: %s", fileName.c_str());
    }
    for (int e = 0; e < numElems; ++e) {
        head.elements.push_back(readElement());
    }
    return head;
}

DistributionElement DistributionReader::readElement() {
    if (!reader.next()) {
        stopWithMessage("cannot read element's data of symm-func-distributions.");
    }
    FieldScanner scanner(reader.line());
    DistributionElement element;
    if (!scanner.readWord(element.name) || !scanner.readFloat(element.step) ||
        !scanner.readFloat(element.start)) {
        stopWithMessage("cannot read an element: %s", fileName.c_str());
    }
    if (!(element.step > 0.0f)) {
        stopWithMessage("step of distribution is not positive: %s", fileName.c_str());
    }
    return element;
}

std::vector<std::size_t> DistributionReader::matchElements(const DistributionHead& head, int numElems,
                                                           const GeometrySet& geometrySet) const {
    std::vector<std::size_t> runElements(head.elements.size(), unknown);
    for (int e = 0; e < numElems; ++e) {
        const std::string& name = geometrySet.getElementName(e);
        bool isFound = false;
        for (std::size_t i = 0; i < head.elements.size(); ++i) {
            if (head.elements[i].name == name) {
                runElements[i] = static_cast<std::size_t>(e);
                isFound = true;
            }
        }
        if (!isFound) {
            stopWithMessage("there is unknown element: %s: %s", name.c_str(), fileName.c_str());
        }
    }
    return runElements;
}

std::vector<std::int32_t> DistributionReader::readCounts(const DistributionHead& head) {
    const auto size = static_cast<std::size_t>(head.numDists) * static_cast<std::size_t>(head.numBasis);
    std::vector<std::int32_t> counts;
    while (counts.size() < size) {
        std::int32_t count = 0;
        if (!readCount(count)) {
            stopWithMessage("cannot scan distribution: %s", fileName.c_str());
        }
        counts.push_back(count);
    }
    return counts;
}

// The next whole number, on this line or a later one.
bool DistributionReader::readCount(std::int32_t& count) {
    for (;;) {
        while (position != end && std::isspace(static_cast<unsigned char>(*position)) != 0) {
            ++position;
        }
        if (position != end) {
            break;
        }
        if (!reader.next()) {
            return false;
        }
        position = reader.line().data();
        end = position + reader.line().size();
    }
    const auto [next, error] = std::from_chars(position, end, count);
    position = next;
    return error == std::errc();
}

void writeDistributionText(std::FILE* stream, const DistributionHead& head,
                           std::span<const std::vector<std::int32_t>> counts) {
    std::fprintf(stream, "%zu %d %d\n", head.elements.size(), head.numDists, head.numBasis);
    for (const DistributionElement& element : head.elements) {
        std::fprintf(stream, "%s %.8e %.8e\n", element.name.c_str(), static_cast<double>(element.step),
                     static_cast<double>(element.start));
    }
    const auto rowLength = static_cast<std::size_t>(head.numBasis);
    for (const std::vector<std::int32_t>& ofElement : counts) {
        for (std::size_t i = 0; i < ofElement.size(); ++i) {
            std::fprintf(stream, " %d", ofElement[i]);
            if ((i + 1) % rowLength == 0) {
                std::fputc('\n', stream);
            }
        }
    }
}

std::vector<std::string> readNetworkElements(const std::string& fileName) {
    LineReader reader(fileName);
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    const int numElems = readNumElements(reader, fileName);
    std::vector<std::string> names;
    for (int e = 0; e < numElems; ++e) {
        names.push_back(readName(reader, fileName));
    }
    return names;
}

} // namespace melta
