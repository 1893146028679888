#include "network/NetworkShape.hpp"

#include <algorithm>

namespace melta {

NNShape shapeOfNetworks(const Property& property, const NetworkFields& fields) {
    const NNShape shape{property.*fields.models, property.*fields.layers, property.*fields.nodes,
                        property.*fields.activ};
    if (shape.numModels < 1) {
        return {0, 1, 1, shape.activation};
    }
    return {shape.numModels, std::max(shape.numLayers, 1), shape.numNodes, shape.activation};
}

bool isTooLarge(const NNShape& shape, int numInputs, int numElems) {
    constexpr double limit = 1.0e9;
    const double perModel =
        static_cast<double>(shape.numNodes) *
        (static_cast<double>(numInputs) +
         static_cast<double>(shape.numLayers) * (static_cast<double>(shape.numNodes) + 1.0));
    return perModel * shape.numModels * numElems > limit;
}

} // namespace melta
