#pragma once

#include <cstdio>
#include <string_view>

namespace melta {

// Puts pieces of text behind each other in one file, byte for byte. Where a piece ends within a line, the
// next one still begins on a line of its own. Failures show at the streams themselves. Borrows the stream.
class TextCopier {
public:
    explicit TextCopier(std::FILE* output) : out(output) {}

    // Ends a line that a piece has left open.
    void beginPiece();

    void write(std::string_view text);

    // The unread rest of `in`.
    void copyAll(std::FILE* in);

    // The next line of `in` with its line end, if it has one. False at the end of the file.
    bool copyLine(std::FILE* in);

private:
    std::FILE* out;
    char lastCharacter = '\n';
};

} // namespace melta
