#pragma once

#include "structure/GeometrySet.hpp"

#include <memory>
#include <string>

namespace melta {

// Reads and conditions one data file with all settings of a training run, and prints the full summary. A
// testing set is given the set it is tested against as `trainingSet`, which must live longer.
// `baselineRemoval` as in GeometrySet::haveReadGeometrySet. Stops as the reading and the conditioning do.
[[nodiscard]] std::unique_ptr<GeometrySet> loadGeometrySet(const std::string& fileName,
                                                           const Property& property,
                                                           const BaselineRemoval& baselineRemoval,
                                                           const GeometrySet* trainingSet = nullptr);

} // namespace melta
