#pragma once

#include "structure/ViewBaseline.hpp"

#include <array>
#include <memory>
#include <string>

namespace melta {

class BaselineKind;
class Geometry;
class GeometrySet;
class Property;

// The stress of the baseline potential of a run, by the way in which hosts evaluate it. Does not change; for
// use by several threads.
class BaselineStress {
public:
    // The potential of a kind with the parameters of a file, for the elements of a set. Stops with "cannot
    // open file: %s" and as BaselineKind::load.
    BaselineStress(const BaselineKind& kind, const GeometrySet& set, const Property& property,
                   const std::string& baselineFile);

    // Stress times volume, xx, yy, zz, yz, xz, xy, eV, positive under tension. Stops as PeriodicView throws.
    [[nodiscard]] std::array<float, 6> compute(const Geometry& geometry) const;

    // Takes it out of the reference stress of a geometry, if that has one.
    void removeFromGeometry(Geometry& geometry) const;

private:
    std::shared_ptr<const ViewBaseline> potential;
};

} // namespace melta
