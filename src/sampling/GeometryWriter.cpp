#include "sampling/GeometryWriter.hpp"

#include "base/FileReplacement.hpp"
#include "base/Reporting.hpp"
#include "config/FileNames.hpp"
#include "structure/GeometrySet.hpp"

#include <cstdio>
#include <filesystem>
#include <span>
#include <utility>

namespace fs = std::filesystem;

namespace melta {
namespace {

std::string latticeText(const Geometry& geometry, std::size_t row) {
    const std::span vector = std::span(geometry.lattice).subspan(3 * row, 3);
    return formatText("%12.8f %12.8f %12.8f", static_cast<double>(vector[0]), static_cast<double>(vector[1]),
                      static_cast<double>(vector[2]));
}

std::string atomText(const Geometry& geometry, std::size_t atom, const std::string& name) {
    const std::span position = std::span(geometry.positions).subspan(3 * atom, 3);
    return formatText("  %-6s %10.6f %10.6f %10.6f\n", name.c_str(), static_cast<double>(position[0]),
                      static_cast<double>(position[1]), static_cast<double>(position[2]));
}

void replaceFile(const std::string& fileName, const std::string& text) {
    // A walk may find one in each step, and what a failure of the power costs is found again.
    FileReplacement replacement(FileReplacement::Sync::no);
    std::fputs(text.c_str(), replacement.open(fileName));
    replacement.commit();
}

// In one piece, which leaves a kill of the process little time to cut the text. A full disk cuts it, too, and
// then what there was room for is removed again.
void appendToFile(const std::string& fileName, const std::string& text) {
    FilePointer file(std::fopen(fileName.c_str(), "a"));
    if (!file) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    std::error_code error;
    const std::uintmax_t size = fs::file_size(fileName, error);
    if (std::fputs(text.c_str(), file.get()) == EOF && !error) {
        fs::resize_file(fileName, size, error);
    }
    closeWritten(std::move(file), fileName);
}

void makeDirectory(const char* name) {
    std::error_code error;
    if (!fs::exists(name, error) && !fs::create_directory(name, error)) {
        stopWithMessage("cannot make directory: %s", name);
    }
}

} // namespace

GeometryWriter::GeometryWriter(const GeometrySet& geometrySet, const MetropolisInput& settings, int process)
    : set(geometrySet), input(settings), rank(process) {}

void GeometryWriter::makeDirectories() const {
    if (rank == 0) {
        makeDirectory(fileNames::geometryDirectory);
        makeDirectory(fileNames::movieDirectory);
    }
}

void GeometryWriter::writeGeometryForDFT(const Geometry& geometry, int index) const {
    std::string text = "CELL_PARAMETERS {angstrom}\n";
    for (std::size_t row = 0; row < 3; ++row) {
        text += latticeText(geometry, row);
        text += '\n';
    }
    text += "\nATOMIC_POSITIONS {angstrom}\n";
    for (std::size_t atom = 0; atom < geometry.elements.size(); ++atom) {
        text += atomText(geometry, atom, set.getElementName(geometry.elements[atom]));
    }
    text += "\n";
    replaceFile(formatText("%s/%s%d", fileNames::geometryDirectory, fileNames::geometryStem, index + 1),
                text);
}

void GeometryWriter::writeGeometryToMovie(const Geometry& geometry, int frame) const {
    const std::string fileName =
        formatText("%s/%s%d.xyz", fileNames::movieDirectory, fileNames::movieStem, rank + 1);
    if (frame == 0) {
        replaceFile(fileName, frameText(geometry));
    } else {
        appendToFile(fileName, frameText(geometry));
    }
}

std::string GeometryWriter::frameText(const Geometry& geometry) const {
    std::string text = formatText("%d\nLattice:", geometry.numAtoms);
    for (std::size_t row = 0; row < 3; ++row) {
        text += ' ';
        text += latticeText(geometry, row);
    }
    text += '\n';
    for (std::size_t atom = 0; atom < input.elemAtoms.size(); ++atom) {
        text += atomText(geometry, atom, input.elemNames[static_cast<std::size_t>(input.elemAtoms[atom])]);
    }
    return text;
}

} // namespace melta
