#include "base/FieldScanner.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace melta {

bool FieldScanner::readInt(int& value) {
    if (hasFailed) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(position, &end, 10);
    const bool isInRange =
        errno == 0 && number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
    if (end == position || !isInRange) {
        hasFailed = true;
        return false;
    }
    value = static_cast<int>(number);
    position = end;
    return true;
}

// Takes what `parse`, one of the C library's functions, finds at the present position.
template <class Number>
bool FieldScanner::readNumber(Number (*parse)(const char*, char**), Number& value) {
    if (hasFailed) {
        return false;
    }
    char* end = nullptr;
    const Number number = parse(position, &end);
    if (end == position) {
        hasFailed = true;
        return false;
    }
    value = number;
    position = end;
    return true;
}

bool FieldScanner::readLong(long long& value) {
    return readNumber<long long>([](const char* text, char** end) { return std::strtoll(text, end, 10); },
                                 value);
}

bool FieldScanner::readFloat(float& value) {
    return readNumber(std::strtof, value);
}

bool FieldScanner::readFloats(std::span<float> values) {
    return std::ranges::all_of(values, [this](float& value) { return readFloat(value); });
}

bool FieldScanner::readDouble(double& value) {
    return readNumber(std::strtod, value);
}

bool FieldScanner::readWord(std::string& word) {
    if (hasFailed) {
        return false;
    }
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (isSpace(*position)) {
        ++position;
    }
    const char* const start = position;
    while (*position != '\0' && !isSpace(*position)) {
        ++position;
    }
    if (position == start) {
        hasFailed = true;
        return false;
    }
    word.assign(start, position);
    return true;
}

} // namespace melta
