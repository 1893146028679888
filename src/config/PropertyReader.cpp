#include "config/PropertyReader.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"

#include <algorithm>
#include <variant>

namespace melta {
namespace {

using IntField = int Property::*;
using FloatField = float Property::*;

// What a number must be.
enum class Check { any, positive, notNegative, negative, upToOne, belowOne };

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

// A key with a whole number. In charge mode it goes to `chargeField`.
struct IntTarget {
    IntField field;
    IntField chargeField;
};

// A key that switches something on, for which 1 is stored whatever the number is, or off with 0.
struct SwitchTarget {
    IntField field;
};

// A key with a real number. A coefficient also has a flag that tells whether it is effective.
struct FloatTarget {
    FloatField field;
    IntField flag;
};

// A key with one of a few words, stored as its code. In charge mode it goes to `chargeField`.
struct WordTarget {
    IntField field;
    IntField chargeField;
    std::span<const CodeName> names;
};

// The history length of L-BFGS, which a forced L-BFGS does not let become 0.
struct LbfgsTarget {
    IntField field;
};

struct KeyRow {
    std::string_view key;
    Check check;
    std::variant<IntTarget, SwitchTarget, FloatTarget, WordTarget, LbfgsTarget> target;
    const char* unreadableName; // the key in "incorrect '%s'"
    const char* checkedName;    // the key in the message of its check
};

constexpr KeyRow integer(const char* key, IntField field, Check check = Check::any) {
    return {key, check, IntTarget{field, field}, key, key};
}

constexpr KeyRow onOff(const char* key, IntField field) {
    return {key, Check::any, SwitchTarget{field}, key, key};
}

constexpr KeyRow shape(const char* key, IntField energyField, IntField chargeField) {
    return {key, Check::positive, IntTarget{energyField, chargeField}, key, key};
}

constexpr KeyRow real(const char* key, FloatField field, Check check = Check::any) {
    return {key, check, FloatTarget{field, nullptr}, key, key};
}

constexpr KeyRow coefficient(const char* key, FloatField field, IntField flag, Check check) {
    return {key, check, FloatTarget{field, flag}, key, key};
}

// Files and scripts may rely on the messages, so the two keys that they misspell stay misspelt.
constexpr KeyRow keyRows[] = {
    onOff("restart", &Property::restart),
    onOff("insituTest", &Property::insituTest),
    integer("directSF", &Property::directSF),
    onOff("regularElem", &Property::regularElem),
    real("maxForce", &Property::maxForce),
    real("minEDev", &Property::minEDev, Check::positive),
    real("maxEDev", &Property::maxEDev, Check::positive),
    real("minQDev", &Property::minQDev, Check::positive),
    real("maxQDev", &Property::maxQDev, Check::positive),
    {"symmFunc", Check::any, WordTarget{&Property::symmFuncKind, &Property::symmFuncKind, symmFuncNames},
     "symmFunc", "symmFunc"},
    onOff("elemWeight", &Property::elemWeight),
    onOff("tanhCutoff", &Property::tanhCutoff),
    integer("m2", &Property::m2, Check::positive),
    integer("m3", &Property::m3, Check::notNegative),
    real("rinner", &Property::rinner, Check::notNegative),
    real("router", &Property::router, Check::positive),
    integer("numRadius", &Property::numRadius, Check::positive),
    integer("numAngle", &Property::numAngle, Check::notNegative),
    real("rcutRadius", &Property::rcutRadius, Check::positive),
    real("rcutAngle", &Property::rcutAngle, Check::notNegative),
    shape("models", &Property::modelsEnergy, &Property::modelsCharge),
    shape("layers", &Property::layersEnergy, &Property::layersCharge),
    shape("nodes", &Property::nodesEnergy, &Property::nodesCharge),
    {"activ", Check::any, WordTarget{&Property::activEnergy, &Property::activCharge, activationNames},
     "acctiv", "activ"},
    {"lbfgs", Check::notNegative, LbfgsTarget{&Property::lbfgs}, "lbfgs", "lbfgs"},
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
    onOff("withClassical", &Property::withClassical),
    onOff("withLJlike", &Property::withClassical),
    onOff("withReaxFF", &Property::withReaxFF),
    real("rcutReaxFF", &Property::rcutReaxFF, Check::positive),
    real("rateReaxFF", &Property::rateReaxFF, Check::positive),
    onOff("approxForce", &Property::approxForce),
    real("rmseEnergy", &Property::rmseEnergy, Check::positive),
    real("rmseForce", &Property::rmseForce, Check::positive),
    real("rmseCharge", &Property::rmseCharge, Check::positive),
    coefficient("coefEnergy", &Property::coefEnergy, &Property::hasEnergyCoef, Check::notNegative),
    coefficient("coefForce", &Property::coefForce, &Property::hasForceCoef, Check::notNegative),
    coefficient("coefCharge", &Property::coefCharge, &Property::hasChargeCoef, Check::positive),
    real("learnRate", &Property::learnRate, Check::positive),
    real("learnRateFinal", &Property::learnRateFinal, Check::positive),
    real("learnRateDecay", &Property::learnRateDecay, Check::upToOne),
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
        property.*target.field = value;
    }

    void operator()(const WordTarget& target) const {
        std::string word;
        requireRead(scanner.readWord(word));
        const CodeName* const name = findWord(target.names, word);
        if (name == nullptr) {
            stopWithMessage("incorrect %s (%s): %s", row.checkedName, word.c_str(), fileName.c_str());
        }
        property.*(chargeMode ? target.chargeField : target.field) = name->code;
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

const KeyRow& findRow(const std::string& key) {
    const auto* const row = std::find_if(std::begin(keyRows), std::end(keyRows),
                                         [&key](const KeyRow& candidate) { return candidate.key == key; });
    if (row == std::end(keyRows)) {
        stopWithMessage("unknown key word: %s", key.c_str());
    }
    return *row;
}

} // namespace

void readPropertyKeys(Property& property, const std::string& fileName, bool chargeMode) {
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
        const KeyRow& row = findRow(key);
        std::visit(ValueReader(property, fileName, chargeMode, row, scanner), row.target);
    }
}

} // namespace melta
