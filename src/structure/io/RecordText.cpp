#include "structure/io/RecordText.hpp"

#include "base/FieldScanner.hpp"
#include "base/LineReader.hpp"
#include "base/ReplacementJournal.hpp"
#include "base/Reporting.hpp"
#include "structure/io/StructureFaults.hpp"

#include <cstdint>
#include <filesystem>
#include <limits>

namespace melta {
namespace {

constexpr const char* blanks = " \t\n\v\f\r";

std::string readWhole(const std::string& fileName) {
    finishReplacement(fileName); // an earlier splitting may have been killed
    const FilePointer file = openForReading(fileName);
    if (!file) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    std::string text;
    // So that growing does not hold the text twice. What is no regular file has no size, and grows.
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(fileName, error);
    if (!error) {
        text.reserve(static_cast<std::size_t>(size));
    }
    readRest(file.get(), text);
    // A part of the text must not be taken for the whole.
    if (std::ferror(file.get()) != 0) {
        stopWithMessage("cannot read file: %s", fileName.c_str());
    }
    return text;
}

// Reads the first field alone, because the line may be very long.
bool readFirstNumber(std::string_view line, long long& value) {
    const std::size_t begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return false;
    }
    const std::size_t end = line.find_first_of(blanks, begin);
    const std::string field(line.substr(begin, end == std::string_view::npos ? end : end - begin));
    return FieldScanner(field).readLong(value);
}

} // namespace

RecordText::RecordText(const std::string& fileName) : text(readWhole(fileName)) {
    cutRecords(fileName);
}

void RecordText::cutRecords(const std::string& fileName) {
    std::size_t position = 0;
    const auto passLine = [&] {
        const std::size_t length = lineAt(position).size();
        position += length;
        return length > 0;
    };
    long long numAtoms = 0;
    starts.push_back(position);
    while (readFirstNumber(lineAt(position), numAtoms)) {
        if (numRecords() == std::numeric_limits<int>::max() - 1) {
            stopWithMessage("too much geometries: %s", fileName.c_str());
        }
        const int atomsOfRecord = requireNumAtoms(numAtoms, numRecords(), fileName);
        passLine();
        for (int vector = 1; vector <= 3; ++vector) {
            if (!passLine()) {
                stopWithMessage("cannot read lattice #%d: %s", vector, fileName.c_str());
            }
        }
        for (int atom = 0; atom < atomsOfRecord; ++atom) {
            if (!passLine()) {
                stopWithMessage("cannot read atom #%d: %s", atom + 1, fileName.c_str());
            }
        }
        starts.push_back(position);
    }
}

std::string_view RecordText::lineAt(std::size_t position) const {
    const std::string_view remaining = std::string_view(text).substr(position);
    const std::size_t end = remaining.find('\n');
    return remaining.substr(0, end == std::string_view::npos ? end : end + 1);
}

std::string_view RecordText::getRecord(int index) const {
    const auto record = static_cast<std::size_t>(index);
    return std::string_view(text).substr(starts[record], starts[record + 1] - starts[record]);
}

std::string_view RecordText::findMissingEnd(int index) const {
    const std::string_view record = getRecord(index);
    if (record.ends_with('\n')) {
        return "";
    }
    return lineAt(0).ends_with("\r\n") && !record.ends_with('\r') ? "\r\n" : "\n";
}

std::string_view RecordText::getRest() const {
    const std::string_view rest = std::string_view(text).substr(starts.back());
    return rest.find_first_not_of(blanks) == std::string_view::npos ? "" : rest;
}

} // namespace melta
