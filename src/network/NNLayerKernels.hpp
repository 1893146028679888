// Element-wise arithmetic of dense layers, vectorised and compiled for several instruction sets. Rows are
// samples; a row holds the nodes of all models side by side. No kernel allocates or stops; arrays need no
// alignment.
#pragma once

#include <cstddef>

namespace melta::kernels {

// Activation of x = bare[s][o] + bias[o], by the codes of Activation: out = f(x), drv1 = f'(x), drv2 =
// f''(x), each [numRows][rowLength]. `bare` may be `out`. What is null is not made: drv2, or both. Any other
// code leaves the arrays alone.
void activate(int activation, std::size_t numRows, std::size_t rowLength, const float* bare,
              const float* bias, float* out, float* drv1, float* drv2);

// The output layer, one node for each model: out[s][m] = bias[m] + sum over o of rows[s][m][o] weights[m][o].
// rows [numRows][numModels][numNodes].
void sumOutputs(std::size_t numRows, std::size_t numModels, std::size_t numNodes, const float* rows,
                const float* weights, const float* bias, float* out);

// Backward through the activation of the layer below the outputs, with the row of output weights as gradient
// of every sample: grad = weights drv1, drv2 = weights drv2 unless null.
void seedGradient(std::size_t numRows, std::size_t rowLength, const float* weights, const float* drv1,
                  float* drv2, float* grad);

// The same for a gradient that is there already: drv2 = grad drv2 unless null, then grad = grad drv1. [size]
// each.
void passGradient(std::size_t size, const float* drv1, float* drv2, float* grad);

// Forward of a tangent z through the activation: adjoint = gradDrv2 z (when `adjoint` is not null), tangent =
// z drv1; `tangent` holds z at first.
void passTangent(std::size_t size, const float* drv1, const float* gradDrv2, float* tangent, float* adjoint);

// adjoint += back drv1. [size] each.
void addScaled(std::size_t size, const float* back, const float* drv1, float* adjoint);

// rows[s][m][o] = factors[s][m] grad[s][m][o], or += with `add`. grad, rows [numRows][numModels][numNodes].
void scaleNodes(std::size_t numRows, std::size_t numModels, std::size_t numNodes, const float* factors,
                const float* grad, float* rows, bool add);

// sums[o] += sum over s of rows[s][o]. rows [numRows][rowLength].
void addColumnSums(std::size_t numRows, std::size_t rowLength, const float* rows, float* sums);

// sums[m][o] += sum over s of factors[s][m] rows[s][m][o].
void addWeightedColumnSums(std::size_t numRows, std::size_t numModels, std::size_t numNodes,
                           const float* factors, const float* rows, float* sums);

// One Adam step (Kingma and Ba, ICLR 2015, algorithm 1) on `size` parameters. correction1 = 1 - beta1^t,
// correction2 = 1 - beta2^t.
struct AdamStep {
    float alpha;
    float beta1;
    float beta2;
    float correction1;
    float correction2;
};
void updateByAdam(std::size_t size, const AdamStep& step, const float* grad, float* moment1, float* moment2,
                  float* value);

} // namespace melta::kernels
