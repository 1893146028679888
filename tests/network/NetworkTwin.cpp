#include "network/NetworkTwin.hpp"

#include "config/Codes.hpp"

#include <cmath>
#include <numbers>

namespace melta::test {
namespace {

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

ActivationTwin sigmoidTwin(double x) {
    if (x < -50.0) {
        return {0.0, 0.0, 0.0};
    }
    if (x > 50.0) {
        return {1.0, 0.0, 0.0};
    }
    const double s = 1.0 / (std::exp(-x) + 1.0);
    const double rest = 1.0 / (std::exp(x) + 1.0);
    return {s, rest * s, (rest - s) * rest * s};
}

ActivationTwin tanhTwin(double x, double twist) {
    const double t = std::tanh(x);
    const double slope = 1.0 / (std::cosh(x) * std::cosh(x));
    return {t + twist * x, twist + slope, -2.0 * t * slope};
}

ActivationTwin geluTwin(double x) {
    const double c = 0.5 * std::erfc(-x / std::numbers::sqrt2);
    const double p = std::exp(-0.5 * x * x) / std::sqrt(2.0 * std::numbers::pi);
    return {x * c, c + x * p, (2.0 - x * x) * p};
}

void append(std::vector<double>& all, const std::vector<double>& part) {
    all.insert(all.end(), part.begin(), part.end());
}

std::vector<double> product(const std::vector<double>& a, const std::vector<double>& b) {
    std::vector<double> result;
    for (std::size_t i = 0; i < a.size(); ++i) {
        result.push_back(a[i] * b[i]);
    }
    return result;
}

// weightGrad [out][inp] += factor * outer product.
void addOuter(LayerTwin& layer, double factor, const std::vector<double>& out,
              const std::vector<double>& inp) {
    for (int o = 0; o < layer.numOut; ++o) {
        for (int i = 0; i < layer.numInp; ++i) {
            layer.weightGrad[at(o * layer.numInp + i)] += factor * out[at(o)] * inp[at(i)];
        }
    }
}

} // namespace

ActivationTwin activateTwin(int activation, double x) {
    switch (activation) {
    case Activation::asis:
        return {x, 1.0, 0.0};
    case Activation::sigmoid:
        return sigmoidTwin(x);
    case Activation::tanh:
        return tanhTwin(x, 0.0);
    case Activation::eLU:
        return x >= 0.0 ? ActivationTwin{x, 1.0, 0.0}
                        : ActivationTwin{std::expm1(x), std::exp(x), std::exp(x)};
    case Activation::twtanh:
        return tanhTwin(x, 0.16);
    case Activation::GELU:
        return geluTwin(x);
    default:
        return {0.0, 0.0, 0.0};
    }
}

std::vector<double> LayerTwin::multiply(std::span<const double> x) const {
    std::vector<double> result(at(numOut), 0.0);
    for (int o = 0; o < numOut; ++o) {
        for (int i = 0; i < numInp; ++i) {
            result[at(o)] += weight[at(o * numInp + i)] * x[at(i)];
        }
    }
    return result;
}

std::vector<double> LayerTwin::multiplyTransposed(std::span<const double> x) const {
    std::vector<double> result(at(numInp), 0.0);
    for (int o = 0; o < numOut; ++o) {
        for (int i = 0; i < numInp; ++i) {
            result[at(i)] += weight[at(o * numInp + i)] * x[at(o)];
        }
    }
    return result;
}

NetworkTwin::NetworkTwin(const NNEnsemble& ensemble, int model) {
    for (const NNLayer* const layer : ensemble.getLayers()) {
        LayerTwin twin{};
        twin.numInp = layer->getNumInp();
        twin.numOut = layer->getNumOut();
        twin.activation = layer->getActivation();
        const auto weight = layer->weightOf(model);
        const auto bias = layer->biasOf(model);
        twin.weight.assign(weight.begin(), weight.end());
        twin.bias.assign(bias.begin(), bias.end());
        layers.push_back(twin);
    }
    clearGrads();
}

void NetworkTwin::clearGrads() {
    for (LayerTwin& layer : layers) {
        layer.weightGrad.assign(layer.weight.size(), 0.0);
        layer.biasGrad.assign(layer.bias.size(), 0.0);
    }
}

double NetworkTwin::energyOf(std::span<const double> inputs) {
    std::vector<double> values(inputs.begin(), inputs.end());
    for (LayerTwin& layer : layers) {
        layer.inputs = values;
        values = layer.multiply(layer.inputs);
        layer.drv1.clear();
        layer.drv2.clear();
        for (std::size_t o = 0; o < values.size(); ++o) {
            const ActivationTwin y = activateTwin(layer.activation, values[o] + layer.bias[o]);
            values[o] = y.value;
            layer.drv1.push_back(y.drv1);
            layer.drv2.push_back(y.drv2);
        }
        layer.outputs = values;
    }
    return values.front();
}

void NetworkTwin::goBackward(std::span<const double> inputs) {
    energyOf(inputs);
    layers.back().bareGrad = layers.back().drv1;
    for (std::size_t l = layers.size() - 1; l > 0; --l) {
        layers[l - 1].bareGrad =
            product(layers[l].multiplyTransposed(layers[l].bareGrad), layers[l - 1].drv1);
    }
}

std::vector<double> NetworkTwin::inputGradsOf(std::span<const double> inputs) {
    goBackward(inputs);
    return layers.front().multiplyTransposed(layers.front().bareGrad);
}

void NetworkTwin::addEnergyGrads(std::span<const double> inputs, double outGrad) {
    goBackward(inputs);
    for (LayerTwin& layer : layers) {
        addOuter(layer, outGrad, layer.bareGrad, layer.inputs);
        for (std::size_t o = 0; o < layer.biasGrad.size(); ++o) {
            layer.biasGrad[o] += outGrad * layer.bareGrad[o];
        }
    }
}

void NetworkTwin::addExactGrads(std::span<const double> inputs, std::span<const double> coefs) {
    goBackward(inputs);
    for (std::size_t g = 0; g < coefs.size(); ++g) {
        addGradsOfNode(g, coefs[g]);
    }
}

void NetworkTwin::addGradsOfNode(std::size_t node, double coef) {
    std::vector<double> unit(at(layers.front().numInp), 0.0);
    unit[node] = 1.0;
    std::vector<std::vector<double>> bareDrvs; // dz/dG
    std::vector<std::vector<double>> inpDrvs{unit};
    for (const LayerTwin& layer : layers) {
        bareDrvs.push_back(layer.multiply(inpDrvs.back()));
        inpDrvs.push_back(product(bareDrvs.back(), layer.drv1));
    }
    std::vector<double> mixed = product(bareDrvs.back(), layers.back().drv2); // d/dG of dE/dz
    for (std::size_t l = layers.size(); l-- > 0;) {
        LayerTwin& layer = layers[l];
        addOuter(layer, coef, mixed, layer.inputs);
        addOuter(layer, coef, layer.bareGrad, inpDrvs[l]);
        for (std::size_t o = 0; o < layer.biasGrad.size(); ++o) {
            layer.biasGrad[o] += coef * mixed[o];
        }
        if (l > 0) {
            const LayerTwin& below = layers[l - 1];
            const std::vector<double> first = product(layer.multiplyTransposed(mixed), below.drv1);
            const std::vector<double> second =
                product(layer.multiplyTransposed(layer.bareGrad), product(bareDrvs[l - 1], below.drv2));
            mixed = first;
            for (std::size_t i = 0; i < mixed.size(); ++i) {
                mixed[i] += second[i];
            }
        }
    }
}

void NetworkTwin::addApproximateGrads(std::span<const double> inputs, std::span<const double> coefs) {
    goBackward(inputs);
    std::vector<double> tangent(coefs.begin(), coefs.end());
    for (LayerTwin& layer : layers) {
        addOuter(layer, 1.0, layer.bareGrad, tangent);
        tangent = product(layer.multiply(tangent), layer.drv1);
    }
}

std::vector<double*> NetworkTwin::getParameters() {
    std::vector<double*> parameters;
    for (LayerTwin& layer : layers) {
        for (std::vector<double>* const values : {&layer.weight, &layer.bias}) {
            for (double& value : *values) {
                parameters.push_back(&value);
            }
        }
    }
    return parameters;
}

std::vector<double> NetworkTwin::getGrads() const {
    std::vector<double> grads;
    for (const LayerTwin& layer : layers) {
        append(grads, layer.weightGrad);
        append(grads, layer.biasGrad);
    }
    return grads;
}

std::vector<float> gradsOfModel(const NNEnsemble& ensemble, const EnsembleGrads& grads, int model) {
    std::vector<float> all;
    const std::vector<const NNLayer*> layers = ensemble.getLayers();
    for (std::size_t l = 0; l < layers.size(); ++l) {
        const NNLayerGrads& layer = l + 1 < layers.size() ? grads.interLayers[l] : grads.lastLayer;
        const std::size_t numWeights = layers[l]->weightOf(model).size();
        const std::size_t numBiases = layers[l]->biasOf(model).size();
        const auto weights = layer.weight.span().subspan(at(model) * numWeights, numWeights);
        const auto biases = layer.bias.span().subspan(at(model) * numBiases, numBiases);
        all.insert(all.end(), weights.begin(), weights.end());
        all.insert(all.end(), biases.begin(), biases.end());
    }
    return all;
}

} // namespace melta::test
