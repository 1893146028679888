#include "symmfunc/manybody/ManyBodyKind.hpp"

#include "base/Reporting.hpp"
#include "config/HeadReader.hpp"
#include "config/HeadWriter.hpp"
#include "config/TemplateText.hpp"
#include "symmfunc/InputMap.hpp"
#include "symmfunc/manybody/SymmFuncManyBody.hpp"

#include <algorithm>
#include <array>
#include <tuple>

namespace melta {
namespace {

constexpr std::array keyRows{
    integer("m2", &Property::m2, Check::positive),
    integer("m3", &Property::m3, Check::notNegative),
    real("rinner", &Property::rinner, Check::notNegative),
    real("router", &Property::router, Check::positive),
};

constexpr std::array templateLines{
    TemplateLine{"m2", &Property::m2},
    TemplateLine{"m3", &Property::m3},
    TemplateLine{"rinner", &Property::rinner},
    TemplateLine{"router", &Property::router},
};

InputBlocks blocksOf(const Property& property) {
    const long long numPoints = std::max(property.m3, 0);
    return {property.m2, numPoints, 1, numPoints};
}

} // namespace

std::span<const KeyRow> ManyBodyKind::keys() const {
    return keyRows;
}

void ManyBodyKind::checkSettings(const Property& property, const std::string& fileName) const {
    if (!(property.rinner < property.router)) {
        stopWithMessage("router is too small: %s", fileName.c_str());
    }
    if (property.elemWeight != 0) {
        stopWithMessage("symmFunc of many-body does not support elemWeight: %s", fileName.c_str());
    }
}

std::string ManyBodyKind::templateText(const Property& property) const {
    return linesText(property, templateLines);
}

BannerBlock ManyBodyKind::bannerBlock(const Property& property, const std::string& heading) const {
    const char* const lengthUnit = " Angstrom";
    return {
        {heading + "):", ""},
        {"  M2     = ", std::to_string(property.m2)},
        {"  M3     = ", std::to_string(property.m3)},
        {"  Rinner = ", shortText(property.rinner, lengthUnit)},
        {"  Router = ", shortText(property.router, lengthUnit)},
        emptyLine,
        {energyDecompositionCitation, ""},
    };
}

bool ManyBodyKind::readHead(HeadReader& head) const {
    return head.next("cannot read many-body symmetry function.") &&
           head.readSizes({&Property::m2, "m2", &Property::m3, "m3", &Property::rinner, &Property::router});
}

void ManyBodyKind::writeHead(std::FILE* stream, const Property& property) const {
    writeHeadSizes(stream, property.m2, property.m3, property.rinner, property.router);
    std::fputs("\n", stream);
}

bool ManyBodyKind::isSame(const Property& a, const Property& b) const {
    return std::tie(a.m2, a.m3, a.rinner, a.router) == std::tie(b.m2, b.m3, b.rinner, b.router);
}

float ManyBodyKind::findLargestCutoff(const Property& property) const {
    return property.router;
}

const char* ManyBodyKind::keysOfSize() const {
    return "m2, m3 or router";
}

double ManyBodyKind::countInputs(const Property& property, int numElems) const {
    return blocksOf(property).countInputs(numElems);
}

InputMap ManyBodyKind::mapInputs(const Property& property, std::span<const int> mapOfElems,
                                 int numElems) const {
    return blocksOf(property).map(mapOfElems, numElems);
}

std::unique_ptr<SymmFunc> ManyBodyKind::create(int numElems, const Property& property) const {
    return std::make_unique<SymmFuncManyBody>(numElems, false, property.m2, property.m3, property.rinner,
                                              property.router);
}

} // namespace melta
