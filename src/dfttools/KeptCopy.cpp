#include "dfttools/KeptCopy.hpp"

#include "base/FileReplacement.hpp"
#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace melta {
namespace {

FilePointer openOrStop(const std::string& fileName) {
    FilePointer file = openForReading(fileName);
    if (!file) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    return file;
}

void requireRead(std::FILE* file, const std::string& fileName) {
    if (std::ferror(file) != 0) {
        stopWithMessage("cannot read file: %s", fileName.c_str());
    }
}

bool hasSameBytes(const std::string& fileName, const std::string& otherName) {
    std::error_code error;
    if (!fs::is_regular_file(otherName, error) ||
        fs::file_size(fileName, error) != fs::file_size(otherName, error)) {
        return false;
    }
    const FilePointer file = openOrStop(fileName);
    const FilePointer other = openForReading(otherName);
    std::array<char, 65536> block{};
    std::array<char, 65536> otherBlock{};
    bool isSame = other != nullptr;
    for (std::size_t count = block.size(); isSame && count == block.size();) {
        count = std::fread(block.data(), 1, block.size(), file.get());
        const std::size_t otherCount = std::fread(otherBlock.data(), 1, otherBlock.size(), other.get());
        isSame = count == otherCount &&
                 std::equal(block.data(), block.data() + count, otherBlock.data(), otherBlock.data() + count);
    }
    requireRead(file.get(), fileName);
    return isSame && std::ferror(other.get()) == 0;
}

void copyFile(const std::string& fileName, const std::string& copyName) {
    const FilePointer file = openOrStop(fileName);
    FileReplacement files;
    TextCopier(files.open(copyName)).copyAll(file.get());
    requireRead(file.get(), fileName);
    files.commit();
}

} // namespace

std::string keepCopy(const std::string& fileName) {
    std::error_code error;
    if (!fs::is_regular_file(fileName, error) || fs::file_size(fileName, error) == 0) {
        return "";
    }
    std::string copyName = fileName + ".kept";
    for (int number = 2; fs::symlink_status(copyName, error).type() != fs::file_type::not_found; ++number) {
        if (hasSameBytes(fileName, copyName)) {
            return copyName;
        }
        copyName = formatText("%s.kept.%d", fileName.c_str(), number);
    }
    copyFile(fileName, copyName);
    return copyName;
}

} // namespace melta
