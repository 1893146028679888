#include "symmfunc/chebyshev/ChebyshevKind.hpp"

#include "config/HeadReader.hpp"
#include "config/HeadWriter.hpp"
#include "symmfunc/InputMap.hpp"
#include "symmfunc/RangeSettings.hpp"
#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"

#include <algorithm>

namespace melta {
namespace {

// A template proposes one cutoff for both kinds of functions, the radial one.
constexpr std::array templateLines{
    TemplateLine{"numRadius", &Property::numRadius},
    TemplateLine{"numAngle", &Property::numAngle},
    TemplateLine{"rcutRadius", &Property::rcutRadius},
    TemplateLine{"rcutAngle", &Property::rcutRadius},
};

InputBlocks blocksOf(const Property& property) {
    return {property.numRadius, 1, std::max(property.numAngle, 0), 1};
}

} // namespace

std::span<const KeyRow> ChebyshevKind::keys() const {
    return rangeKeys;
}

std::string ChebyshevKind::templateText(const Property& property) const {
    return linesText(property, weightLines) + linesText(property, templateLines);
}

BannerBlock ChebyshevKind::bannerBlock(const Property& property, const std::string& heading) const {
    const char* const lengthUnit = " Angstrom";
    return {
        {heading + formatText(" %s):", cutoffText(property)), ""},
        {"  Element Weight = ", yesNoText(property.elemWeight)},
        {"  Number of C2s  = ", std::to_string(property.numRadius)},
        {"  Number of C3s  = ", std::to_string(property.numAngle)},
        {"  Rcut for C2    = ", shortText(property.rcutRadius, lengthUnit)},
        {"  Rcut for C3    = ", shortText(property.rcutAngle, lengthUnit)},
        emptyLine,
        {"N. Artrith, A. Urban, and G. Ceder, Rhys. Rev. B 96, 014112 (2017)", ""},
    };
}

bool ChebyshevKind::readHead(HeadReader& head) const {
    return head.next("cannot read Chebyshev-type symmetry function.") &&
           head.readSizes({&Property::numRadius, "#C2-functions of Chebyshev", &Property::numAngle,
                           "#C3-functions of Chebyshev", &Property::rcutRadius, &Property::rcutAngle});
}

void ChebyshevKind::writeHead(std::FILE* stream, const Property& property) const {
    writeHeadSizes(stream, property.numRadius, property.numAngle, property.rcutRadius, property.rcutAngle);
    std::fputs("\n", stream);
}

bool ChebyshevKind::isSame(const Property& a, const Property& b) const {
    return haveSameRanges(a, b);
}

float ChebyshevKind::findLargestCutoff(const Property& property) const {
    return largestOfCutoffs(property);
}

const char* ChebyshevKind::keysOfSize() const {
    return "numRadius, numAngle, rcutRadius or rcutAngle";
}

double ChebyshevKind::countInputs(const Property& property, int numElems) const {
    return blocksOf(property).countInputs(numElems);
}

InputMap ChebyshevKind::mapInputs(const Property& property, std::span<const int> mapOfElems,
                                  int numElems) const {
    return blocksOf(property).map(mapOfElems, numElems);
}

std::unique_ptr<SymmFunc> ChebyshevKind::create(int numElems, const Property& property) const {
    return std::make_unique<SymmFuncChebyshev>(numElems, property.tanhCutoff != 0, property.elemWeight != 0,
                                               property.numRadius, property.numAngle, property.rcutRadius,
                                               property.rcutAngle);
}

} // namespace melta
