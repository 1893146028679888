// The shape of networks as the settings give it.
#pragma once

#include "config/NetworkFields.hpp"
#include "network/NNEnsemble.hpp"

namespace melta {

// Shape of one kind of networks. A network file may claim fewer than one model or hidden layer; its reader
// refuses that later, whatever the rest of the shape is, so that here they become a shape that can be made.
NNShape shapeOfNetworks(const Property& property, const NetworkFields& fields);

// Whether the networks of all elements have more weights than anybody trains: so many are a slip of the pen
// in the settings or a broken file.
bool isTooLarge(const NNShape& shape, int numInputs, int numElems);

} // namespace melta
