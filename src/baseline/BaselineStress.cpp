#include "baseline/BaselineStress.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "melta/Error.hpp"
#include "melta/PeriodicView.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <functional>
#include <vector>

namespace melta {
namespace {

PeriodicView viewOf(const Geometry& geometry, double reach) {
    const std::vector<double> cell(geometry.lattice.begin(), geometry.lattice.end());
    const std::vector<double> positions(geometry.positions.begin(), geometry.positions.end());
    const std::vector<int> elements(geometry.elements.begin(), geometry.elements.end());
    try {
        return {cell, positions, elements, reach};
    } catch (const Error& error) {
        stopWithMessage("%s", error.what());
    }
}

} // namespace

BaselineStress::BaselineStress(const BaselineKind& kind, const GeometrySet& set, const Property& property,
                               const std::string& baselineFile) {
    LineReader lines(baselineFile);
    if (!lines.isOpen()) {
        stopWithMessage("cannot open file: %s", baselineFile.c_str());
    }
    constexpr bool isExported = false;
    potential = kind.load(set, property, lines, baselineFile, isExported);
}

std::array<float, 6> BaselineStress::compute(const Geometry& geometry) const {
    const double reach = potential->influenceDistance();
    if (!(reach > 0.0)) {
        return {};
    }
    const PeriodicView atoms = viewOf(geometry, reach);
    const auto numAtoms = static_cast<std::size_t>(atoms.view().numAtoms);
    std::vector<double> energies(numAtoms, 0.0);
    std::vector<double> virials(6 * numAtoms, 0.0);
    potential->makeEvaluator()->add(atoms.view(), {energies, {}, virials});
    std::array<double, 6> sum{};
    for (std::size_t i = 0; i < virials.size(); ++i) {
        sum[i % 6] -= virials[i];
    }
    // Virials come as xx, yy, zz, xy, xz, yz.
    constexpr std::array<std::size_t, 6> places{0, 1, 2, 5, 4, 3};
    std::array<float, 6> stress{};
    std::ranges::transform(places, stress.begin(), [&](std::size_t p) { return static_cast<float>(sum[p]); });
    return stress;
}

void BaselineStress::removeFromGeometry(Geometry& geometry) const {
    if (!geometry.stressVolume) {
        return;
    }
    const std::array<float, 6> share = compute(geometry);
    std::ranges::transform(*geometry.stressVolume, share, geometry.stressVolume->begin(), std::minus<>());
}

} // namespace melta
