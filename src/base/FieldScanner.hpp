#pragma once

#include <span>
#include <string>
#include <string_view>

namespace melta {

// Takes whitespace-separated fields from a line, one after the other, with the rules of the formatted reads
// of the C library ("%d", "%f", "%lf", "%s"), but without their undefined overflows: a whole number that does
// not fit into 32 bits counts as unreadable. A NUL character ends the line. Once a field cannot be read, all
// later ones fail too.
class FieldScanner {
public:
    // The text must outlive the scanner.
    explicit FieldScanner(const std::string& text) : position(text.c_str()) {}

    bool readInt(int& value);
    bool readLong(long long& value); // a whole number of any length; one beyond 64 bits becomes the nearest
    bool readFloat(float& value);    // NaN and infinities are read as such; too large a number is an infinity
    bool readDouble(double& value);  // the same
    bool readFloats(std::span<float> values);
    bool readWord(std::string& word);

private:
    template <class Number>
    bool readNumber(Number (*parse)(const char*, char**), Number& value);

    const char* position;
    bool hasFailed = false;
};

} // namespace melta
