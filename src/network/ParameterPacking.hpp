// The parameters of an arrangement as one flat vector, "total data", the variable of L-BFGS and of the
// gradient check.
//
// Order: for each element, for each model, for each layer from the first hidden one to the output layer: all
// weights [numOut][numInp], then all biases [numOut]. Values are scaled so that all of them are of order one:
// with s the layer's weightScale and h its biasShift, weights x = weight / s, biases x = (bias - h) / s,
// gradients g = grad s.
//
// An arrangement with both kinds of networks stops with "total-data does not support energy-mode and
// charge-mode, simultaneously.".
#pragma once

#include "network/NNArch.hpp"

#include <cstddef>
#include <span>

namespace melta {

// Length of the vector.
std::size_t getTotalDataSize(const NNArch& arch);

// Writes the parameters, or with `wantGrad` their gradients, to x.
void convertToTotalData(const NNArch& arch, std::span<float> x, bool wantGrad);

// Writes x back to the layers.
void convertFromTotalData(NNArch& arch, std::span<const float> x);

// Copies all weights and biases of another arrangement with networks of the same kind and shape. Stops with
// "arch is null." and with a message that names the first difference.
void copyLayers(NNArch& target, const NNArch* source);

} // namespace melta
