#include "config/PropertyReader.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "config/FiniteNumber.hpp"
#include "config/KeyRow.hpp"
#include "config/SymmFuncKind.hpp"

#include <algorithm>
#include <span>
#include <variant>

namespace melta {
namespace {

// Both kinds of numbers are exact in double precision.
bool isFulfilled(Check check, double value) {
    switch (check) {
    case Check::positive:
        return value > 0;
    case Check::notNegative:
        return value >= 0;
    case Check::negative:
        return value < 0;
    case Check::upToOne:
        return value > 0 && value <= 1;
    case Check::belowOne:
        return value > 0 && value < 1;
    case Check::any:
        break;
    }
    return true;
}

const char* complaintOf(Check check) {
    switch (check) {
    case Check::positive:
        return "is not positive";
    case Check::notNegative:
        return "is negative";
    case Check::negative:
        return "is not negative";
    default:
        return "is out of range";
    }
}

// Files and scripts may rely on the messages, so the two keys that they misspell stay misspelt.
constexpr KeyRow keyRows[] = {
    onOff("restart", &Property::restart),
    onOff("insituTest", &Property::insituTest),
    onOff("insituValid", &Property::insituValid),
    onOff("keepBest", &Property::keepBest),
    integer("directSF", &Property::directSF),
    onOff("regularElem", &Property::regularElem),
    real("maxForce", &Property::maxForce),
    real("minEDev", &Property::minEDev, Check::positive),
    real("maxEDev", &Property::maxEDev, Check::positive),
    real("minQDev", &Property::minQDev, Check::positive),
    real("maxQDev", &Property::maxQDev, Check::positive),
    {"symmFunc", Check::any, SymmFuncTarget{}, "symmFunc", "symmFunc"},
    shape("models", &Property::modelsEnergy, &Property::modelsCharge),
    shape("layers", &Property::layersEnergy, &Property::layersCharge),
    shape("nodes", &Property::nodesEnergy, &Property::nodesCharge),
    {"activ", Check::any, WordTarget{&Property::activEnergy, &Property::activCharge, activationNames},
     "acctiv", "activ"},
    {"lbfgs", Check::notNegative, LbfgsTarget{&Property::lbfgs}, "lbfgs", "lbfgs"},
    onOff("storeDerivatives", &Property::storeDerivatives),
    onOff("coefFromData", &Property::coefFromData),
    {"symmScale", Check::any, WordTarget{&Property::symmScale, &Property::symmScale, symmScaleNames},
     "symmScale", "symmScale"},
    {"lineSearch", Check::any, WordTarget{&Property::lineSearch, &Property::lineSearch, lineSearchNames},
     "lineSearch", "lineSearch"},
    {"lineSteps", Check::positive, IntTarget{&Property::lineSteps, &Property::lineSteps}, "lineSteps",
     "lineStep"},
    integer("batchs", &Property::batchs),
    integer("epochs", &Property::epochs, Check::positive),
    integer("epochsStore", &Property::epochsStore),
    integer("minutesStore", &Property::minutesStore),
    integer("epochsOnlyE", &Property::epochsOnlyE),
    integer("epochsApproxF", &Property::epochsApproxF),
    integer("superEpochs", &Property::superEpochs),
    integer("geomsEpoch", &Property::geomsEpoch),
    onOff("sqrtLoss", &Property::sqrtLoss),
    onOff("renormLoss", &Property::renormLoss),
    onOff("withCharge", &Property::withCharge),
    onOff("withHDNNP", &Property::withHDNNP),
    onOff("approxForce", &Property::approxForce),
    real("rmseEnergy", &Property::rmseEnergy, Check::positive),
    real("rmseForce", &Property::rmseForce, Check::positive),
    real("rmseCharge", &Property::rmseCharge, Check::positive),
    coefficient("coefEnergy", &Property::coefEnergy, &Property::hasEnergyCoef, Check::notNegative),
    real("coefEnergyFinal", &Property::coefEnergyFinal, Check::positive),
    real("coefStressFinal", &Property::coefStressFinal, Check::positive),
    coefficient("coefForce", &Property::coefForce, &Property::hasForceCoef, Check::notNegative),
    coefficient("coefStress", &Property::coefStress, &Property::hasStressCoef, Check::notNegative,
                &Property::givesStressCoef),
    coefficient("coefCharge", &Property::coefCharge, &Property::hasChargeCoef, Check::positive),
    real("learnRate", &Property::learnRate, Check::positive),
    real("learnRateFinal", &Property::learnRateFinal, Check::positive),
    real("learnRateDecay", &Property::learnRateDecay, Check::upToOne),
    {"learnRateSchedule", Check::any,
     WordTarget{&Property::learnRateSchedule, &Property::learnRateSchedule, learnRateScheduleNames},
     "learnRateSchedule", "learnRateSchedule"},
    real("adamBeta1", &Property::adamBeta1, Check::belowOne),
    real("adamBeta2", &Property::adamBeta2, Check::belowOne),
    integer("classicalTry", &Property::classicalTry, Check::positive),
    real("classicalLower", &Property::classicalLower, Check::negative),
    integer("gpuThreads", &Property::gpuThreads, Check::positive),
    integer("gpuAtomBlock", &Property::gpuAtomBlock, Check::positive),
};

// A coefficient up to this one counts as zero.
constexpr float negligibleCoef = 1.0e-16f;

// Reads the value behind one key, checks and stores it.
class ValueReader {
public:
    ValueReader(Property& target, const std::string& name, bool isChargeMode, const KeyRow& keyRow,
                FieldScanner& fields)
        : property(target), fileName(name), chargeMode(isChargeMode), row(keyRow), scanner(fields) {}

    void operator()(const IntTarget& target) const {
        property.*(chargeMode ? target.chargeField : target.field) = readInt();
    }

    void operator()(const SwitchTarget& target) const {
        int& field = property.*target.field;
        const bool isOn = readInt() != 0;
        // What is on already keeps the number by which an older network file says so, and with which that
        // file is going to be compared.
        if (isOn != (field != 0)) {
            field = isOn ? 1 : 0;
        }
    }

    void operator()(const FloatTarget& target) const {
        float value = readFloat();
        if (target.flag != nullptr) {
            const bool isEffective = value > negligibleCoef;
            value = isEffective ? value : 0.0f;
            property.*target.flag = isEffective ? 1 : 0;
        }
        if (target.given != nullptr) {
            property.*target.given = 1;
        }
        property.*target.field = value;
    }

    void operator()(const WordTarget& target) const {
        const std::string word = readWord();
        const CodeName* const name = findWord(target.names, word);
        requireKnown(name != nullptr, word);
        property.*(chargeMode ? target.chargeField : target.field) = name->code;
    }

    void operator()(const SymmFuncTarget& /*target*/) const {
        const std::string word = readWord();
        const SymmFuncKind* const kind = findSymmFuncKind(word);
        requireKnown(kind != nullptr, word);
        property.symmFuncKind = kind->getCode();
    }

    void operator()(const NamedTarget& target) const {
        property.kindSettings[std::string(row.key)] =
            target.isWhole ? static_cast<double>(readInt()) : static_cast<double>(readFloat());
    }

    void operator()(const LbfgsTarget& target) const {
        const int value = readInt();
        if (value != 0 || !property.forceLbfgs) {
            property.*target.field = value;
        }
    }

private:
    [[nodiscard]] int readInt() const {
        int value = 0;
        requireRead(scanner.readInt(value));
        requireCheck(isFulfilled(row.check, value));
        return value;
    }

    [[nodiscard]] std::string readWord() const {
        std::string word;
        requireRead(scanner.readWord(word));
        return word;
    }

    void requireKnown(bool isKnown, const std::string& word) const {
        if (!isKnown) {
            stopWithMessage("incorrect %s (%s): %s", row.checkedName, word.c_str(), fileName.c_str());
        }
    }

    [[nodiscard]] float readFloat() const {
        float value = 0.0f;
        requireRead(readFinite(scanner, value));
        requireCheck(isFulfilled(row.check, static_cast<double>(value)));
        return value;
    }

    void requireRead(bool isRead) const {
        if (!isRead) {
            stopWithMessage("incorrect '%s'", row.unreadableName);
        }
    }

    void requireCheck(bool isPassed) const {
        if (!isPassed) {
            stopWithMessage("%s %s: %s", row.checkedName, complaintOf(row.check), fileName.c_str());
        }
    }

    Property& property;
    const std::string& fileName;
    bool chargeMode;
    const KeyRow& row;
    FieldScanner& scanner;
};

const KeyRow* findRow(std::span<const KeyRow> rows, const std::string& key) {
    const auto found = std::ranges::find(rows, key, &KeyRow::key);
    return found == rows.end() ? nullptr : &*found;
}

// The row of the key among those of all runs and of all kinds of symmetry functions and baselines.
const KeyRow& findRow(const std::string& key) {
    const KeyRow* row = findRow(keyRows, key);
    for (const SymmFuncKind* const kind : symmFuncKinds()) {
        row = row != nullptr ? row : findRow(kind->keys(), key);
    }
    for (const BaselineKind* const kind : baselineKinds()) {
        row = row != nullptr ? row : findRow(kind->keys(), key);
    }
    if (row == nullptr) {
        stopWithMessage("unknown key word: %s", key.c_str());
    }
    return *row;
}

// Calls visit with each key and the scanner behind it.
template <class Visit>
void forEachKey(const std::string& fileName, Visit&& visit) {
    LineReader reader(fileName);
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    std::string key;
    while (reader.next()) {
        FieldScanner scanner(reader.line());
        if (!scanner.readWord(key) || key.starts_with('#') || key.starts_with('!')) {
            continue;
        }
        if (key == "endProperty") {
            return;
        }
        visit(key, scanner);
    }
}

// The kind of symmetry functions that a file chooses, wherever in it; null without or with an unknown one.
const SymmFuncKind* findChosenKind(const std::string& fileName) {
    const SymmFuncKind* kind = nullptr;
    forEachKey(fileName, [&](const std::string& key, FieldScanner& scanner) {
        std::string word;
        if (std::holds_alternative<SymmFuncTarget>(findRow(key).target) && scanner.readWord(word)) {
            kind = findSymmFuncKind(word);
        }
    });
    return kind;
}

} // namespace

void readPropertyKeys(Property& property, const std::string& fileName, bool chargeMode) {
    const SymmFuncKind* const kind = findChosenKind(fileName);
    if (kind != nullptr && kind->getCode() != property.symmFuncKind) {
        kind->setDefaults(property);
    }
    forEachKey(fileName, [&](const std::string& key, FieldScanner& scanner) {
        const KeyRow& row = findRow(key);
        std::visit(ValueReader(property, fileName, chargeMode, row, scanner), row.target);
    });
}

} // namespace melta
