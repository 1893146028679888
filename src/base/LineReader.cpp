#include "base/LineReader.hpp"

#include "base/Reporting.hpp"

#include <array>
#include <cctype>
#include <filesystem>
#include <utility>

namespace melta {

LineReader::LineReader(const std::string& name, Overlong reaction)
    : fileName(name), file(openForReading(name)), overlong(reaction) {}

LineReader::LineReader(FilePointer opened, std::string name)
    : fileName(std::move(name)), file(std::move(opened)) {}

bool LineReader::next() {
    text.clear();
    int character = hasEnded ? EOF : std::getc(file.get());
    if (character == EOF) {
        return false;
    }
    for (; character != EOF && character != '\n'; character = std::getc(file.get())) {
        if (text.size() >= maxLineLength) {
            if (overlong == Overlong::end) {
                text.clear();
                hasEnded = true;
                return false;
            }
            stopWithMessage("too long line: %s", fileName.c_str());
        }
        text.push_back(static_cast<char>(character));
    }
    return true;
}

bool LineReader::hasMoreText() {
    int character = std::getc(file.get());
    while (character != EOF && std::isspace(character) != 0) {
        character = std::getc(file.get());
    }
    return character != EOF;
}

FilePointer openForReading(const std::string& fileName) {
    std::error_code ignored;
    if (std::filesystem::is_directory(fileName, ignored)) {
        return nullptr;
    }
    return FilePointer(std::fopen(fileName.c_str(), "r"));
}

void readRest(std::FILE* file, std::string& text) {
    std::array<char, 65536> block{};
    for (std::size_t count = block.size(); count == block.size();) {
        count = std::fread(block.data(), 1, block.size(), file);
        text.append(block.data(), count);
    }
}

FilePointer openForWriting(const std::string& fileName) {
    FilePointer file(std::fopen(fileName.c_str(), "w"));
    if (!file) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    return file;
}

void closeWritten(FilePointer file, const std::string& fileName) {
    const bool isBroken = std::ferror(file.get()) != 0;
    if (std::fclose(file.release()) != 0 || isBroken) {
        stopWithMessage("cannot write file: %s", fileName.c_str());
    }
}

} // namespace melta
