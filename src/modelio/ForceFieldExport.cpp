#include "modelio/ForceFieldExport.hpp"

#include "base/FieldScanner.hpp"
#include "base/FileReplacement.hpp"
#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/NetworkKind.hpp"
#include "modelio/OpenModel.hpp"
#include "modelio/TextCopier.hpp"

#include <cstdint>
#include <string_view>
#include <utility>

namespace melta {
namespace {

// One of the files that are joined; a part that the model does not have stays closed.
class InputFile {
public:
    InputFile(FilePointer opened, std::string fileName, bool isNeeded) : name(std::move(fileName)) {
        if (isNeeded) {
            file = std::move(opened);
            if (!file) {
                stopWithMessage("cannot open file: %s", name.c_str());
            }
        }
    }

    [[nodiscard]] std::FILE* stream() const { return file.get(); }

    // What could not be read must not be missing silently.
    void requireSound() const {
        if (file && std::ferror(file.get()) != 0) {
            stopWithMessage("cannot read file: %s", name.c_str());
        }
    }

private:
    std::string name;
    FilePointer file;
};

std::string takeLine(std::FILE* in) {
    std::string line;
    for (int character = std::getc(in); character != EOF && character != '\n'; character = std::getc(in)) {
        line.push_back(static_cast<char>(character));
    }
    return line;
}

bool skipLine(std::FILE* in) {
    int character = std::getc(in);
    if (character == EOF) {
        return false;
    }
    while (character != EOF && character != '\n') {
        character = std::getc(in);
    }
    return true;
}

void copyClassical(std::FILE* in, TextCopier& out) {
    const std::string firstLine = takeLine(in);
    int numElems = 0;
    if (!FieldScanner(firstLine).readInt(numElems) || numElems < 1) {
        numElems = 0;
    }
    for (int e = 0; e < numElems && skipLine(in); ++e) {
    }
    // Any 32-bit number of elements has a 64-bit number of pairs.
    const std::int64_t numPairs = std::int64_t{numElems} * (std::int64_t{numElems} + 1) / 2;
    out.beginPiece();
    out.write(std::to_string(numPairs) + "\n");
    for (std::int64_t p = 0; p < numPairs && out.copyLine(in); ++p) {
    }
}

void copyPiece(std::FILE* in, TextCopier& out) {
    out.beginPiece();
    out.copyAll(in);
}

void copyReaxFF(std::FILE* in, TextCopier& out) {
    out.beginPiece();
    out.write(">>> ReaxFF\n");
    copyPiece(in, out);
    out.beginPiece();
    out.write("<<< ReaxFF\n");
}

} // namespace

void exportForceField(const std::string& dataFile, const std::string& baselineFile,
                      const std::string& outputFile, bool withClassical, bool withReaxFF, bool withCharge) {
    printOut("\n  * Export the data of neural networks to the file \"%s\"\n\n", outputFile.c_str());
    OpenModel model(dataFile);
    const InputFile head(std::move(model.head), dataFile, true);
    const InputFile baseline(openForReading(baselineFile), baselineFile, withClassical || withReaxFF);
    const InputFile energy(std::move(model.energy), companionName(dataFile, energyKind), true);
    const InputFile charge(std::move(model.charge), companionName(dataFile, chargeKind), withCharge);
    FileReplacement files;
    TextCopier out(files.open(outputFile));

    copyPiece(head.stream(), out);
    if (withClassical) {
        copyClassical(baseline.stream(), out);
    }
    if (withReaxFF) {
        copyReaxFF(baseline.stream(), out);
    }
    copyPiece(energy.stream(), out);
    if (withCharge) {
        copyPiece(charge.stream(), out);
    }

    for (const InputFile* const input : {&head, &baseline, &energy, &charge}) {
        input->requireSound();
    }
    files.commit();
}

} // namespace melta
