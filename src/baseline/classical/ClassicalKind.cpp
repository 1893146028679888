#include "baseline/classical/ClassicalKind.hpp"

#include "base/FieldScanner.hpp"
#include "base/LineReader.hpp"
#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "baseline/classical/ClassicalFile.hpp"
#include "baseline/classical/ClassicalPot.hpp"
#include "baseline/classical/ClassicalView.hpp"
#include "config/FileNames.hpp"
#include "structure/GeometrySet.hpp"

#include <array>
#include <cstdint>

namespace melta {
namespace {

// Two keys for one switch.
constexpr std::array keyRows{
    onOff("withClassical", &Property::withClassical),
    onOff("withLJlike", &Property::withClassical),
};
constexpr std::array lines{TemplateLine{"withClassical", &Property::withClassical}};

std::unique_ptr<ClassicalPot> makePotential(const GeometrySet* set, const Property* property,
                                            const std::string& file) {
    auto pot = std::make_unique<ClassicalPot>(set, property);
    pot->restoreParameters(file);
    return pot;
}

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

} // namespace

bool ClassicalKind::isOn(const Property& property) const {
    return property.withClassical != 0;
}

// The number of an older file is kept.
void ClassicalKind::takeCode(Property& property, int headCode) const {
    property.withClassical = headCode <= code ? headCode : 0;
}

std::span<const KeyRow> ClassicalKind::keys() const {
    return keyRows;
}

std::span<const TemplateLine> ClassicalKind::templateLines() const {
    return lines;
}

BannerBlock ClassicalKind::bannerLines(const Property& property) const {
    return {{"  LJ-like Potential   = ", yesNoText(property.withClassical)}};
}

bool ClassicalKind::readHead(HeadReader& /*head*/) const {
    return true;
}

void ClassicalKind::writeHead(std::FILE* /*stream*/, const Property& /*property*/) const {}

bool ClassicalKind::isSame(const Property& /*a*/, const Property& /*b*/) const {
    return true;
}

const char* ClassicalKind::fileName() const {
    return fileNames::classical;
}

void ClassicalKind::exportParameters(std::FILE* in, TextCopier& out) const {
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

std::unique_ptr<BaselinePotential> ClassicalKind::make(const GeometrySet* set, const Property* property,
                                                       const std::string& parameterFile) const {
    return makePotential(set, property, parameterFile);
}

void ClassicalKind::mark(GeometrySet& set) const {
    set.withClassical = true;
}

bool ClassicalKind::isMarked(const GeometrySet& set) const {
    return set.withClassical;
}

void ClassicalKind::removeFrom(const GeometrySet& set, const Property& property, std::span<const int> order,
                               const std::string& parameterFile) const {
    const auto pot = makePotential(&set, &property, parameterFile);
    printOut("  * Remove energies and forces of the Lennard-Jones-like potential.\n\n");
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (const int index : order) {
        guard.run([&] { pot->removeFromGeometry(&set.getGeometry(index)); });
    }
    guard.rethrow();
}

std::shared_ptr<const ViewBaseline> ClassicalKind::load(const GeometrySet& elements, const Property& property,
                                                        LineReader& file, const std::string& name,
                                                        bool isExported) const {
    ClassicalParameters parameters(elements.elemNames.size());
    const auto read = isExported ? readExportedPairs : readClassicalFile;
    read(file, name, elements, parameters);
    return std::make_shared<ClassicalView>(std::move(parameters),
                                           static_cast<double>(findLargestCutoff(property)));
}

} // namespace melta
