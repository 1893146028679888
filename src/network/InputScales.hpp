// Inputs of a network on another scale: the networks change with it, so that what they give stays the same.
#pragma once

#include "network/NNEnsemble.hpp"
#include "network/SymmPreparation.hpp"

#include <cstddef>
#include <vector>

namespace melta {

// How raw values of the symmetry functions of an element become inputs: (value - shift) * scale, [numBasis]
// each.
struct InputScales {
    std::vector<double> shift;
    std::vector<double> scale;
};

// Those of a model's files: one shift and one scale for all functions of an element.
InputScales sharedScales(const SymmStatistics& statistics, std::size_t element, std::size_t numBasis);

// Those of a training, shared or for each function.
InputScales scalesInUse(const SymmStatistics& statistics, std::size_t element, std::size_t numBasis);

// Changes the first layer of an ensemble.
void rescaleInputs(NNEnsemble& ensemble, const InputScales& old, const InputScales& next);

// The networks [numElems] of a training as the files of a model hold them, with the shared scales. Weights
// and biases are rounded once.
std::vector<NNEnsemble> withSharedScales(const SymmStatistics& statistics,
                                         const std::vector<NNEnsemble>& ensembles);

} // namespace melta
