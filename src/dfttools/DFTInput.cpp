#include "dfttools/DFTInput.hpp"

#include "driver/LineReader.hpp"
#include "driver/RandomSource.hpp"
#include "driver/Reporting.hpp"
#include "modelio/TextCopier.hpp"
#include "structure/LebedevDirections.hpp"
#include "structure/NormalPair.hpp"

namespace melta {
namespace {

// Says so if the file does not open.
FilePointer openOrTell(FilePointer file, const std::string& fileName) {
    if (!file) {
        printOut("\ncannot open the file: %s\n\n", fileName.c_str());
    }
    return file;
}

FilePointer createOrTell(const std::string& fileName) {
    return openOrTell(FilePointer(std::fopen(fileName.c_str(), "w")), fileName);
}

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
    FilePointer file = createOrTell(fileName);
    if (!file) {
        return false;
    }
    writeLines(file.get(), lines.headLines);
    for (std::size_t i = 0; i < atoms.size(); i += 2) {
        const auto [first, second] = drawNormalPair(random);
        writeDisplaced(file.get(), atoms[i], first * shiftAtoms, random);
        if (i + 1 < atoms.size()) {
            writeDisplaced(file.get(), atoms[i + 1], second * shiftAtoms, random);
        }
    }
    writeLines(file.get(), lines.tailLines);
    closeWritten(std::move(file), fileName);
    return true;
}

bool writeMetropolisInput(const std::string& fileName, const std::vector<std::string>& headLines,
                          const std::string& geometryFile) {
    FilePointer file = createOrTell(fileName);
    if (!file) {
        return false;
    }
    writeLines(file.get(), headLines);
    const FilePointer geometry = openOrTell(openForReading(geometryFile), geometryFile);
    if (!geometry) {
        return false;
    }
    TextCopier(file.get()).copyAll(geometry.get());
    closeWritten(std::move(file), fileName);
    return true;
}

} // namespace melta
