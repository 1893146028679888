#include "sampling/MetropolisKeys.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"

#include <algorithm>
#include <string_view>
#include <variant>

namespace melta {
namespace {

using IntField = std::int32_t MetropolisInput::*;
using FloatField = float MetropolisInput::*;

enum class Check { any, positive };

struct KeyRow {
    const char* key;
    std::variant<IntField, FloatField> field;
    Check check;
};

constexpr KeyRow keyRows[] = {
    {"maxSteps", &MetropolisInput::maxSteps, Check::positive},
    {"numGeoms", &MetropolisInput::numGeoms, Check::positive},
    {"unknownGeoms", &MetropolisInput::unknownGeoms, Check::any},
    {"withShift", &MetropolisInput::withShift, Check::any},
    {"shiftInit", &MetropolisInput::shiftInit, Check::any},
    {"shiftCoord", &MetropolisInput::shiftCoord, Check::positive},
    {"shiftCoordInit", &MetropolisInput::shiftCoordInit, Check::positive},
    {"temperature", &MetropolisInput::temperature, Check::positive},
    {"upperEnergy", &MetropolisInput::upperEnergy, Check::positive},
    {"lowerEnergy", &MetropolisInput::lowerEnergy, Check::positive},
};

const KeyRow& findRow(std::string_view key) {
    const auto* const row = std::find_if(std::begin(keyRows), std::end(keyRows),
                                         [key](const KeyRow& candidate) { return candidate.key == key; });
    if (row == std::end(keyRows)) {
        stopWithMessage("unknown key word: %s", std::string(key).c_str());
    }
    return *row;
}

bool readValue(FieldScanner& fields, std::int32_t& value) {
    return fields.readInt(value);
}

bool readValue(FieldScanner& fields, float& value) {
    return readFinite(fields, value);
}

} // namespace

void readMetropolisKey(MetropolisInput& input, const std::string& line, const std::string& fileName) {
    FieldScanner fields(line);
    std::string key;
    fields.readWord(key);
    const KeyRow& row = findRow(key);
    const auto store = [&](auto field) {
        auto value = input.*field;
        if (!readValue(fields, value)) {
            stopWithMessage("incorrect '%s'", row.key);
        }
        if (row.check == Check::positive && !(value > 0)) {
            stopWithMessage("%s is not positive: %s", row.key, fileName.c_str());
        }
        input.*field = value;
    };
    std::visit(store, row.field);
}

} // namespace melta
