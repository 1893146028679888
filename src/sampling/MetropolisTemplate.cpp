#include "sampling/MetropolisTemplate.hpp"

#include "base/FileReplacement.hpp"
#include "base/Reporting.hpp"
#include "structure/GeometrySet.hpp"

#include <cstdio>
#include <span>

namespace melta {
namespace {

std::string integerLine(const char* key, std::int32_t value) {
    return formatText("%-16s%d\n", key, value);
}

std::string realLine(const char* key, float value, int decimals) {
    return formatText("%-16s%.*f\n", key, decimals, static_cast<double>(value));
}

std::string headText(const MetropolisInput& input) {
    return integerLine("maxSteps", input.maxSteps) + integerLine("numGeoms", input.numGeoms) +
           integerLine("unknownGeoms", input.unknownGeoms) + realLine("temperature", input.temperature, 1) +
           realLine("upperEnergy", input.upperEnergy, 3) + realLine("lowerEnergy", input.lowerEnergy, 3) +
           integerLine("withShift", input.withShift) + realLine("shiftCoord", input.shiftCoord, 3) +
           integerLine("shiftInit", input.shiftInit) + realLine("shiftCoordInit", input.shiftCoordInit, 3);
}

// A pair of its own element is no swap, but shows the form of the line.
std::string swappingText(const GeometrySet& set) {
    const char* const first = set.getElementName(0).c_str();
    const char* const second = set.getElementName(set.numElems > 1 ? 1 : 0).c_str();
    return "#SWAPPING\n#  2\n" + formatText("#  %s  %s  1000.0\n", first, second) +
           formatText("#  %s  %s  #X is vacancy atom\n", first, vacancyName);
}

std::string vectorText(std::span<const float, 3> vector, int width, int decimals) {
    std::string text;
    for (const float component : vector) {
        text += formatText(" %*.*f", width, decimals, static_cast<double>(component));
    }
    return text;
}

std::string geometryText(const Geometry& geometry, const GeometrySet& set) {
    std::string text = formatText("GEOMETRY\n  %d\n", geometry.numAtoms);
    for (std::size_t row = 0; row < 3; ++row) {
        const auto vector = std::span(geometry.lattice).subspan(3 * row).first<3>();
        text += vectorText(vector, 12, 8).substr(1) + "\n";
    }
    for (std::size_t i = 0; i < geometry.elements.size(); ++i) {
        const auto position = std::span(geometry.positions).subspan(3 * i).first<3>();
        const std::string& name = set.getElementName(geometry.elements[i]);
        text += formatText("  %-6s", name.c_str()) + vectorText(position, 10, 6) + "\n";
    }
    return text;
}

} // namespace

void writeMetropolisTemplate(const std::string& fileName, const MetropolisInput& input,
                             const GeometrySet& set) {
    const Geometry& geometry = set.getGeometry(0);
    const std::string text = headText(input) + "\n" + swappingText(set) + "\n" + geometryText(geometry, set);
    FileReplacement replacement;
    std::fputs(text.c_str(), replacement.open(fileName));
    replacement.commit();
}

} // namespace melta
