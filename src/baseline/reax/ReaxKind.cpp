#include "baseline/reax/ReaxKind.hpp"

#include "base/LineReader.hpp"
#include "base/ParallelGuard.hpp"
#include "base/Reporting.hpp"
#include "base/TextCopier.hpp"
#include "baseline/reax/ReaxPot.hpp"
#include "baseline/reax/ReaxView.hpp"
#include "config/FileNames.hpp"
#include "config/HeadReader.hpp"
#include "config/HeadWriter.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <array>
#include <omp.h>
#include <tuple>
#include <vector>

namespace melta {
namespace {

constexpr const char* beginMark = ">>> ReaxFF";
constexpr const char* endMark = "<<< ReaxFF";

constexpr std::array keyRows{
    onOff("withReaxFF", &Property::withReaxFF),
    real("rcutReaxFF", &Property::rcutReaxFF, Check::positive),
    real("rateReaxFF", &Property::rateReaxFF, Check::positive),
};
constexpr std::array lines{
    TemplateLine{"withReaxFF", &Property::withReaxFF},
    TemplateLine{"rateReaxFF", &Property::rateReaxFF},
};

std::unique_ptr<ReaxPot> makeReaxFF(const Property& property, const std::string& file) {
    return std::make_unique<ReaxPot>(static_cast<double>(property.rcutReaxFF),
                                     static_cast<double>(property.rateReaxFF), file);
}

// The lines that are left, or those between the marks.
std::string takeText(LineReader& file, const std::string& name, bool isExported) {
    std::string text;
    bool isWhole = !isExported;
    if (isExported && !(file.next() && file.line() == beginMark)) {
        stopWithMessage("cannot read ReaxFF potential: %s", name.c_str());
    }
    while (file.next()) {
        if (isExported && file.line() == endMark) {
            isWhole = true;
            break;
        }
        text += file.line() + "\n";
    }
    if (!isWhole) {
        stopWithMessage("cannot read ReaxFF potential: %s", name.c_str());
    }
    return text;
}

} // namespace

bool ReaxKind::isOn(const Property& property) const {
    return property.withReaxFF != 0;
}

void ReaxKind::takeCode(Property& property, int headCode) const {
    property.withReaxFF = findBaselineKind(headCode) == this ? 1 : 0;
}

std::span<const KeyRow> ReaxKind::keys() const {
    return keyRows;
}

std::span<const TemplateLine> ReaxKind::templateLines() const {
    return lines;
}

BannerBlock ReaxKind::bannerLines(const Property& property) const {
    BannerBlock block = {{"  ReaxFF Potential    = ", yesNoText(property.withReaxFF)}};
    if (isOn(property)) {
        block.push_back({"  Rcut for ReaxFF     = ", shortText(property.rcutReaxFF, " Angstrom")});
        block.push_back({"  Rate of ReaxFF      = ", shortText(property.rateReaxFF)});
    }
    return block;
}

bool ReaxKind::readHead(HeadReader& head) const {
    std::array<float, 2> values{};
    if (!head.readRow("cannot read rcut of ReaxFF.", values.size(), values)) {
        return false;
    }
    if (Property* const target = head.getTarget()) {
        target->rcutReaxFF = values[0];
        target->rateReaxFF = values[1];
    }
    return true;
}

void ReaxKind::writeHead(std::FILE* stream, const Property& property) const {
    writeHeadRow(stream, {property.rcutReaxFF, property.rateReaxFF});
}

bool ReaxKind::isSame(const Property& a, const Property& b) const {
    return std::tie(a.rcutReaxFF, a.rateReaxFF) == std::tie(b.rcutReaxFF, b.rateReaxFF);
}

const char* ReaxKind::fileName() const {
    return fileNames::reaxFF;
}

void ReaxKind::exportParameters(std::FILE* parameters, TextCopier& out) const {
    out.beginPiece();
    out.write(std::string(beginMark) + "\n");
    out.beginPiece();
    out.copyAll(parameters);
    out.beginPiece();
    out.write(std::string(endMark) + "\n");
}

std::unique_ptr<BaselinePotential> ReaxKind::make(const GeometrySet* /*set*/, const Property* property,
                                                  const std::string& parameterFile) const {
    return makeReaxFF(*property, parameterFile);
}

void ReaxKind::mark(GeometrySet& set) const {
    set.withReaxFF = true;
}

bool ReaxKind::isMarked(const GeometrySet& set) const {
    return set.withReaxFF;
}

void ReaxKind::removeFrom(const GeometrySet& set, const Property& property, std::span<const int> order,
                          const std::string& file) const {
    printOut("  * Remove energies and forces of the ReaxFF potential.\n\n");
    // One for each thread, because they keep work data. Made before the threads run, so that a file that
    // cannot be read is reported once.
    std::vector<std::unique_ptr<ReaxPot>> pots(
        std::min(static_cast<std::size_t>(omp_get_max_threads()), order.size()));
    std::ranges::generate(pots, [&] { return makeReaxFF(property, file); });
    ParallelGuard guard;
#pragma omp parallel for schedule(static) num_threads(static_cast <int>(pots.size()))
    for (const int index : order) {
        guard.run([&] {
            pots[static_cast<std::size_t>(omp_get_thread_num())]->removeFromGeometry(&set.getGeometry(index));
        });
    }
    guard.rethrow();
}

std::shared_ptr<const ViewBaseline> ReaxKind::load(const GeometrySet& elements, const Property& property,
                                                   LineReader& file, const std::string& name,
                                                   bool isExported) const {
    std::string text = takeText(file, name, isExported);
    return std::make_shared<ReaxView>(FilePointer(fmemopen(text.data(), text.size(), "r")),
                                      static_cast<double>(property.rcutReaxFF),
                                      static_cast<double>(property.rateReaxFF), elements.elemNames);
}

} // namespace melta
