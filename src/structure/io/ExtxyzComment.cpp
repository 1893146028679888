#include "structure/io/ExtxyzComment.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>

namespace melta {
namespace {

bool isBlank(char character) {
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

// The character that closes what this one opens; NUL if it opens nothing.
char closingOf(char character) {
    switch (character) {
    case '"':
    case '\'':
        return character;
    case '[':
        return ']';
    case '{':
        return '}';
    default:
        return '\0';
    }
}

// Walks through a line word by word.
class CommentScanner {
public:
    explicit CommentScanner(std::string_view text) : line(text) { skipBlanks(); }

    [[nodiscard]] bool isAtEnd() const { return place >= line.size(); }
    [[nodiscard]] bool isAtEquals() const { return !isAtEnd() && line[place] == '='; }
    [[nodiscard]] std::size_t getPlace() const { return place; }
    [[nodiscard]] bool hasOpenEnd() const { return isOpen; }

    void skipBlanks() {
        while (!isAtEnd() && isBlank(line[place])) {
            ++place;
        }
    }

    void skipEquals() {
        ++place;
        skipBlanks();
    }

    // Up to a blank or, for keys, to an equals sign, outside of quotes and brackets.
    std::string readWord(bool isKey) {
        std::string word;
        while (!isAtEnd() && !isBlank(line[place]) && !(isKey && line[place] == '=')) {
            if (closingOf(line[place]) != '\0') {
                readEnclosed(word);
            } else {
                readCharacter(word);
            }
        }
        return word;
    }

private:
    void readCharacter(std::string& word) {
        if (line[place] == '\\' && place + 1 < line.size()) {
            ++place;
        }
        word += line[place++];
    }

    // Brackets within brackets of the same kind belong to the value.
    void readEnclosed(std::string& word) {
        const char opening = line[place++];
        const char closing = closingOf(opening);
        for (int depth = 1; !isAtEnd();) {
            if (line[place] == closing && --depth == 0) {
                ++place;
                return;
            }
            if (line[place] == opening && opening != closing) {
                ++depth;
            }
            readCharacter(word);
        }
        isOpen = true;
    }

    std::string_view line;
    std::size_t place = 0;
    bool isOpen = false;
};

} // namespace

std::optional<ExtxyzComment> ExtxyzComment::parse(std::string_view line) {
    ExtxyzComment comment;
    for (CommentScanner scanner(line); !scanner.isAtEnd(); scanner.skipBlanks()) {
        const std::size_t begin = scanner.getPlace();
        Entry entry{scanner.readWord(true), "T", {}};
        std::size_t end = scanner.getPlace();
        scanner.skipBlanks();
        if (scanner.isAtEquals()) {
            scanner.skipEquals();
            entry.value = scanner.readWord(false);
            end = scanner.getPlace();
        }
        if (scanner.hasOpenEnd()) {
            return std::nullopt;
        }
        entry.text = line.substr(begin, end - begin);
        comment.entries.push_back(std::move(entry));
    }
    return comment;
}

const std::string* ExtxyzComment::find(std::string_view key) const {
    const auto found = std::find_if(entries.rbegin(), entries.rend(),
                                    [key](const Entry& entry) { return isSameKey(entry.key, key); });
    return found == entries.rend() ? nullptr : &found->value;
}

bool isSameKey(std::string_view one, std::string_view other) {
    return std::ranges::equal(
        one, other, [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

std::vector<std::string> wordsOf(const std::string& value) {
    constexpr const char* parting = ", \t\n\v\f\r";
    std::vector<std::string> words;
    for (std::size_t end = 0;;) {
        const std::size_t begin = value.find_first_not_of(parting, end);
        if (begin == std::string::npos) {
            return words;
        }
        end = std::min(value.find_first_of(parting, begin), value.size());
        words.push_back(value.substr(begin, end - begin));
    }
}

std::optional<double> numberOf(const std::string& word) {
    char* end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    return word.empty() || end != word.c_str() + word.size() ? std::nullopt : std::optional(number);
}

std::optional<std::vector<double>> numbersOf(const std::string& value) {
    std::vector<double> numbers;
    for (const std::string& word : wordsOf(value)) {
        const std::optional<double> number = numberOf(word);
        if (!number || !std::isfinite(*number)) {
            return std::nullopt;
        }
        numbers.push_back(*number);
    }
    return numbers;
}

} // namespace melta
