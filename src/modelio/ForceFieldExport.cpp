#include "modelio/ForceFieldExport.hpp"

#include "base/FileReplacement.hpp"
#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "config/BaselineKind.hpp"
#include "config/NetworkKind.hpp"
#include "modelio/OpenModel.hpp"

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

void copyPiece(std::FILE* in, TextCopier& out) {
    out.beginPiece();
    out.copyAll(in);
}

} // namespace

void exportForceField(const std::string& dataFile, const std::string& baselineFile,
                      const std::string& outputFile, const Property& property) {
    printOut("\n  * Export the data of neural networks to the file \"%s\"\n\n", outputFile.c_str());
    const BaselineKind* const kind = baselineKindOf(property);
    const bool withCharge = property.withCharge != 0;
    OpenModel model(dataFile);
    const InputFile head(std::move(model.head), dataFile, true);
    const InputFile baseline(openForReading(baselineFile), baselineFile, kind != nullptr);
    const InputFile energy(std::move(model.energy), companionName(dataFile, energyKind), true);
    const InputFile charge(std::move(model.charge), companionName(dataFile, chargeKind), withCharge);
    FileReplacement files;
    TextCopier out(files.open(outputFile));

    copyPiece(head.stream(), out);
    if (kind != nullptr) {
        kind->exportParameters(baseline.stream(), out);
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
