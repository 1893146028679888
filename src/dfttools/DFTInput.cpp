#include "dfttools/DFTInput.hpp"

#include "base/FileReplacement.hpp"
#include "base/LineReader.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "structure/LebedevDirections.hpp"
#include "structure/NormalPair.hpp"

namespace melta {
namespace {

void tellNotOpened(const std::string& fileName) {
    printOut("\ncannot open the file: %s\n\n", fileName.c_str());
}

// An input file under a temporary name until it is complete: the DFT code takes half a file for a whole one.
// After a failure of the power they are simply made again.
class InputReplacement {
public:
    // Says so if the file does not open.
    explicit InputReplacement(const std::string& fileName) : file(files.tryOpen(fileName)) {
        if (file == nullptr) {
            tellNotOpened(fileName);
        }
    }

    [[nodiscard]] std::FILE* getStream() const { return file; }
    void commit() { files.commit(); }

private:
    FileReplacement files{FileReplacement::Sync::no};
    std::FILE* file;
};

void writeLines(std::FILE* file, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        std::fprintf(file, "%s\n", line.c_str());
    }
}

void writeDisplaced(std::FILE* file, const DFTAtom& atom, double length, RandomSource& random) {
    const std::array<double, 3>& direction = drawDirection(random);
    const std::array<double, 3>& from = atom.position;
    std::fprintf(file, "%-6s %.8e %.8e %.8e\n", atom.name.c_str(), from[0] + length * direction[0],
                 from[1] + length * direction[1], from[2] + length * direction[2]);
}

} // namespace

bool writeDisplacedInput(const std::string& fileName, const DFTTemplate& lines,
                         const std::vector<DFTAtom>& atoms, double shiftAtoms, RandomSource& random) {
    InputReplacement input(fileName);
    std::FILE* const file = input.getStream();
    if (file == nullptr) {
        return false;
    }
    writeLines(file, lines.headLines);
    for (std::size_t i = 0; i < atoms.size(); i += 2) {
        const auto [first, second] = drawNormalPair(random);
        writeDisplaced(file, atoms[i], first * shiftAtoms, random);
        if (i + 1 < atoms.size()) {
            writeDisplaced(file, atoms[i + 1], second * shiftAtoms, random);
        }
    }
    writeLines(file, lines.tailLines);
    input.commit();
    return true;
}

bool writeMetropolisInput(const std::string& fileName, const std::vector<std::string>& headLines,
                          const std::string& geometryFile) {
    InputReplacement input(fileName);
    std::FILE* const file = input.getStream();
    if (file == nullptr) {
        return false;
    }
    writeLines(file, headLines);
    const FilePointer geometry = openForReading(geometryFile);
    if (!geometry) {
        tellNotOpened(geometryFile);
        return false;
    }
    TextCopier(file).copyAll(geometry.get());
    if (std::ferror(geometry.get()) != 0) {
        stopWithMessage("cannot read file: %s", geometryFile.c_str());
    }
    input.commit();
    return true;
}

} // namespace melta
