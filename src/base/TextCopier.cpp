#include "base/TextCopier.hpp"

#include <array>

namespace melta {

void TextCopier::beginPiece() {
    if (lastCharacter != '\n') {
        write("\n");
    }
}

void TextCopier::write(std::string_view text) {
    if (!text.empty()) {
        std::fwrite(text.data(), 1, text.size(), out);
        lastCharacter = text.back();
    }
}

void TextCopier::copyAll(std::FILE* in) {
    std::array<char, 65536> block{};
    for (std::size_t count = block.size(); count == block.size();) {
        count = std::fread(block.data(), 1, block.size(), in);
        write({block.data(), count});
    }
}

bool TextCopier::copyLine(std::FILE* in) {
    int character = std::getc(in);
    if (character == EOF) {
        return false;
    }
    // A line may be longer than any buffer of ours.
    for (; character != EOF && character != '\n'; character = std::getc(in)) {
        std::putc(character, out);
    }
    if (character == '\n') {
        std::putc(character, out);
    }
    lastCharacter = character == '\n' ? '\n' : ' ';
    return true;
}

} // namespace melta
