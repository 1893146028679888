#include "dfttools/DataSplitter.hpp"

#include "base/ConsoleInput.hpp"
#include "base/FieldScanner.hpp"
#include "base/FileReplacement.hpp"
#include "base/LineReader.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "structure/io/RecordText.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

namespace melta {
namespace {

// NaN is no share either.
bool isShare(float rate) {
    return rate > 0.0f && rate < 1.0f;
}

// What is no number leaves its share as it is.
void askRates(SplitRates& rates) {
    printOut("\nrate to split training data into testing data:\n");
    if (const auto answer = readAnswer()) {
        FieldScanner scanner(*answer);
        scanner.readFloat(rates.test);
        scanner.readFloat(rates.valid);
    }
}

// The first share that is none, or that leaves nothing.
std::optional<float> findIncorrect(const SplitRates& rates) {
    if (!isShare(rates.test)) {
        return rates.test;
    }
    const bool isValid = rates.valid == 0.0f || (isShare(rates.valid) && isShare(rates.test + rates.valid));
    return isValid ? std::nullopt : std::optional(rates.valid);
}

std::vector<int> drawOrder(int numRecords) {
    std::vector<int> idx(static_cast<std::size_t>(numRecords));
    std::iota(idx.begin(), idx.end(), 0);
    sharedRandom().shuffle(idx);
    return idx;
}

void writeRecords(std::FILE* stream, const RecordText& data, std::span<const int> indices) {
    TextCopier out(stream);
    for (const int index : indices) {
        out.write(data.getRecord(index));
        out.write(data.findMissingEnd(index));
    }
}

// Whether the text stands at the end of the file, as after a crash behind the replacement of the rest.
bool endsWith(std::FILE* file, std::string_view text) {
    if (fseeko(file, 0, SEEK_END) != 0 || ftello(file) < static_cast<off_t>(text.size()) ||
        fseeko(file, -static_cast<off_t>(text.size()), SEEK_END) != 0) {
        return false;
    }
    std::array<char, 65536> block{};
    while (!text.empty()) {
        const std::size_t count = std::min(block.size(), text.size());
        if (std::fread(block.data(), 1, count, file) != count ||
            text.substr(0, count) != std::string_view(block.data(), count)) {
            return false;
        }
        text.remove_prefix(count);
    }
    return true;
}

void keepRest(FileReplacement& files, const std::string& fileName, std::string_view rest) {
    const FilePointer old = openForReading(fileName);
    if (old && endsWith(old.get(), rest)) {
        return;
    }
    TextCopier out(files.open(fileName));
    if (old) {
        std::rewind(old.get());
        out.copyAll(old.get());
        if (std::ferror(old.get()) != 0) {
            stopWithMessage("cannot read file: %s", fileName.c_str());
        }
    }
    out.beginPiece();
    out.write(rest);
}

// Which records go where, by their numbers in the old file.
struct Parts {
    std::span<const int> train;
    std::span<const int> test;
    std::span<const int> valid;
};

Parts divide(std::span<const int> order, const SplitRates& rates, const std::string& fileTrain) {
    const auto countOf = [&](float rate) {
        return static_cast<std::size_t>(static_cast<float>(order.size()) * rate);
    };
    const std::size_t numTest = countOf(rates.test);
    const std::size_t numValid = countOf(rates.valid);
    const bool isValidationEmpty = rates.valid > 0.0f && numValid < 1;
    if (numTest < 1 || isValidationEmpty || order.size() < numTest + numValid + 1) {
        stopWithMessage("too less #geometries: %s", fileTrain.c_str());
    }
    return {order.subspan(numTest + numValid), order.first(numTest), order.subspan(numTest, numValid)};
}

void printShare(float rate, const char* part) {
    printOut("\n  * Split %.3f of old training data -> new %s data.\n", static_cast<double>(rate), part);
}

void printCount(std::span<const int> records, const char* part) {
    printOut("\n  * Number of geometries in new %s data: %d.\n", part, static_cast<int>(records.size()));
}

// The file that is opened first gets its name last.
void replaceFiles(const SplitFiles& names, const SplitRates& rates, const RecordText& data,
                  const Parts& parts) {
    FileReplacement files;
    printShare(1.0f - rates.test - rates.valid, "training");
    writeRecords(files.open(names.train), data, parts.train);
    printCount(parts.train, "training");
    if (!parts.valid.empty()) {
        printShare(rates.valid, "validation");
        writeRecords(files.open(names.valid), data, parts.valid);
        printCount(parts.valid, "validation");
    }
    printShare(rates.test, "testing");
    writeRecords(files.open(names.test), data, parts.test);
    const std::string_view rest = data.getRest();
    if (!rest.empty()) {
        keepRest(files, names.train + ".rest", rest);
    }
    files.commit();
    printCount(parts.test, "testing");
}

} // namespace

void splitTrainingData(const SplitFiles& names, SplitRates rates) {
    if (!isShare(rates.test)) {
        askRates(rates);
    }
    if (const std::optional<float> incorrect = findIncorrect(rates)) {
        printOut("\n  * Incorrect rate of splitting: %.3f\n\n", static_cast<double>(*incorrect));
        return;
    }
    printOut("\n  * Read old training data.\n");
    const RecordText data(names.train);
    printOut("\n  * Number of geometries in old training data: %d.\n", data.numRecords());
    const std::vector<int> order = drawOrder(data.numRecords());
    replaceFiles(names, rates, data, divide(order, rates, names.train));
    printOut("\n");
}

} // namespace melta
