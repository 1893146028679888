#pragma once

#include "network/NNEnsemble.hpp"

#include <span>
#include <vector>

namespace melta::test {

// An activation by its textbook formula: f, f' and f''.
struct ActivationTwin {
    double value;
    double drv1;
    double drv2;
};
ActivationTwin activateTwin(int activation, double x);

// One dense layer: weight [numOut][numInp], bias [numOut], and what a pass of one sample leaves.
struct LayerTwin {
    int numInp;
    int numOut;
    int activation;
    std::vector<double> weight;
    std::vector<double> bias;
    std::vector<double> weightGrad;
    std::vector<double> biasGrad;

    std::vector<double> inputs;
    std::vector<double> outputs;
    std::vector<double> drv1;
    std::vector<double> drv2;
    std::vector<double> bareGrad; // dE/dz

    std::vector<double> multiply(std::span<const double> x) const;           // W x
    std::vector<double> multiplyTransposed(std::span<const double> x) const; // W^T x
};

// The slow, obvious twin of one network of an ensemble: double precision, one sample at a time, plain loops.
class NetworkTwin {
public:
    // Copies the parameters of one model.
    NetworkTwin(const NNEnsemble& ensemble, int model);

    double energyOf(std::span<const double> inputs);

    // dE/dG.
    std::vector<double> inputGradsOf(std::span<const double> inputs);

    // Adds outGrad dE/dw to the gradients.
    void addEnergyGrads(std::span<const double> inputs, double outGrad);

    // Adds the gradient of sum over g of coefs[g] dE/dG_g. The exact one differentiates the derivative by one
    // input node after the other; the approximate one sends the coefficients forward as a tangent and drops
    // what contains f''.
    void addExactGrads(std::span<const double> inputs, std::span<const double> coefs);
    void addApproximateGrads(std::span<const double> inputs, std::span<const double> coefs);

    void clearGrads();

    // Parameters and gradients in the order of the layers, weights before biases.
    std::vector<double*> getParameters();
    std::vector<double> getGrads() const;

    std::vector<LayerTwin> layers;

private:
    void goBackward(std::span<const double> inputs);
    void addGradsOfNode(std::size_t node, double coef);
};

// The gradients of one model of an ensemble in the same order.
std::vector<float> gradsOfModel(const NNEnsemble& ensemble, const EnsembleGrads& grads, int model);

} // namespace melta::test
