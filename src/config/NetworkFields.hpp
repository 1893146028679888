#pragma once

#include "config/Property.hpp"

namespace melta {

// Where Property keeps the shape of one kind of network, so that both kinds share their code.
struct NetworkFields {
    int Property::*models;
    int Property::*layers;
    int Property::*nodes;
    int Property::*activ;
};

inline constexpr NetworkFields energyNetwork{&Property::modelsEnergy, &Property::layersEnergy,
                                             &Property::nodesEnergy, &Property::activEnergy};
inline constexpr NetworkFields chargeNetwork{&Property::modelsCharge, &Property::layersCharge,
                                             &Property::nodesCharge, &Property::activCharge};

} // namespace melta
