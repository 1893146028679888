#pragma once

#include <functional>
#include <span>

namespace melta {

class GeometrySet;
class Property;

// Takes a baseline potential out of the reference data of all geometries of a set, whose neighbour lists are
// there. `order`: the indices of the geometries, shuffled for even shares of the threads. Given from above,
// because potentials stand on geometries; an empty one takes nothing out.
using BaselineRemoval =
    std::function<void(const GeometrySet& set, const Property& property, std::span<const int> order)>;

} // namespace melta
