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
#include <span>
#include <vector>

namespace melta {
namespace {

// NaN is no share either.
bool isShare(float rate) {
    return rate > 0.0f && rate < 1.0f;
}

void askRate(float& rate) {
    printOut("\nrate to split training data into testing data:\n");
    if (const auto answer = readAnswer()) {
        FieldScanner(*answer).readFloat(rate);
    }
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

// The file that is opened first gets its name last.
void replaceFiles(const std::string& fileTrain, const std::string& fileTest, float rate,
                  const RecordText& data, std::span<const int> idx, std::size_t numTest) {
    FileReplacement files;
    printOut("\n  * Split %.3f of old training data -> new training data.\n",
             static_cast<double>(1.0f - rate));
    writeRecords(files.open(fileTrain), data, idx.subspan(numTest));
    printOut("\n  * Number of geometries in new training data: %d.\n",
             static_cast<int>(idx.size() - numTest));
    printOut("\n  * Split %.3f of old training data -> new testing data.\n", static_cast<double>(rate));
    writeRecords(files.open(fileTest), data, idx.first(numTest));
    const std::string_view rest = data.getRest();
    if (!rest.empty()) {
        keepRest(files, fileTrain + ".rest", rest);
    }
    files.commit();
    printOut("\n  * Number of geometries in new testing data: %d.\n", static_cast<int>(numTest));
}

} // namespace

void splitTrainingData(const std::string& fileTrain, const std::string& fileTest, float rate) {
    if (!isShare(rate)) {
        askRate(rate);
    }
    if (!isShare(rate)) {
        printOut("\n  * Incorrect rate of splitting: %.3f\n\n", static_cast<double>(rate));
        return;
    }
    printOut("\n  * Read old training data.\n");
    const RecordText data(fileTrain);
    printOut("\n  * Number of geometries in old training data: %d.\n", data.numRecords());
    const std::vector<int> idx = drawOrder(data.numRecords());
    const int numTest = static_cast<int>(static_cast<float>(data.numRecords()) * rate);
    if (numTest < 1 || data.numRecords() - numTest < 1) {
        stopWithMessage("too less #geometries: %s", fileTrain.c_str());
    }
    replaceFiles(fileTrain, fileTest, rate, data, idx, static_cast<std::size_t>(numTest));
    printOut("\n");
}

} // namespace melta
