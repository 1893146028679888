#include "sampling/SwappingCard.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "structure/GeometrySet.hpp"

#include <cmath>
#include <utility>

namespace melta {
namespace {

int readCount(LineReader& reader, const std::string& fileName) {
    if (!reader.next()) {
        stopWithMessage("cannot read #swapping: %s", fileName.c_str());
    }
    int count = 0;
    if (!FieldScanner(reader.line()).readInt(count) || count < 1) {
        stopWithMessage("incorrect #swapping: %s", fileName.c_str());
    }
    return count;
}

bool readName(FieldScanner& fields, std::string& name) {
    return fields.readWord(name) && name.size() <= GeometrySet::maxLabelLength;
}

void readPair(SwappingCard& card, const std::string& line, const std::string& fileName) {
    FieldScanner fields(line);
    std::array<std::string, 2> names;
    float temperature = SwappingCard::noTemperature;
    const bool hasNames = readName(fields, names[0]) && readName(fields, names[1]);
    // Nothing is stored where no number stands.
    fields.readFloat(temperature);
    if (!hasNames || !std::isfinite(temperature)) {
        stopWithMessage("incorrect swapping pair: %s", fileName.c_str());
    }
    if (names[0] == names[1]) {
        stopWithMessage("same-element swapping: %s", fileName.c_str());
    }
    card.pairs.push_back(std::move(names));
    card.temperatures.push_back(temperature);
}

} // namespace

SwappingCard readSwappingCard(LineReader& reader, const std::string& fileName) {
    const int numPairs = readCount(reader, fileName);
    SwappingCard card;
    for (int pair = 0; pair < numPairs; ++pair) {
        if (!reader.next()) {
            stopWithMessage("cannot read swapping pair: %s", fileName.c_str());
        }
        readPair(card, reader.line(), fileName);
    }
    return card;
}

} // namespace melta
