#include "config/SymmFuncBanner.hpp"

#include <algorithm>

namespace melta {
namespace {

const char* const lengthUnit = " Angstrom";

const char* cutoffText(const Property& property) {
    return property.tanhCutoff != 0 ? "w/ tanh3-cutoff" : "w/ cosine-cutoff";
}

BannerBlock makeManyBodyBlock(const Property& property, const std::string& title) {
    return {
        {title + "):", ""},
        {"  M2     = ", std::to_string(property.m2)},
        {"  M3     = ", std::to_string(property.m3)},
        {"  Rinner = ", shortText(property.rinner, lengthUnit)},
        {"  Router = ", shortText(property.router, lengthUnit)},
        emptyLine,
        {energyDecompositionCitation, ""},
    };
}

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

BannerBlock makeBehlerBlock(const Property& property, const std::string& title) {
    const int angularKind = property.behlerG4 != 0 ? 4 : 3;
    BannerBlock block = {
        {title + formatText("%d %s):", angularKind, cutoffText(property)), ""},
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

BannerBlock makeChebyshevBlock(const Property& property, const std::string& title) {
    return {
        {title + formatText(" %s):", cutoffText(property)), ""},
        {"  Element Weight = ", yesNoText(property.elemWeight)},
        {"  Number of C2s  = ", std::to_string(property.numRadius)},
        {"  Number of C3s  = ", std::to_string(property.numAngle)},
        {"  Rcut for C2    = ", shortText(property.rcutRadius, lengthUnit)},
        {"  Rcut for C3    = ", shortText(property.rcutAngle, lengthUnit)},
        emptyLine,
        {"N. Artrith, A. Urban, and G. Ceder, Rhys. Rev. B 96, 014112 (2017)", ""},
    };
}

} // namespace

BannerBlock makeSymmFuncBlock(const Property& property) {
    const CodeName* const name = findCode(symmFuncNames, property.symmFuncKind);
    if (name == nullptr) {
        return {};
    }
    const std::string title = formatText("Symmetry Function (%s", name->title);
    switch (property.symmFuncKind) {
    case SymmFuncKind::manyBody:
        return makeManyBodyBlock(property, title);
    case SymmFuncKind::behler:
        return makeBehlerBlock(property, title);
    default:
        return makeChebyshevBlock(property, title);
    }
}

} // namespace melta
