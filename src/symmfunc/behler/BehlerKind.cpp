#include "symmfunc/behler/BehlerKind.hpp"

#include "base/FieldScanner.hpp"
#include "config/FiniteNumber.hpp"
#include "config/HeadReader.hpp"
#include "config/HeadWriter.hpp"
#include "symmfunc/InputMap.hpp"
#include "symmfunc/RangeSettings.hpp"
#include "symmfunc/behler/SymmFuncBehler.hpp"

#include <algorithm>
#include <tuple>

namespace melta {
namespace {

const char* const lengthUnit = " Angstrom";

// The values that one parameter of the Behler functions takes.
struct ParameterRange {
    explicit ParameterRange(const std::vector<float>& values) {
        if (!values.empty()) {
            const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
            minimum = *least;
            maximum = *greatest;
        }
    }

    float minimum = 0.0f;
    float maximum = 0.0f;
};

// A parameter with its label and unit.
struct RangeRow {
    std::string label;
    ParameterRange range;
    const char* unit;
};

// All ranges are as wide as the widest number among them needs.
BannerBlock makeRangeLines(const std::vector<RangeRow>& rows) {
    float greatest = 0.0f;
    for (const RangeRow& row : rows) {
        greatest = std::max(greatest, row.range.maximum);
    }
    const int width = greatest < 9.9995f ? 5 : 6;
    BannerBlock lines;
    for (const RangeRow& row : rows) {
        lines.push_back(
            {row.label, formatText("%*.3f ~ %*.3f%s", width, static_cast<double>(row.range.minimum), width,
                                   static_cast<double>(row.range.maximum), row.unit)});
    }
    return lines;
}

BannerBlock makeBehlerRanges(const Property& property, int angularKind) {
    return makeRangeLines({
        {"  Eta  for G2    = ", ParameterRange(property.radiusEta), " Angstorm^-2"},
        {"  Rs   for G2    = ", ParameterRange(property.radiusShift), lengthUnit},
        {formatText("  Eta  for G%d    = ", angularKind), ParameterRange(property.angleEta), " Angstrom^-2"},
        {formatText("  Zeta for G%d    = ", angularKind), ParameterRange(property.angleZeta), ""},
        {formatText("  Rs   for G%d    = ", angularKind), ParameterRange(property.angleShift), lengthUnit},
    });
}

constexpr HeadReader::Sizes sizesOfHead{&Property::numRadius,  "#G2-functions of Behler",
                                        &Property::numAngle,   "#G3/G4-functions of Behler",
                                        &Property::rcutRadius, &Property::rcutAngle};

// Older files have one cutoff and always G4.
bool takeSizes(const std::string& line, Property& property) {
    FieldScanner scanner(line);
    std::array<int, 2> sizes{};
    std::array<float, 2> cutoffs{};
    int isG4 = 1;
    if (!scanner.readInt(sizes[0]) || !scanner.readInt(sizes[1]) || !readFinite(scanner, cutoffs[0])) {
        return false;
    }
    if (!readFinite(scanner, cutoffs[1]) || !scanner.readInt(isG4)) {
        cutoffs[1] = cutoffs[0];
        isG4 = 1;
    }
    property.numRadius = sizes[0];
    property.numAngle = sizes[1];
    property.rcutRadius = cutoffs[0];
    property.rcutAngle = cutoffs[1];
    property.behlerG4 = isG4 != 0 ? 1 : 0;
    return true;
}

bool readSizes(HeadReader& head) {
    if (!head.next("cannot read Behler's symmetry function.")) {
        return false;
    }
    if (!head.isComparing() && !takeSizes(head.line(), *head.getTarget())) {
        return false;
    }
    head.compareSizes(sizesOfHead);
    return true;
}

// One line for each function, whose first numbers go to `columns`, in their order; those of older files that
// have less than all are 0.
bool readParameters(HeadReader& head, int count, const char* message, std::size_t least,
                    std::span<std::vector<float> Property::*const> columns) {
    Property* const target = head.getTarget();
    for (std::size_t c = 0; target != nullptr && c < columns.size(); ++c) {
        (target->*columns[c]).clear();
    }
    for (int i = 0; i < count; ++i) {
        std::array<float, 3> values{};
        if (!head.readRow(message, least, std::span(values).first(columns.size()))) {
            return false;
        }
        for (std::size_t c = 0; target != nullptr && c < columns.size(); ++c) {
            (target->*columns[c]).push_back(values[c]);
        }
    }
    return true;
}

InputBlocks blocksOf(const Property& property) {
    return {property.numRadius, 1, 2LL * std::max(property.numAngle, 0), 1};
}

} // namespace

std::span<const KeyRow> BehlerKind::keys() const {
    return rangeKeys;
}

void BehlerKind::readFunctions(Property& property, const std::string& functionFile) const {
    property.readBehlerFile(functionFile);
}

std::string BehlerKind::templateText(const Property& property) const {
    return linesText(property, weightLines);
}

BannerBlock BehlerKind::bannerBlock(const Property& property, const std::string& heading) const {
    const int angularKind = property.behlerG4 != 0 ? 4 : 3;
    BannerBlock block = {
        {heading + formatText("%d %s):", angularKind, cutoffText(property)), ""},
        {"  Element Weight = ", yesNoText(property.elemWeight)},
        {"  Number of G2s  = ", std::to_string(property.numRadius)},
        {formatText("  Number of G%ds  = ", angularKind), formatText("%d x 2", property.numAngle)},
        {"  Rcut for G2    = ", shortText(property.rcutRadius, lengthUnit)},
        {formatText("  Rcut for G%d    = ", angularKind), shortText(property.rcutAngle, lengthUnit)},
    };
    const BannerBlock ranges = makeBehlerRanges(property, angularKind);
    block.insert(block.end(), ranges.begin(), ranges.end());
    block.push_back(emptyLine);
    block.push_back({"J. Behler, Int. J. Quant. Chem. 115, 1032 (2015)", ""});
    block.push_back({"M. Gastegger, L. Schwiedrzik, M. Bittermann, F. Berzsenyi, and P. Marquetand, "
                     "J. Chem. Phys. 148, 241709 (2018)",
                     ""});
    return block;
}

bool BehlerKind::readHead(HeadReader& head) const {
    constexpr std::array radial{&Property::radiusEta, &Property::radiusShift};
    constexpr std::array angular{&Property::angleEta, &Property::angleZeta, &Property::angleShift};
    return readSizes(head) &&
           readParameters(head, head.getSettings().numRadius, "cannot read G2 of Behler.", 2, radial) &&
           readParameters(head, head.getSettings().numAngle, "cannot read G3/G4 of Behler.", 2, angular);
}

void BehlerKind::writeHead(std::FILE* stream, const Property& property) const {
    writeHeadSizes(stream, property.numRadius, property.numAngle, property.rcutRadius, property.rcutAngle);
    std::fprintf(stream, " %d\n", property.behlerG4);
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::max(property.numRadius, 0)); ++i) {
        writeHeadRow(stream, {property.radiusEta[i], property.radiusShift[i]});
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::max(property.numAngle, 0)); ++i) {
        writeHeadRow(stream, {property.angleEta[i], property.angleZeta[i], property.angleShift[i]});
    }
}

bool BehlerKind::isSame(const Property& a, const Property& b) const {
    const auto functionsOf = [](const Property& p) {
        return std::tie(p.behlerG4, p.radiusEta, p.radiusShift, p.angleEta, p.angleZeta, p.angleShift);
    };
    return haveSameRanges(a, b) && functionsOf(a) == functionsOf(b);
}

float BehlerKind::findLargestCutoff(const Property& property) const {
    return largestOfCutoffs(property);
}

const char* BehlerKind::keysOfSize() const {
    return "the functions and cutoffs of the Behler file";
}

double BehlerKind::countInputs(const Property& property, int numElems) const {
    return blocksOf(property).countInputs(numElems);
}

InputMap BehlerKind::mapInputs(const Property& property, std::span<const int> mapOfElems,
                               int numElems) const {
    return blocksOf(property).map(mapOfElems, numElems);
}

std::unique_ptr<SymmFunc> BehlerKind::create(int numElems, const Property& property) const {
    auto symmFunc = std::make_unique<SymmFuncBehler>(
        numElems, property.tanhCutoff != 0, property.elemWeight != 0, property.numRadius, property.numAngle,
        property.rcutRadius, property.rcutAngle);
    symmFunc->radiusEta = property.radiusEta;
    symmFunc->radiusShift = property.radiusShift;
    if (property.numAngle >= 1) {
        symmFunc->angleEta = property.angleEta;
        symmFunc->angleZeta = property.angleZeta;
        symmFunc->angleShift = property.angleShift;
        symmFunc->behlerG4 = property.behlerG4 != 0;
    }
    symmFunc->checkParameters();
    return symmFunc;
}

} // namespace melta
