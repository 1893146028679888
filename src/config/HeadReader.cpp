#include "config/HeadReader.hpp"

#include "base/FieldScanner.hpp"
#include "base/ReplacementJournal.hpp"
#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "config/Codes.hpp"
#include "config/FiniteNumber.hpp"
#include "config/SymmFuncKind.hpp"

#include <array>
#include <utility>

namespace melta {
namespace {

// Number of whole numbers that stand at the start of a line; the rest of `values` stays as it is.
int scanInts(const std::string& line, std::span<int> values) {
    FieldScanner scanner(line);
    int count = 0;
    for (int& value : values) {
        if (!scanner.readInt(value)) {
            break;
        }
        ++count;
    }
    return count;
}

} // namespace

HeadReader::HeadReader(LineReader& lines, Property& property)
    : reader(lines), target(&property), settings(property), isAsking(false) {}

HeadReader::HeadReader(LineReader& lines, Property& property, std::string name)
    : reader(lines), target(&property), settings(property), fileName(std::move(name)), isAsking(true) {}

HeadReader::HeadReader(LineReader& lines, const Property& expected, std::string name, bool withEnergy,
                       bool withCharge)
    : reader(lines), target(nullptr), settings(expected), fileName(std::move(name)), isAsking(true),
      withEnergyShape(withEnergy), withChargeShape(withCharge) {}

bool HeadReader::readSettings() {
    isBehindSettings = reader.isOpen() && readKinds() && readBaseline() && readSymmFunc() &&
                       readWithCharge() && readShape(energyKind, withEnergyShape) &&
                       (settings.withCharge == 0 || readShape(chargeKind, withChargeShape));
    return isBehindSettings;
}

bool HeadReader::next(const char* message) {
    if (reader.next()) {
        return true;
    }
    return (isComparing() || isBehindSettings) && refuse(message);
}

bool HeadReader::refuse(const std::string& message) const {
    if (isAsking) {
        stopWithMessage("%s", message.c_str());
    }
    return false;
}

bool HeadReader::require(bool isValid, const char* item) const {
    return isValid || refuse(formatText("incorrect %s: %s", item, fileName.c_str()));
}

bool HeadReader::readRow(const char* message, std::size_t least, std::span<float> values) {
    if (!next(message)) {
        return false;
    }
    if (isComparing()) {
        return true;
    }
    FieldScanner scanner(line());
    std::size_t count = 0;
    while (count < values.size() && readFinite(scanner, values[count])) {
        ++count;
    }
    return count >= least;
}

// The four numbers of the first line, of which older files have fewer.
bool HeadReader::readKinds() {
    if (!next("cannot read symmetry function.")) {
        return false;
    }
    std::array<int, 4> values{};
    const int count = scanInts(line(), values);
    if (!isComparing() && !takeKinds(values, count)) {
        return false;
    }
    if (isAsking) {
        compareKinds(values, count);
    }
    return true;
}

bool HeadReader::takeKinds(std::span<const int> values, int count) {
    if (count < 1 || findSymmFuncKind(values[0]) == nullptr) {
        return false;
    }
    target->symmFuncKind = values[0];
    target->elemWeight = count >= 3 ? values[1] : 0;
    target->tanhCutoff = count >= 3 ? values[2] : 1;
    const int baseline = count >= 4 ? values[3] : 0;
    for (const BaselineKind* const kind : baselineKinds()) {
        kind->takeCode(*target, baseline);
    }
    return true;
}

void HeadReader::compareKinds(std::span<const int> values, int count) const {
    const int elemWeight = count >= 3 ? values[1] : 0;
    const int baseline = count >= 4 ? values[3] : 0;
    const BaselineKind* const expected = baselineKindOf(settings);
    require(values[0] != 0 && values[0] == settings.symmFuncKind, "symmFunc");
    require(elemWeight >= 0 && elemWeight == settings.elemWeight, "elemWeight");
    for (const BaselineKind* const kind : baselineKinds()) {
        const bool isRead = findBaselineKind(baseline) == kind;
        require(baseline >= 0 && isRead == (expected == kind), kind->getKey());
    }
}

bool HeadReader::readBaseline() {
    const BaselineKind* const kind = baselineKindOf(settings);
    return kind == nullptr || kind->readHead(*this);
}

bool HeadReader::readSymmFunc() {
    const SymmFuncKind* const kind = findSymmFuncKind(settings.symmFuncKind);
    if (kind == nullptr) {
        return refuse("unknown symmetry function: " + fileName);
    }
    return kind->readHead(*this);
}

bool HeadReader::readSizes(const Sizes& sizes) {
    if (isComparing()) {
        compareSizes(sizes);
        return true;
    }
    FieldScanner scanner(line());
    std::array<int, 2> counts{};
    std::array<float, 2> lengths{};
    if (!scanner.readInt(counts[0]) || !scanner.readInt(counts[1]) || !readFinite(scanner, lengths[0]) ||
        !readFinite(scanner, lengths[1])) {
        return false;
    }
    target->*sizes.radial = counts[0];
    target->*sizes.angular = counts[1];
    target->*sizes.firstLength = lengths[0];
    target->*sizes.secondLength = lengths[1];
    compareSizes(sizes);
    return true;
}

void HeadReader::compareSizes(const Sizes& sizes) const {
    if (!isAsking) {
        return;
    }
    std::array<int, 2> counts{};
    scanInts(line(), counts);
    require(counts[0] > 0 && counts[0] == settings.*sizes.radial, sizes.radialItem);
    require(counts[1] >= 0 && counts[1] == settings.*sizes.angular, sizes.angularItem);
}

bool HeadReader::readWithCharge() {
    if (!next("cannot read type of neural network.")) {
        return false;
    }
    int withCharge = 0;
    if (!FieldScanner(line()).readInt(withCharge)) {
        return isComparing() && refuse("error in reading type of neural network: " + fileName);
    }
    if (isComparing()) {
        return require(withCharge == settings.withCharge, "type of neural network");
    }
    target->withCharge = withCharge;
    return true;
}

// Older files have one model.
bool HeadReader::readShape(const NetworkKind& kind, bool isCompared) {
    if (!next(formatText("cannot read properties of %s neural network.", kind.owner).c_str())) {
        return false;
    }
    std::array<int, 4> values{};
    const int count = scanInts(line(), values);
    if (count == 3) {
        values[3] = 1;
    }
    if (!isComparing()) {
        if (count < 3) {
            return false;
        }
        target->*kind.fields.layers = values[0];
        target->*kind.fields.nodes = values[1];
        target->*kind.fields.activ = values[2];
        target->*kind.fields.models = values[3];
    }
    if (isCompared && isAsking) {
        compareShape(values, kind);
    }
    return true;
}

void HeadReader::compareShape(std::span<const int> values, const NetworkKind& kind) const {
    const auto compare = [&](int value, int Property::*expected, const char* item) {
        const bool isValid = value > 0 && value == settings.*expected;
        require(isValid, formatText("%s of %s neural network", item, kind.owner).c_str());
    };
    compare(values[3], kind.fields.models, "#models");
    compare(values[0], kind.fields.layers, "#layers");
    compare(values[1], kind.fields.nodes, "#nodes");
    compare(values[2], kind.fields.activ, "activation");
    // A test compares the file with settings that came from it, so that an unknown code would agree with
    // itself.
    require(findCode(activationNames, values[2]) != nullptr,
            formatText("activation of %s neural network", kind.owner).c_str());
}

void Property::peekData(const std::string& fileName, bool tolerant) {
    finishReplacement(fileName);
    LineReader reader(fileName, tolerant ? LineReader::Overlong::end : LineReader::Overlong::stop);
    if (!HeadReader(reader, *this).readSettings()) {
        if (tolerant) {
            return;
        }
        stopWithMessage("cannot peek file: %s", fileName.c_str());
    }
    if (numAngle <= 0) {
        rcutAngle = 0.0f;
    }
    if (!tolerant) {
        printBanner(true, false);
    }
}

} // namespace melta
