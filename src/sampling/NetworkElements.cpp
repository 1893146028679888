#include "sampling/NetworkElements.hpp"

#include "base/FieldScanner.hpp"
#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "structure/ElementSymbols.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>

namespace melta {
namespace {

int readCount(LineReader& reader, const std::string& gdistFile) {
    if (!reader.next()) {
        stopWithMessage("cannot read #elements: %s", gdistFile.c_str());
    }
    int count = 0;
    if (!FieldScanner(reader.line()).readInt(count) || count < 1) {
        stopWithMessage("incorrect #elements: %s", gdistFile.c_str());
    }
    return count;
}

std::string readName(LineReader& reader, const std::string& gdistFile) {
    if (!reader.next()) {
        stopWithMessage("cannot read name of element: %s", gdistFile.c_str());
    }
    std::string name;
    if (!FieldScanner(reader.line()).readWord(name) || name.size() > GeometrySet::maxLabelLength) {
        stopWithMessage("incorrect name of element: %s", gdistFile.c_str());
    }
    return name;
}

} // namespace

std::vector<std::string> readNetworkElements(const std::string& gdistFile) {
    LineReader reader(gdistFile);
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", gdistFile.c_str());
    }
    const int numElems = readCount(reader, gdistFile);
    std::vector<std::string> names;
    for (int e = 0; e < numElems; ++e) {
        names.push_back(readName(reader, gdistFile));
    }
    return names;
}

std::vector<std::string> findNetworkElements(std::span<const std::string> names,
                                             std::span<const std::string> networkNames) {
    std::vector<std::string> found;
    for (const std::string& name : names) {
        auto networkName = std::ranges::find(networkNames, name);
        if (networkName == networkNames.end()) {
            std::string symbol = name;
            regularizeElement(symbol);
            networkName = std::ranges::find(networkNames, symbol);
        }
        if (networkName == networkNames.end()) {
            stopWithMessage("the neural network does not have the element: %s", name.c_str());
        }
        found.push_back(*networkName);
    }
    return found;
}

} // namespace melta
