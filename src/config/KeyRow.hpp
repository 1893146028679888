// Rows of the tables of keys of the properties file.
#pragma once

#include "config/Codes.hpp"
#include "config/Property.hpp"

#include <span>
#include <string_view>
#include <variant>

namespace melta {

using IntField = int Property::*;
using FloatField = float Property::*;

// What a number must be.
enum class Check { any, positive, notNegative, negative, upToOne, belowOne };

// A key with a whole number. In charge mode it goes to `chargeField`.
struct IntTarget {
    IntField field;
    IntField chargeField;
};

// A key that switches something on, for which 1 is stored whatever the number is, or off with 0.
struct SwitchTarget {
    IntField field;
};

// A key with a real number. A coefficient also has a flag that tells whether it is effective, and may have
// one that tells that it was given.
struct FloatTarget {
    FloatField field;
    IntField flag;
    IntField given = nullptr;
};

// A key with one of a few words, stored as its code. In charge mode it goes to `chargeField`.
struct WordTarget {
    IntField field;
    IntField chargeField;
    std::span<const CodeName> names;
};

// The key that chooses the kind of symmetry functions by its word.
struct SymmFuncTarget {};

// The history length of L-BFGS, which a forced L-BFGS does not let become 0.
struct LbfgsTarget {
    IntField field;
};

// A number without a field, kept in Property::kindSettings under its key.
struct NamedTarget {
    bool isWhole;
};

struct KeyRow {
    std::string_view key;
    Check check;
    std::variant<IntTarget, SwitchTarget, FloatTarget, WordTarget, SymmFuncTarget, LbfgsTarget, NamedTarget>
        target;
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

constexpr KeyRow coefficient(const char* key, FloatField field, IntField flag, Check check,
                             IntField given = nullptr) {
    return {key, check, FloatTarget{field, flag, given}, key, key};
}

constexpr KeyRow named(const char* key, bool isWhole, Check check) {
    return {key, check, NamedTarget{isWhole}, key, key};
}

} // namespace melta
