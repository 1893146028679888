#include "baseline/zbl/ZblKind.hpp"

#include "base/LineReader.hpp"
#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "baseline/zbl/ZblPot.hpp"
#include "baseline/zbl/ZblRadiiSearch.hpp"
#include "baseline/zbl/ZblView.hpp"
#include "config/FileNames.hpp"
#include "structure/GeometrySet.hpp"

#include <array>
#include <filesystem>

namespace melta {
namespace {

constexpr std::array keyRows{
    named("withZBL", true, Check::any),
    named("rinnerZBL", false, Check::notNegative),
    named("routerZBL", false, Check::notNegative),
};

double settingOf(const Property& property, const char* key) {
    const auto found = property.kindSettings.find(key);
    return found == property.kindSettings.end() ? 0.0 : found->second;
}

double cutoffOf(const Property& property) {
    return static_cast<double>(findLargestCutoff(property));
}

LineReader openRadii(const std::string& fileName) {
    LineReader file(fileName);
    if (!file.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    return file;
}

ZblTable readTable(LineReader& file, const std::string& name, const GeometrySet& set,
                   const Property& property) {
    return {set.elemNames, readZblFile(file, name), cutoffOf(property), name};
}

std::unique_ptr<ZblPot> makePotential(const GeometrySet& set, const Property& property,
                                      const std::string& fileName) {
    LineReader file = openRadii(fileName);
    return std::make_unique<ZblPot>(readTable(file, fileName, set, property));
}

void printRadii(std::span<const ZblRadii> entries) {
    printOut("  * Find the radii of the ZBL repulsion: inner, outer / Angstrom\n");
    for (const ZblRadii& entry : entries) {
        printOut("        %-6s - %-6s : %9.6f %9.6f\n", entry.first.c_str(), entry.second.c_str(),
                 entry.inner, entry.outer);
    }
    printOut("\n");
}

} // namespace

bool ZblKind::isOn(const Property& property) const {
    return settingOf(property, getKey()) != 0.0;
}

void ZblKind::takeCode(Property& property, int headCode) const {
    if (headCode == code) {
        property.kindSettings[getKey()] = 1.0;
    } else {
        property.kindSettings.erase(getKey());
    }
}

std::span<const KeyRow> ZblKind::keys() const {
    return keyRows;
}

BannerBlock ZblKind::bannerLines(const Property& property) const {
    if (!isOn(property)) {
        return {};
    }
    return {{"  ZBL Repulsion       = ", "Yes"}};
}

const char* ZblKind::fileName() const {
    return fileNames::zbl;
}

void ZblKind::exportParameters(std::FILE* parameters, TextCopier& out) const {
    out.beginPiece();
    out.copyAll(parameters);
}

void ZblKind::completeParameters(const GeometrySet& set, const Property& property,
                                 const std::string& parameterFile) const {
    std::vector<ZblRadii> entries;
    if (std::filesystem::exists(parameterFile)) {
        LineReader file = openRadii(parameterFile);
        entries = readZblFile(file, parameterFile);
    }
    const ZblWishes wishes{settingOf(property, "rinnerZBL"), settingOf(property, "routerZBL")};
    const std::size_t numAdded = addMissingRadii(entries, set, wishes, cutoffOf(property), parameterFile);
    if (numAdded > 0) {
        // Nothing is written that the potential would refuse.
        const ZblTable table(set.elemNames, entries, cutoffOf(property), parameterFile);
        printRadii(std::span(entries).last(numAdded));
        writeZblFile(parameterFile, entries);
    }
}

std::unique_ptr<BaselinePotential> ZblKind::make(const GeometrySet* set, const Property* property,
                                                 const std::string& parameterFile) const {
    return makePotential(*set, *property, parameterFile);
}

void ZblKind::mark(GeometrySet& set) const {
    set.withBaseline = true;
}

bool ZblKind::isMarked(const GeometrySet& set) const {
    return set.withBaseline;
}

void ZblKind::removeFrom(const GeometrySet& set, const Property& property, std::span<const int> order,
                         const std::string& parameterFile) const {
    const auto pot = makePotential(set, property, parameterFile);
    printOut("  * Remove energies and forces of the ZBL repulsion.\n\n");
    ParallelGuard guard;
#pragma omp parallel for schedule(static)
    for (const int index : order) {
        guard.run([&] { pot->removeFromGeometry(&set.getGeometry(index)); });
    }
    guard.rethrow();
}

std::shared_ptr<const ViewBaseline> ZblKind::load(const GeometrySet& elements, const Property& property,
                                                  LineReader& file, const std::string& name,
                                                  bool /*isExported*/) const {
    return std::make_shared<ZblView>(readTable(file, name, elements, property));
}

} // namespace melta
