#include "sampling/MetropolisReader.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "sampling/GeometryCard.hpp"
#include "sampling/MetropolisKeys.hpp"
#include "sampling/MetropolisState.hpp"
#include "sampling/NetworkElements.hpp"
#include "sampling/SwappingCard.hpp"
#include "symmfunc/DistributionFile.hpp"

#include <utility>

namespace melta {
namespace {

constexpr const char* geometryWord = "GEOMETRY";
constexpr const char* swappingWord = "SWAPPING";

} // namespace

MetropolisReader::MetropolisReader(const std::string& name, const std::string& gdist,
                                   const std::string& state)
    : fileName(name), gdistFile(gdist), stateFile(state), reader(name) {
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
}

void MetropolisReader::read(MetropolisInput& input) {
    bool isHead = true;
    while (nextWord()) {
        isHead = isHead && word != geometryWord && word != swappingWord;
        if (isHead) {
            readMetropolisKey(input, reader.line(), fileName);
        } else {
            readCard(input);
        }
    }
    if (!hasGeometry) {
        stopWithMessage("there is not GEOMETRY: %s", fileName.c_str());
    }
    if (input.withShift == 0 && input.numSwaps < 1) {
        stopWithMessage("there are not atomic shift nor swapping: %s", fileName.c_str());
    }
}

// Goes to the next line that says something.
bool MetropolisReader::nextWord() {
    while (reader.next()) {
        if (FieldScanner(reader.line()).readWord(word) && !word.starts_with('#') && !word.starts_with('!')) {
            return true;
        }
    }
    return false;
}

void MetropolisReader::readCard(MetropolisInput& input) {
    if (word == geometryWord && !hasGeometry) {
        readGeometry(input);
    } else if (word == swappingWord && !hasSwapping) {
        readSwapping(input);
    } else {
        stopWithMessage("unknown key card: %s", word.c_str());
    }
}

void MetropolisReader::readGeometry(MetropolisInput& input) {
    hasGeometry = true;
    GeometryCard card = readGeometryCard(reader, fileName);
    writeMetropolisState(stateFile, card,
                         findNetworkElements(card.elemNames, readNetworkElements(gdistFile)));
    input.numAtoms = static_cast<std::int32_t>(card.elemAtoms.size());
    input.fixAtoms = std::move(card.fixAtoms);
    input.elemAtoms = std::move(card.elemAtoms);
    input.numElems = static_cast<std::int32_t>(card.elemNames.size());
    input.elemNames = std::move(card.elemNames);
    input.numVacancies = static_cast<std::int32_t>(card.vacancyCoords.size() / 3);
    input.vacancyCoords = std::move(card.vacancyCoords);
}

void MetropolisReader::readSwapping(MetropolisInput& input) {
    hasSwapping = true;
    SwappingCard card = readSwappingCard(reader, fileName);
    input.numSwaps = static_cast<std::int32_t>(card.pairs.size());
    input.swapPairs = std::move(card.pairs);
    input.swapTemps = std::move(card.temperatures);
}

} // namespace melta
