#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace melta {

// The second line of a frame of extended XYZ: entries KEY=VALUE in any order, parted by blanks. A value that
// holds blanks stands between double or single quotes or between brackets [] {}, which may be nested; a
// backslash takes its meaning from the next character. A key without a value is a flag and has the value "T".
class ExtxyzComment {
public:
    struct Entry {
        std::string key;
        std::string value; // without quotes, brackets and backslashes
        std::string text;  // the whole entry as it stands in the line
    };

    // Null for a line with a quote or a bracket that is not closed.
    [[nodiscard]] static std::optional<ExtxyzComment> parse(std::string_view line);

    // The value of the last entry with this key, in upper or lower case; null without one.
    [[nodiscard]] const std::string* find(std::string_view key) const;

    [[nodiscard]] std::span<const Entry> getEntries() const { return entries; }

private:
    std::vector<Entry> entries;
};

// Whether two keys are the same but for upper and lower case.
[[nodiscard]] bool isSameKey(std::string_view one, std::string_view other);

// The words of a value, which blanks or commas part.
[[nodiscard]] std::vector<std::string> wordsOf(const std::string& value);

// The number that a whole word is; null for anything else. NaN and infinities are numbers here.
[[nodiscard]] std::optional<double> numberOf(const std::string& word);

// The numbers of a value; null if one of its words is none or is not finite.
[[nodiscard]] std::optional<std::vector<double>> numbersOf(const std::string& value);

} // namespace melta
